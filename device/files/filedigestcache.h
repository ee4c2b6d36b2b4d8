#ifndef FILEDIGESTCACHE_H
#define FILEDIGESTCACHE_H

#include <QCache>
#include <QString>
#include <functional>

#include "filedescriptor.h"
#include "filestatus.h"

/**
 * The SHA-256 digests of files, as lower-case hexadecimal text.
 *
 * A digest is remembered for the status of the file (inode, size, time of change), so asking again
 * about an unchanged file reads nothing. The digests asked for last are kept, as many as the
 * capacity says. Files are read in pieces: memory does not grow with their size.
 *
 * Main thread only.
 */
class FileDigestCache
{
public:
    /**
     * The capacity: more than a device takes files. With fewer digests than files a list that goes
     * through all of them would find none of them again, and read every file each time.
     */
    static constexpr int usual = 65'536;

    /** Remembers up to `capacity` digests, at some 300 bytes each, 20 MB of the usual ones. */
    explicit FileDigestCache(
        int capacity = usual, std::function<bool()> goesOn = [] { return true; });

    /**
     * The digest of an open file whose status is `status`; computed when it is not known. A null
     * string when the file could not be read, with `errno` set, also once `goesOn` is false: the
     * digest of a large file takes longer than the end of a program may. A file that changes while
     * it is being read is not remembered.
     */
    QString Digest(const FileDescriptor &descriptor, const FileStatus &status);

    /** The digest when it is remembered, otherwise a null string. Reads nothing. */
    QString Known(const FileStatus &status) const;

private:
    QCache<FileStatus, QString> digests;
    std::function<bool()> goesOn;
};

#endif
