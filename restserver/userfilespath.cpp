#include "userfilespath.h"

bool IsUserFilesPath(const QString &path, IStorageModel *storage)
{
    return path.startsWith(storage->Directory(IStorageModel::UserFilesDirectory).absolutePath());
}
