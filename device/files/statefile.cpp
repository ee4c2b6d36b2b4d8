#include "statefile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include "durablefile.h"

StateFile::StateFile(FileSystem &files, const QString &path, IErrorReporter &errors)
    : fileSystem(files)
    , filePath(path)
    , errorReporter(errors)
{}

QJsonObject StateFile::Load(const Check &check)
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly)) {
        if (file.exists()) {
            SetAside(file.errorString());
        }
        return QJsonObject();
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    file.close();
    if (!document.isObject() || !check(document.object())) {
        SetAside(QStringLiteral("it is damaged"));
        return QJsonObject();
    }
    return document.object();
}

bool StateFile::Store(const QJsonObject &state)
{
    QString error = QStringLiteral("%1 is damaged and is kept as it is").arg(filePath);
    if (!keepFile && WriteDurably(fileSystem, filePath, QJsonDocument(state).toJson(), &error)) {
        return true;
    }
    errorReporter.ReportError(error, "statefile", __LINE__);
    return false;
}

void StateFile::SetAside(const QString &reason)
{
    const QString name = FreeName();
    keepFile = fileSystem.Rename(filePath, name) != 0;
    const QString outcome = keepFile ? DescribeFailure("rename", filePath)
                                     : QStringLiteral("it is kept as %1").arg(name);
    errorReporter.ReportError(
        QStringLiteral("Cannot use %1: %2; %3").arg(filePath, reason, outcome), "statefile",
        __LINE__);
}

QString StateFile::FreeName() const
{
    for (int number = 1;; ++number) {
        QString name = QStringLiteral("%1.damaged-%2").arg(filePath).arg(number);
        const QFileInfo taken(name);
        if (!taken.exists() && !taken.isSymLink()) {
            return name;
        }
    }
}
