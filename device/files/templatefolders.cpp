#include "templatefolders.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <sys/stat.h>

#include "documentfile.h"

namespace {

// Missing files have a status of their own.
FileStatus StatusAt(const QString &path)
{
    struct stat status = {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? FileStatus::From(status)
                                                                   : FileStatus();
}

QString ProblemOf(const QString &path)
{
    QString problem;
    const std::optional<QJsonObject> document = DocumentFile::ReadObject(path, &problem);
    if (document && !document->value(QLatin1String("cdm")).isArray()) {
        problem = QStringLiteral("it has no array \"cdm\"");
    }
    return problem;
}

} // namespace

TemplateFolders::TemplateFolders(IErrorReporter &errors)
    : errorReporter(errors)
{}

void TemplateFolders::Look(const QString &folder)
{
    const QStringList names = QDir(folder).entryList({QStringLiteral("*.json")},
                                                     QDir::Files | QDir::CaseSensitive, QDir::Name);
    Files &former = folders[folder];
    Files found;
    qint64 room = mostAtOnce;
    for (const QString &name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        found.insert(path, LookAt(path, former.value(path), &room));
    }
    former = found;
}

TemplateFolders::Seen TemplateFolders::LookAt(const QString &path, const Seen &former, qint64 *room)
{
    const FileStatus status = StatusAt(path);
    if (status == former.status || *room <= 0) {
        return former;
    }
    *room -= status.size;
    const QString problem = ProblemOf(path);
    if (!problem.isEmpty() && problem != former.problem) {
        errorReporter.ReportError(
            QStringLiteral("skipped %1: it holds no templates, %2").arg(path, problem),
            "templatefolders", __LINE__);
    }
    return {status, problem};
}
