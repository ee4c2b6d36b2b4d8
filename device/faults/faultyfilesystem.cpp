#include "faultyfilesystem.h"

#include <algorithm>
#include <cerrno>

FaultyFileSystem::FaultyFileSystem(FaultPlan &faultPlan, Lifetime lifetime)
    : flushes(lifetime == Lifetime::Lasting)
    , faults(faultPlan)
{}

int FaultyFileSystem::Flush(int descriptor)
{
    return flushes ? FileSystem::Flush(descriptor) : 0;
}

int FaultyFileSystem::FlushFolder(const QString &path)
{
    return flushes ? FileSystem::FlushFolder(path) : 0;
}

int FaultyFileSystem::FlushFileSystem(const QString &folder)
{
    return flushes ? FileSystem::FlushFileSystem(folder) : 0;
}

ssize_t FaultyFileSystem::Write(int descriptor, const char *data, std::size_t size)
{
    if (faults.Revision() != revision) {
        revision = faults.Revision();
        written = 0;
    }
    const std::optional<qint64> room = faults.Value(FaultKind::WriteFails);
    if (room && written >= *room && size > 0) {
        errno = ENOSPC;
        return -1;
    }
    const std::size_t fitting =
        room ? std::min(size, static_cast<std::size_t>(*room - written)) : size;
    const ssize_t count = FileSystem::Write(descriptor, data, fitting);
    written += std::max<ssize_t>(count, 0);
    return count;
}
