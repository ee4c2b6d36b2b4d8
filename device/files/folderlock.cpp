#include "folderlock.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

#include "durablefile.h"

bool FolderLock::Take(const QString &path, QString *error)
{
    FileDescriptor opened(
        open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.IsOpen()) {
        *error = DescribeFailure("use", path);
        return false;
    }
    if (flock(opened.Number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        *error = QStringLiteral("Cannot use %1: another program serves from it").arg(path);
        return false;
    }
    folder = std::move(opened);
    return true;
}
