#ifndef SCRIPTEDFILESYSTEM_H
#define SCRIPTEDFILESYSTEM_H

#include <functional>

#include "filesystem.h"

/**
 * A file system that asks before each step. The steps are numbered from 1; `allow` returns false to
 * make one fail with ENOSPC, and may as well end the process.
 */
class ScriptedFileSystem : public FileSystem
{
public:
    explicit ScriptedFileSystem(std::function<bool(int)> allow);

    int OpenForWriting(const QString &path) override;
    int OpenForAppending(const QString &path) override;
    int Truncate(const QString &path, qint64 size) override;
    int SetModifiedTime(const QString &path, qint64 seconds) override;
    ssize_t Write(int descriptor, const char *data, std::size_t size) override;
    int Flush(int descriptor) override;
    int Close(int descriptor) override;
    int Rename(const QString &from, const QString &to) override;
    int Unlink(const QString &path) override;
    int MakeFolder(const QString &path) override;
    int RemoveFolder(const QString &path) override;
    int FlushFolder(const QString &path) override;
    int FlushFileSystem(const QString &folder) override;

    /** No step, as nothing is changed. What is free is as `SetFree` says, in blocks of 4 KiB. */
    int AskSpace(const QString &path, struct statvfs *status) override;

    /** Without it there is plenty. Negative: the file system cannot be asked. */
    void SetFree(qint64 bytes) { free = bytes; }

    int Steps() const { return steps; }

private:
    bool MayProceed();

    std::function<bool(int)> allowStep;
    int steps = 0;
    qint64 free = qint64{1} << 40;
};

/** Only the step with this number fails. */
std::function<bool(int)> FailAt(int number);

/** That step and all after it fail. */
std::function<bool(int)> FailFrom(int number);

/** The process is killed before the step with this number. */
std::function<bool(int)> KillAt(int number);

#endif
