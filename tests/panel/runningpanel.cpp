#include "runningpanel.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTableView>

#include "devicemodels.h"

namespace {

DeviceOptions Read(const QString &dataFolder, const QStringList &arguments)
{
    const DeviceOptions options = DeviceOptions::Parse(
        QStringList{QStringLiteral("parlowen-panel"), QStringLiteral("--data"), dataFolder,
                    QStringLiteral("--port"), QStringLiteral("0")} +
        arguments);
    if (options.action != DeviceOptions::Action::Serve) {
        qFatal("%s", qUtf8Printable(options.message));
    }
    return options;
}

} // namespace

RunningPanel::RunningPanel(const QStringList &arguments)
    : device(std::make_unique<PanelDevice>(
          Read(QDir(folder.path()).canonicalPath() + QLatin1String("/device"), arguments), stdout))
{
    QString error;
    if (!device->Start(&error)) {
        qFatal("%s", qUtf8Printable(error));
    }
    panel = std::make_unique<Panel>(*device);
    window = std::make_unique<PanelWindow>(*panel);
    window->show();
}

QByteArray RunningPanel::Curl(const QString &uri, const QStringList &arguments)
{
    QProcess client;
    client.start(QStringLiteral("curl"),
                 QStringList{QStringLiteral("--silent"), QStringLiteral("--show-error"),
                             QStringLiteral("--header"), QStringLiteral("Expect:")} +
                     arguments + QStringList{device->Address() + uri});
    if (!Await([&client] { return client.state() == QProcess::NotRunning; })) {
        client.kill();
        client.waitForFinished();
    }
    return client.readAllStandardOutput() + client.readAllStandardError();
}

QByteArray RunningPanel::Upload(const QString &name, qint64 size)
{
    QFile content(folder.filePath(QStringLiteral("upload")));
    if (!content.open(QIODevice::WriteOnly) || !content.resize(size)) {
        return QByteArray();
    }
    const QByteArray metadata =
        QJsonDocument(QJsonObject{{QStringLiteral("fileUri"), UserFile(name)},
                                  {QStringLiteral("fileSize"), size}})
            .toJson(QJsonDocument::Compact);
    // A transfer is told of four times a second: a large one lasts longer than that.
    return Curl(QStringLiteral("/api/filemgr/v2/userfiles"),
                {QStringLiteral("--limit-rate"), QStringLiteral("100M"),
                 QStringLiteral("--form-string"), QLatin1String("metadata=") + metadata,
                 QStringLiteral("--form"), QLatin1String("file=@") + content.fileName()});
}

QString RunningPanel::UserFile(const QString &name) const
{
    return device->Models().userFiles.Path() + QLatin1Char('/') + name;
}

QTableView *RunningPanel::Table(const char *name) const
{
    return Find<QTableView>(name);
}

QStringList RunningPanel::Column(const char *table, int column) const
{
    const QAbstractItemModel *model = Table(table)->model();
    QStringList texts;
    for (int row = 0; row < model->rowCount(); ++row) {
        texts << model->index(row, column).data().toString();
    }
    return texts;
}
