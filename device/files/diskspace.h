#ifndef DISKSPACE_H
#define DISKSPACE_H

#include <QString>
#include <optional>

#include "filesystem.h"

/** What is left of a file system at one moment. A plain value; any thread may use it. */
class DiskSpace
{
public:
    /** Bytes that clients cannot take, so that the device itself can go on writing. */
    static constexpr qint64 reserve = qint64{16} * 1024 * 1024;

    /** Of the file system that holds `folder`; none with `*error` when it cannot be asked. */
    static std::optional<DiskSpace> Of(FileSystem &fileSystem, const QString &folder,
                                       QString *error);

    /** Free bytes beside the reserve; negative while that is in use. */
    qint64 BesideReserve() const { return free - reserve; }

    /** What a file of `size` bytes takes: whole blocks. */
    qint64 Taken(qint64 size) const { return (size + block - 1) / block * block; }

private:
    DiskSpace(qint64 freeBytes, qint64 blockBytes)
        : free(freeBytes)
        , block(blockBytes)
    {}

    qint64 free;
    qint64 block;
};

#endif
