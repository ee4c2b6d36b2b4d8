#include "snapshotcommand.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <numeric>

#include "clienterror.h"
#include "durablefile.h"
#include "localfolder.h"
#include "progressdisplay.h"
#include "routes.h"
#include "userfiles.h"
#include "workorders.h"

namespace {

constexpr char userFiles[] = "storage/userfiles";

ClientError LocalFailure(const QString &problem)
{
    return {ExitStatus::LocalFailure, problem};
}

void Store(const QString &path, const QByteArray &content)
{
    FileSystem fileSystem;
    QString error;
    if (!WriteFile(fileSystem, path, content, Flushing::Later, &error)) {
        throw LocalFailure(error);
    }
}

// The time is part of what the device answers.
void SetTime(const QString &path, const QString &time)
{
    QFile file(path);
    const QDateTime modified = QDateTime::fromString(time, Qt::ISODateWithMs);
    if (modified.isValid() && !(file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly) &&
                                file.setFileTime(modified, QFileDevice::FileModificationTime))) {
        throw LocalFailure(QString("cannot set the time of %1: %2").arg(path, file.errorString()));
    }
}

// Most ids are names that anybody can read; any other one has a number for a name, with a mark that
// keeps it apart from an id of digits.
QString FileNameFor(const QString &id, int number)
{
    static const QRegularExpression plain("^[A-Za-z0-9_-][A-Za-z0-9._-]{0,99}$");
    return plain.match(id).hasMatch() ? id + ".json"
                                      : QString("%%1.json").arg(number, 6, 10, QChar('0'));
}

} // namespace

SnapshotCommand::SnapshotCommand()
    : Command("snapshot", "Keep everything that the device tells as a folder for the simulator")
{}

void SnapshotCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("DIR", folder, "The folder to make")->required();
}

ExitStatus SnapshotCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QString target = QDir::cleanPath(QString::fromStdString(folder));
    if (QFileInfo::exists(target)) {
        throw LocalFailure(
            QString("%1 is there already: name a folder that is to be made").arg(target));
    }
    unfinished = target + ".parlowenctl.part";
    QDir(unfinished).removeRecursively();
    for (const char *part : {"workorders", "templates", "storage/templates", userFiles, "state"}) {
        if (!QDir().mkpath(Inside(part))) {
            throw LocalFailure(QString("cannot make the folder %1").arg(Inside(part)));
        }
    }
    UserFiles files(connection);
    TakeDocuments(connection);
    const int orders = TakeWorkOrders(connection);
    const int fileCount = TakeFiles(files, output);
    FileSystem fileSystem;
    if (fileSystem.FlushFileSystem(unfinished) != 0 || !QDir().rename(unfinished, target)) {
        throw LocalFailure(QString("cannot finish %1: %2").arg(target, qt_error_string(errno)));
    }
    output.Line(
        QString("%1: %2 work orders and %3 files; serve them with parlowen-device --from %1")
            .arg(target)
            .arg(orders)
            .arg(fileCount));
    output.Json(QJsonDocument(
        QJsonObject{{"folder", target}, {"workOrders", orders}, {"files", fileCount}}));
    return ExitStatus::Done;
}

void SnapshotCommand::TakeDocuments(DeviceConnection &connection) const
{
    const QJsonObject info = connection.Get(Routes::info).object();
    if (!info.value("assetInfo").isObject()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no device information"));
    }
    Store(Inside("asset.json"), QJsonDocument(info.value("assetInfo").toObject()).toJson());
    const QJsonValue templates = connection.Get(Routes::templates).object().value("templates");
    Store(Inside("templates/templates.json"),
          QJsonDocument(QJsonObject{{"cdm", templates.toArray()}}).toJson());
    Store(Inside("state/active-work-order.json"),
          QJsonDocument(QJsonObject{{"activeWorkOrderId", WorkOrders(connection).Active()}})
              .toJson());
}

int SnapshotCommand::TakeWorkOrders(DeviceConnection &connection) const
{
    WorkOrders orders(connection);
    const QHash<QString, QString> times = orders.Times();
    int number = 0;
    for (auto order = times.begin(); order != times.end(); ++order) {
        const QString path = Inside("workorders/") + FileNameFor(order.key(), ++number);
        Store(path, QJsonDocument(orders.Get(order.key()).value("cdm").toObject()).toJson());
        SetTime(path, order.value());
    }
    return number;
}

int SnapshotCommand::TakeFiles(UserFiles &files, const Output &output) const
{
    const QVector<FileRecord> listed = files.List();
    const QVector<FileRecord> pending = files.Pending(true);
    const QString root = DevicePaths(listed).Root();
    const qint64 bytes =
        std::accumulate(listed.begin(), listed.end(), qint64(0),
                        [](qint64 sum, const FileRecord &record) { return sum + record.size; });
    ProgressDisplay display(output, listed.size(), bytes);
    QVector<FileRecord> taken;
    for (const FileRecord &record : listed) {
        try {
            const FileRecord whole = files.Metadata(record.path);
            TakeFile(files, whole, root, display);
            taken.append(whole);
        } catch (const Unnameable &error) {
            output.Error("skipped " + error.Message());
        }
    }
    TakeConfirmations(taken, pending, root);
    return taken.size();
}

void SnapshotCommand::TakeFile(UserFiles &files, const FileRecord &record, const QString &root,
                               ProgressDisplay &display) const
{
    const LocalFolder local(Inside(userFiles));
    const QString target = local.Target(record.path.mid(root.size() + 1));
    display.Begin(record.path, record.size);
    const FileRecord stored =
        files.Fetch(record, target, local.Staging(), [&](qint64 done) { display.Update(done); });
    display.End();
    SetTime(target, stored.modifiedTime);
}

// The simulator knows a confirmed file by its name below the folder, its size and its sum.
void SnapshotCommand::TakeConfirmations(const QVector<FileRecord> &taken,
                                        const QVector<FileRecord> &pending,
                                        const QString &root) const
{
    QSet<QString> pendingPaths;
    for (const FileRecord &record : pending) {
        pendingPaths.insert(record.path);
    }
    QByteArray lines;
    for (const FileRecord &record : taken) {
        if (!pendingPaths.contains(record.path)) {
            const QJsonObject line{{"path", record.path.mid(root.size() + 1)},
                                   {"inode", "0"},
                                   {"size", record.size},
                                   {"modifiedSeconds", 0},
                                   {"modifiedNanoseconds", 0},
                                   {"sha256", record.sha256}};
            lines += QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
        }
    }
    Store(Inside("state/confirmed-files.jsonl"), lines);
}

QString SnapshotCommand::Inside(const char *part) const
{
    return unfinished + '/' + part;
}
