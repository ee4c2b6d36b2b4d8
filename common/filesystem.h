#ifndef FILESYSTEM_H
#define FILESYSTEM_H

#include <QString>
#include <cstddef>
#include <sys/types.h>

struct statvfs;

/**
 * The changes that the stores make to the file system, and their question for room, one virtual
 * call for each.
 *
 * Every store writes through an object of this class, so that another one can stand in between: one
 * that stops the process before a chosen step, or one whose disk is full. Reading needs no such
 * seam and goes through Qt.
 *
 * Each operation is the POSIX call it is named after, with its result: -1 and `errno` on failure.
 * An interrupted call is repeated. Paths are absolute.
 *
 * Holds no state; any thread may use it.
 */
class FileSystem
{
public:
    FileSystem() = default;
    FileSystem(const FileSystem &) = delete;
    FileSystem &operator=(const FileSystem &) = delete;
    virtual ~FileSystem() = default;

    /** Creates or empties a file and opens it for writing. The caller closes the descriptor. */
    virtual int OpenForWriting(const QString &path);

    /** Opens an existing file for writing at its end. The caller closes the descriptor. */
    virtual int OpenForAppending(const QString &path);

    /** Gives a file this size. */
    virtual int Truncate(const QString &path, qint64 size);

    /** Sets the time of a file's last change, in seconds since 1970-01-01T00:00:00Z. */
    virtual int SetModifiedTime(const QString &path, qint64 seconds);

    /** Writes up to `size` bytes and returns how many were taken. */
    virtual ssize_t Write(int descriptor, const char *data, std::size_t size);

    /** Returns once the content of the open file is on the disk. */
    virtual int Flush(int descriptor);

    /** The descriptor is closed afterwards, also on failure. */
    virtual int Close(int descriptor);

    /** Replaces `to` by `from` in one step. Both lie on the same file system. */
    virtual int Rename(const QString &from, const QString &to);

    /** Removes a file. */
    virtual int Unlink(const QString &path);

    /** Makes one folder; its parent exists. */
    virtual int MakeFolder(const QString &path);

    /** Removes an empty folder. */
    virtual int RemoveFolder(const QString &path);

    /** Returns once the names in a folder are on the disk. */
    virtual int FlushFolder(const QString &path);

    /**
     * Returns once everything written to the file system that holds `folder` is on the disk: for
     * many new files one call instead of a `Flush` of each.
     */
    virtual int FlushFileSystem(const QString &folder);

    /** Tells how much room is left on the file system that holds `path`. */
    virtual int AskSpace(const QString &path, struct statvfs *status);
};

#endif
