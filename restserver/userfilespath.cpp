#include "userfilespath.h"

// Asked anew each time, as the host may move the directory.
bool IsUserFilesPath(const QString &path, IStorageModel *storage)
{
    return path.startsWith(storage->Directory(IStorageModel::UserFilesDirectory).absolutePath());
}
