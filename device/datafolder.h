#ifndef DATAFOLDER_H
#define DATAFOLDER_H

#include <QString>
#include <sys/types.h>

#include "filedescriptor.h"

/**
 * A folder that goes with the process, however that ends: a child process waits for the end and
 * removes it then. The child is made before this one confines itself, and so may remove what this
 * one no longer can.
 *
 * Made before the first thread is started. One thread only.
 */
class TemporaryFolder
{
public:
    TemporaryFolder() = default;
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    /** Returns when the folder is gone. */
    ~TemporaryFolder();

    /** Makes it; true on success. On failure `*error` is one line that names the path. */
    bool Make(QString *error);

    /** Absolute, free of symbolic links; empty before `Make`. */
    QString Path() const { return path; }

private:
    QString path;
    FileDescriptor lifeline; ///< the child removes the folder when this is closed
    pid_t remover = -1;
};

/**
 * Makes `target` a copy of the folder `source`, with links, times and rights, all or nothing; a
 * target that has anything in it stays as it is. On failure `*error` is one line that names the
 * path.
 */
bool CopyFolder(const QString &source, const QString &target, QString *error);

#endif
