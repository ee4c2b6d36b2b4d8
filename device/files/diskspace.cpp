#include "diskspace.h"

#include <algorithm>
#include <limits>
#include <sys/statvfs.h>

#include "durablefile.h"

std::optional<DiskSpace> DiskSpace::Of(FileSystem &fileSystem, const QString &folder,
                                       QString *error)
{
    struct statvfs status = {};
    if (fileSystem.AskSpace(folder, &status) != 0) {
        *error = DescribeFailure("ask for the free space of", folder);
        return std::nullopt;
    }
    // The largest number that can be told apart, where a file system has more.
    constexpr auto limit = static_cast<quint64>(std::numeric_limits<qint64>::max());
    const quint64 block = std::max<quint64>(status.f_frsize, 1);
    const quint64 blocks = std::min<quint64>(status.f_bavail, limit / block);
    return DiskSpace(static_cast<qint64>(blocks * block), static_cast<qint64>(block));
}
