#include "statefile.h"

#include <QFileInfo>

#include "documentfile.h"
#include "durablefile.h"

namespace {

QString FreeName(const QString &path)
{
    for (int number = 1;; ++number) {
        QString name = QStringLiteral("%1.damaged-%2").arg(path).arg(number);
        const QFileInfo taken(name);
        if (!taken.exists() && !taken.isSymLink()) {
            return name;
        }
    }
}

} // namespace

bool SetAside(FileSystem &fileSystem, const QString &path, const QString &reason,
              IErrorReporter &errors)
{
    const QString name = FreeName(path);
    const bool gone = fileSystem.Rename(path, name) == 0;
    const QString outcome =
        gone ? QStringLiteral("it is kept as %1").arg(name) : DescribeFailure("rename", path);
    errors.ReportError(QStringLiteral("Cannot use %1: %2; %3").arg(path, reason, outcome),
                       "statefile", __LINE__);
    return gone;
}

StateFile::StateFile(FileSystem &files, const QString &path, IErrorReporter &errors)
    : fileSystem(files)
    , filePath(path)
    , errorReporter(errors)
{}

QJsonObject StateFile::Load(const Check &check)
{
    QString problem;
    const std::optional<QJsonObject> state = DocumentFile::ReadObject(filePath, &problem);
    if (state && check(*state)) {
        return *state;
    }
    if (state) {
        problem = QStringLiteral("it is damaged");
    }
    keepFile = !problem.isEmpty() && !SetAside(fileSystem, filePath, problem, errorReporter);
    return QJsonObject();
}

bool StateFile::Store(const QJsonObject &state)
{
    QString error = QStringLiteral("%1 is damaged and is kept as it is").arg(filePath);
    if (!keepFile && WriteDurably(fileSystem, filePath, DocumentFile::Written(state), &error)) {
        return true;
    }
    errorReporter.ReportError(error, "statefile", __LINE__);
    return false;
}
