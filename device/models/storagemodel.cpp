#include "storagemodel.h"

#include <algorithm>

#include "diskspace.h"

StorageModel::StorageModel(const DeviceFolder &deviceFolder, bool storageAvailable,
                           IErrorReporter &errors)
    : folder(deviceFolder)
    , available(storageAvailable)
    , errorReporter(errors)
    , templates(errors)
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
    return std::max<qint64>(bytes, 0) <= space->BesideReserve();
}
