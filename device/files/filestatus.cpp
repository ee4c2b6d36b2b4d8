#include "filestatus.h"

#include <QDateTime>
#include <QFileInfo>
#include <QHash>
#include <algorithm>
#include <sys/stat.h>
#include <tuple>

namespace {

// The years 1 to 9999: what four digits show.
constexpr qint64 firstShownSecond = -62135596800;
constexpr qint64 lastShownSecond = 253402300799;

auto Members(const FileStatus &status)
{
    return std::tie(status.inode, status.size, status.modifiedSeconds, status.modifiedNanoseconds);
}

} // namespace

FileStatus FileStatus::From(const struct stat &status)
{
    FileStatus result;
    result.inode = status.st_ino;
    result.size = status.st_size;
    result.modifiedSeconds = status.st_mtim.tv_sec;
    result.modifiedNanoseconds = status.st_mtim.tv_nsec;
    return result;
}

QString FileStatus::ModifiedTime() const
{
    const qint64 shown = std::clamp(modifiedSeconds, firstShownSecond, lastShownSecond);
    return QDateTime::fromSecsSinceEpoch(shown, Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss'Z'"));
}

bool operator==(const FileStatus &left, const FileStatus &right)
{
    return Members(left) == Members(right);
}

bool operator!=(const FileStatus &left, const FileStatus &right)
{
    return !(left == right);
}

uint qHash(const FileStatus &status, uint seed)
{
    return qHash(status.inode, seed) ^ qHash(status.size, seed + 1) ^
           qHash(status.modifiedSeconds, seed + 2) ^ qHash(status.modifiedNanoseconds, seed + 3);
}

bool IsTaken(const QString &path)
{
    const QFileInfo file(path);
    return file.exists() || file.isSymLink();
}
