#include "documentfile.h"

#include <QFile>
#include <QJsonDocument>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "filedescriptor.h"

namespace {

QString Reason(int number)
{
    return number == ENOENT ? QString() : qt_error_string(number);
}

} // namespace

std::optional<QByteArray> DocumentFile::Read(const QString &path, QString *problem, qint64 limit)
{
    problem->clear();
    const FileDescriptor file(
        open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Number(), &status) != 0) {
        *problem = Reason(errno);
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        *problem = QStringLiteral("it is no regular file");
        return std::nullopt;
    }
    if (status.st_size > limit) {
        *problem = QStringLiteral("it is larger than %1 MiB").arg(limit / 1024 / 1024);
        return std::nullopt;
    }
    QByteArray content(static_cast<int>(status.st_size), Qt::Uninitialized);
    const qint64 count = file.Read(content.data(), content.size(), 0);
    if (count < 0) {
        *problem = Reason(errno);
        return std::nullopt;
    }
    content.truncate(static_cast<int>(count));
    return content;
}

std::optional<QJsonObject> DocumentFile::ReadObject(const QString &path, QString *problem)
{
    const std::optional<QByteArray> content = Read(path, problem);
    if (!content) {
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(*content, &error);
    if (!document.isObject()) {
        *problem = error.error == QJsonParseError::NoError
                       ? QStringLiteral("it holds no JSON object")
                       : QStringLiteral("it is no JSON: %1").arg(error.errorString());
        return std::nullopt;
    }
    return document.object();
}
