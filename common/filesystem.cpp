#include "filesystem.h"

#include <QFile>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

constexpr mode_t newFileMode = 0644;
constexpr mode_t newFolderMode = 0755;

template <typename Call>
auto RepeatWhileInterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

int FlushWith(int (*flush)(int), const QString &folder)
{
    const QByteArray name = QFile::encodeName(folder);
    const int descriptor = RepeatWhileInterrupted(
        [&] { return open(name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (descriptor == -1) {
        return -1;
    }
    const int result = RepeatWhileInterrupted([&] { return flush(descriptor); });
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return result;
}

} // namespace

int FileSystem::OpenForWriting(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    return RepeatWhileInterrupted([&] {
        return open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, newFileMode);
    });
}

int FileSystem::OpenForAppending(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    return RepeatWhileInterrupted(
        [&] { return open(name.constData(), O_WRONLY | O_APPEND | O_CLOEXEC); });
}

int FileSystem::Truncate(const QString &path, qint64 size)
{
    const QByteArray name = QFile::encodeName(path);
    return RepeatWhileInterrupted([&] { return truncate(name.constData(), size); });
}

int FileSystem::SetModifiedTime(const QString &path, qint64 seconds)
{
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(seconds);
    return utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

ssize_t FileSystem::Write(int descriptor, const char *data, std::size_t size)
{
    return RepeatWhileInterrupted([&] { return write(descriptor, data, size); });
}

int FileSystem::Flush(int descriptor)
{
    return RepeatWhileInterrupted([&] { return fsync(descriptor); });
}

int FileSystem::Close(int descriptor)
{
    // Not repeated: Linux has released the descriptor even when the call was interrupted.
    return close(descriptor);
}

int FileSystem::Rename(const QString &from, const QString &to)
{
    return rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData());
}

int FileSystem::Unlink(const QString &path)
{
    return unlink(QFile::encodeName(path).constData());
}

int FileSystem::MakeFolder(const QString &path)
{
    return mkdir(QFile::encodeName(path).constData(), newFolderMode);
}

int FileSystem::RemoveFolder(const QString &path)
{
    return rmdir(QFile::encodeName(path).constData());
}

int FileSystem::FlushFolder(const QString &path)
{
    return FlushWith(fsync, path);
}

int FileSystem::FlushFileSystem(const QString &folder)
{
    return FlushWith(syncfs, folder);
}

int FileSystem::AskSpace(const QString &path, struct statvfs *status)
{
    return statvfs(QFile::encodeName(path).constData(), status);
}
