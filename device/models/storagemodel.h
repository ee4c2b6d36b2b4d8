#ifndef STORAGEMODEL_H
#define STORAGEMODEL_H

#include "devicefolder.h"
#include "hostmodel.h"
#include "templatefolders.h"

/** The directories of the device and its guarded storage, which is there or not for a whole run. */
class StorageModel : public IStorageModel
{
public:
    /** Keeps the reference; the reporter outlives this object. */
    StorageModel(const DeviceFolder &deviceFolder, bool storageAvailable, IErrorReporter &errors);

    /**
     * Any other key is reported and leads to a folder that does not exist. Files that hold no
     * templates are reported when their folder is asked for.
     */
    QDir Directory(int key) override;

    bool IsStorageAvailable() override;

    void BeginStorageAccess() override;

    /** An end without a begin is reported. */
    void EndStorageAccess() override;

    /**
     * Whether the file system of the user files has `bytes` bytes beside the reserve, see
     * `DiskSpace`. False when it cannot be asked.
     */
    bool HasFreeSpace(qint64 bytes) override;

    /** How often the guarded storage was entered and not yet left. */
    int AccessDepth() const { return accessDepth; }

private:
    QDir LookedAt(const QString &templateFolder);

    DeviceFolder folder;
    bool available;
    IErrorReporter &errorReporter;
    TemplateFolders templates;
    int accessDepth = 0;
};

#endif
