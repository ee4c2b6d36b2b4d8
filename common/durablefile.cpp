#include "durablefile.h"

#include <QFileInfo>
#include <cerrno>

namespace {

bool WriteAll(FileSystem &fileSystem, int descriptor, const QByteArray &content)
{
    int offset = 0;
    while (offset < content.size()) {
        const ssize_t count = fileSystem.Write(descriptor, content.constData() + offset,
                                               static_cast<std::size_t>(content.size() - offset));
        if (count == -1) {
            return false;
        }
        offset += static_cast<int>(count);
    }
    return true;
}

// Closes the descriptor in every case and keeps the reason of the first failure in errno.
bool WriteAndClose(FileSystem &fileSystem, int descriptor, const QByteArray &content,
                   Flushing flushing)
{
    const bool written = WriteAll(fileSystem, descriptor, content) &&
                         (flushing == Flushing::Later || fileSystem.Flush(descriptor) == 0);
    const int reason = errno;
    const bool closed = fileSystem.Close(descriptor) == 0;
    if (!written) {
        errno = reason;
    }
    return written && closed;
}

} // namespace

// A fixed name: a file left behind by a loss of power is overwritten by the next attempt.
QString TemporaryPath(const QString &path)
{
    const QFileInfo file(path);
    return file.path() + QLatin1String("/.") + file.fileName() + QLatin1String(".new");
}

QString DescribeFailure(const char *action, const QString &path)
{
    return QStringLiteral("Cannot %1 %2: %3")
        .arg(QLatin1String(action), path, qt_error_string(errno));
}

bool WriteFile(FileSystem &fileSystem, const QString &path, const QByteArray &content,
               Flushing flushing, QString *error)
{
    const int descriptor = fileSystem.OpenForWriting(path);
    if (descriptor == -1) {
        *error = DescribeFailure("create", path);
        return false;
    }
    if (!WriteAndClose(fileSystem, descriptor, content, flushing)) {
        *error = DescribeFailure("write", path);
        fileSystem.Unlink(path);
        return false;
    }
    return true;
}

bool ReplaceDurably(FileSystem &fileSystem, const QString &written, const QString &path,
                    QString *error)
{
    if (fileSystem.Rename(written, path) != 0) {
        *error = DescribeFailure("replace", path);
        fileSystem.Unlink(written);
        return false;
    }
    const QString folder = QFileInfo(path).path();
    if (fileSystem.FlushFolder(folder) != 0) {
        *error = DescribeFailure("flush", folder);
        return false;
    }
    return true;
}

bool WriteDurably(FileSystem &fileSystem, const QString &path, const QByteArray &content,
                  QString *error)
{
    const QString temporary = TemporaryPath(path);
    return WriteFile(fileSystem, temporary, content, Flushing::AtOnce, error) &&
           ReplaceDurably(fileSystem, temporary, path, error);
}

bool AppendDurably(FileSystem &fileSystem, const QString &path, const QByteArray &content,
                   QString *error)
{
    const int descriptor = fileSystem.OpenForAppending(path);
    if (descriptor == -1 || !WriteAndClose(fileSystem, descriptor, content, Flushing::AtOnce)) {
        *error = DescribeFailure("write", path);
        return false;
    }
    return true;
}
