#include "scriptedfilesystem.h"

#include <cerrno>
#include <csignal>
#include <sys/statvfs.h>
#include <unistd.h>

ScriptedFileSystem::ScriptedFileSystem(std::function<bool(int)> allow)
    : allowStep(std::move(allow))
{}

bool ScriptedFileSystem::MayProceed()
{
    if (allowStep(++steps)) {
        return true;
    }
    errno = ENOSPC;
    return false;
}

int ScriptedFileSystem::OpenForWriting(const QString &path)
{
    return MayProceed() ? FileSystem::OpenForWriting(path) : -1;
}

int ScriptedFileSystem::OpenForAppending(const QString &path)
{
    return MayProceed() ? FileSystem::OpenForAppending(path) : -1;
}

int ScriptedFileSystem::Truncate(const QString &path, qint64 size)
{
    return MayProceed() ? FileSystem::Truncate(path, size) : -1;
}

int ScriptedFileSystem::SetModifiedTime(const QString &path, qint64 seconds)
{
    return MayProceed() ? FileSystem::SetModifiedTime(path, seconds) : -1;
}

ssize_t ScriptedFileSystem::Write(int descriptor, const char *data, std::size_t size)
{
    return MayProceed() ? FileSystem::Write(descriptor, data, size) : -1;
}

int ScriptedFileSystem::Flush(int descriptor)
{
    return MayProceed() ? FileSystem::Flush(descriptor) : -1;
}

int ScriptedFileSystem::Close(int descriptor)
{
    // A failing close has closed the descriptor all the same.
    const bool proceed = MayProceed();
    const int reason = errno;
    const int result = FileSystem::Close(descriptor);
    errno = reason;
    return proceed ? result : -1;
}

int ScriptedFileSystem::Rename(const QString &from, const QString &to)
{
    return MayProceed() ? FileSystem::Rename(from, to) : -1;
}

int ScriptedFileSystem::Unlink(const QString &path)
{
    return MayProceed() ? FileSystem::Unlink(path) : -1;
}

int ScriptedFileSystem::MakeFolder(const QString &path)
{
    return MayProceed() ? FileSystem::MakeFolder(path) : -1;
}

int ScriptedFileSystem::RemoveFolder(const QString &path)
{
    return MayProceed() ? FileSystem::RemoveFolder(path) : -1;
}

int ScriptedFileSystem::FlushFolder(const QString &path)
{
    return MayProceed() ? FileSystem::FlushFolder(path) : -1;
}

int ScriptedFileSystem::FlushFileSystem(const QString &folder)
{
    return MayProceed() ? FileSystem::FlushFileSystem(folder) : -1;
}

int ScriptedFileSystem::AskSpace(const QString &, struct statvfs *status)
{
    constexpr int blockSize = 4096;
    if (free < 0) {
        errno = EIO;
        return -1;
    }
    status->f_frsize = blockSize;
    status->f_bavail = static_cast<fsblkcnt_t>(free / blockSize);
    return 0;
}

std::function<bool(int)> FailAt(int number)
{
    return [number](int step) { return step != number; };
}

std::function<bool(int)> FailFrom(int number)
{
    return [number](int step) { return step < number; };
}

std::function<bool(int)> KillAt(int number)
{
    return [number](int step) {
        if (step == number) {
            kill(getpid(), SIGKILL);
        }
        return true;
    };
}
