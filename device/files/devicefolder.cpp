#include "devicefolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <unistd.h>

#include "durablefile.h"

namespace {

bool MakeFolder(FileSystem &fileSystem, const QString &path, QString *error)
{
    if (fileSystem.MakeFolder(path) == 0 || errno == EEXIST) {
        return true;
    }
    *error = DescribeFailure("make", path);
    return false;
}

bool MakeParents(FileSystem &fileSystem, const QString &path, QString *error)
{
    const QString parent = QFileInfo(path).path();
    if (QFileInfo(parent).isDir()) {
        return true;
    }
    return MakeParents(fileSystem, parent, error) && MakeFolder(fileSystem, parent, error);
}

bool CheckAccess(const QString &path, QString *error)
{
    if (QFileInfo(path).exists() && !QFileInfo(path).isDir()) {
        errno = ENOTDIR;
    } else if (access(QFile::encodeName(path).constData(), R_OK | W_OK | X_OK) == 0) {
        return true;
    }
    *error = DescribeFailure("use", path);
    return false;
}

bool MakeUsable(FileSystem &fileSystem, const QString &path, QString *error)
{
    return MakeFolder(fileSystem, path, error) && CheckAccess(path, error);
}

} // namespace

DeviceFolder::DeviceFolder(const QString &path)
    : root(path)
{}

bool DeviceFolder::IsUnused() const
{
    const QFileInfo folder(root);
    if (!folder.exists() && !folder.isSymLink()) {
        return true;
    }
    return folder.isDir() && folder.isReadable() &&
           QDir(root).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System |
                              QDir::NoDotAndDotDot);
}

bool DeviceFolder::Make(FileSystem &fileSystem, QString *error) const
{
    return MakeParents(fileSystem, root, error) && MakeUsable(fileSystem, root, error);
}

bool DeviceFolder::MakeFolders(FileSystem &fileSystem, QString *error) const
{
    const QString folders[] = {WorkOrders(), Templates(),        State(),
                               Storage(),    GuardedTemplates(), UserFiles()};
    return Make(fileSystem, error) &&
           std::all_of(std::begin(folders), std::end(folders), [&](const QString &folder) {
               return MakeUsable(fileSystem, folder, error);
           });
}
