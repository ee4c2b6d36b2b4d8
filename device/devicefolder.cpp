#include "devicefolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
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

bool DeviceFolder::MakeFolders(FileSystem &fileSystem, QString *error) const
{
    if (!MakeParents(fileSystem, root, error)) {
        return false;
    }
    const QString folders[] = {root,      WorkOrders(),       Templates(), State(),
                               Storage(), GuardedTemplates(), UserFiles()};
    for (const QString &folder : folders) {
        if (!MakeFolder(fileSystem, folder, error) || !CheckAccess(folder, error)) {
            return false;
        }
    }
    return true;
}
