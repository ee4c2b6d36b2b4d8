#include "storagemodel.h"

#include <QFile>
#include <algorithm>
#include <limits>
#include <sys/statvfs.h>

#include "durablefile.h"

namespace {

// The largest number that can be told apart, where a file system has more.
qint64 BytesOf(const struct statvfs &status)
{
    constexpr auto limit = static_cast<quint64>(std::numeric_limits<qint64>::max());
    const quint64 blockSize = std::max<quint64>(status.f_frsize, 1);
    const quint64 blocks = std::min<quint64>(status.f_bavail, limit / blockSize);
    return static_cast<qint64>(blocks * blockSize);
}

} // namespace

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
    struct statvfs status = {};
    if (statvfs(QFile::encodeName(folder.UserFiles()).constData(), &status) != 0) {
        errorReporter.ReportError(DescribeFailure("ask for the free space of", folder.UserFiles()),
                                  "storagemodel", __LINE__);
        return false;
    }
    return bytes <= BytesOf(status) - reserve;
}
