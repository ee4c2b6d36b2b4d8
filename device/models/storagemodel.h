#ifndef STORAGEMODEL_H
#define STORAGEMODEL_H

#include "devicefolder.h"
#include "hostmodel.h"
#include "templatefolders.h"

/** The directories of the device and its guarded storage, which is there or not for a whole run. */
class StorageModel : public IStorageModel
{
public:
    /** A list of so many files takes some 200 MiB of memory, with the longest names. */
    static constexpr int defaultFileLimit = 50'000;

    /** Keeps the reference; the reporter outlives this object. */
    StorageModel(const DeviceFolder &deviceFolder, bool storageAvailable, IErrorReporter &errors,
                 int userFileLimit = defaultFileLimit);

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
     * Whether a file may be written: the file system of the user files has `bytes` bytes beside the
     * reserve, see `DiskSpace`, and the files of the storage, user files and others together, have
     * not reached their limit, which is reported. False when the file system cannot be asked.
     *
     * Not even a file that replaces another is let in at the limit: nothing tells which one is
     * meant. Each answer counts as a new file until all are counted anew, which is at the latest
     * after 1,000 of them.
     */
    bool HasFreeSpace(qint64 bytes) override;

    /** How often the guarded storage was entered and not yet left. */
    int AccessDepth() const { return accessDepth; }

private:
    QDir LookedAt(const QString &templateFolder);
    bool MayHaveOneMoreFile();
    void CountRoom();
    int CountFiles() const;

    DeviceFolder folder;
    bool available;
    IErrorReporter &errorReporter;
    TemplateFolders templates;
    int accessDepth = 0;
    int fileLimit;
    int room = 0; // for files, before they are counted anew
};

#endif
