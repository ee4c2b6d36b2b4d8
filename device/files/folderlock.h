#ifndef FOLDERLOCK_H
#define FOLDERLOCK_H

#include <QString>

#include "filedescriptor.h"

/**
 * Keeps a folder for one user of this class at a time.
 *
 * The lock is the kernel's: it vanishes with the object or with the process, however that ends, and
 * leaves nothing on the disk. Not synchronised: one thread at a time.
 */
class FolderLock
{
public:
    /**
     * Takes the folder at `path`, which exists, until the end of this object. False when it cannot
     * be opened or somebody else has it, in this process or another one; `*error` is then one line
     * that names it. A file system without locks gives the folder to everybody.
     */
    bool Take(const QString &path, QString *error);

private:
    FileDescriptor folder;
};

#endif
