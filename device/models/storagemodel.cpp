#include "storagemodel.h"

#include <QFileInfo>
#include <algorithm>

#include "diskspace.h"
#include "userfiledirectory.h"

StorageModel::StorageModel(const DeviceFolder &deviceFolder, bool storageAvailable,
                           IErrorReporter &errors, int userFileLimit)
    : folder(deviceFolder)
    , available(storageAvailable)
    , errorReporter(errors)
    , templates(errors)
    , fileLimit(userFileLimit)
{}

QDir StorageModel::Directory(int key)
{
    switch (key) {
    case UserFilesDirectory:
        return QDir(folder.UserFiles());
    case TemplateDirectory:
        return LookedAt(folder.Templates());
    case GuardedTemplateDirectory:
        return LookedAt(folder.GuardedTemplates());
    default:
        errorReporter.ReportError(QStringLiteral("no directory has the key %1").arg(key),
                                  "storagemodel", __LINE__);
        return QDir(folder.Path() + QLatin1String("/no-directory"));
    }
}

QDir StorageModel::LookedAt(const QString &templateFolder)
{
    templates.Look(templateFolder);
    return QDir(templateFolder);
}

bool StorageModel::IsStorageAvailable()
{
    return available;
}

void StorageModel::BeginStorageAccess()
{
    ++accessDepth;
}

void StorageModel::EndStorageAccess()
{
    if (accessDepth == 0) {
        errorReporter.ReportError(QStringLiteral("the guarded storage was left but not entered"),
                                  "storagemodel", __LINE__);
        return;
    }
    --accessDepth;
}

bool StorageModel::HasFreeSpace(qint64 bytes)
{
    FileSystem fileSystem;
    QString error;
    const std::optional<DiskSpace> space = DiskSpace::Of(fileSystem, folder.UserFiles(), &error);
    if (!space) {
        errorReporter.ReportError(error, "storagemodel", __LINE__);
        return false;
    }
    return std::max<qint64>(bytes, 0) <= space->BesideReserve() && MayHaveOneMoreFile();
}

bool StorageModel::MayHaveOneMoreFile()
{
    if (room == 0) {
        CountRoom();
    }
    if (room == 0) {
        return false;
    }
    --room;
    return true;
}

void StorageModel::CountRoom()
{
    constexpr int mostAtOnce = 1000; // so that files of others are noticed
    room = std::min(mostAtOnce, fileLimit - CountFiles());
    if (room == 0) {
        errorReporter.ReportError(QStringLiteral("no room for a file: %1 holds the %2 that are "
                                                 "allowed; delete some")
                                      .arg(folder.Storage())
                                      .arg(fileLimit),
                                  "storagemodel", __LINE__);
    }
}

int StorageModel::CountFiles() const
{
    // All of the storage is in the reach of uploads.
    int count = UserFileDirectory(folder.Storage()).Count(fileLimit);
    for (const QString &place : {folder.UserFiles(), folder.GuardedTemplates()}) {
        if (QFileInfo(place).isSymLink()) { // no link was followed so far
            count += UserFileDirectory(place).Count(fileLimit - count);
        }
    }
    return count;
}
