#ifndef DEVICEMODELS_H
#define DEVICEMODELS_H

#include <cstdio>
#include <map>

#include "assetmodel.h"
#include "devicefolder.h"
#include "filedigestcache.h"
#include "filemanagermodel.h"
#include "filesystem.h"
#include "jobmodel.h"
#include "storagemodel.h"
#include "syncfilesmodel.h"
#include "userfiledirectory.h"
#include "viewmodels.h"
#include "workorderstore.h"

/** Every model of a simulated device whose folders exist, in the order in which they build on one
 * another. */
class DeviceModels
{
public:
    /** What a device is told at its start. */
    struct Setup
    {
        QString folder; ///< absolute and clean
        int mode = 0;
        bool storageAvailable = true;
        int workOrderLimit = WorkOrderStore::defaultLimit;
        int userFileLimit = StorageModel::defaultFileLimit;
    };

    /** Reads what the device has stored, until the program is to end. Keeps the references; lines
     * of the view go to `view`. */
    DeviceModels(const Setup &setup, FileSystem &fileSystem, IErrorReporter &errors,
                 std::FILE *view);

    DeviceFolder folder;
    UserFileDirectory userFiles;
    FileDigestCache digests{FileDigestCache::usual, GoesOn};
    StorageModel storage;
    ModeModel mode;
    JobPanelModel jobPanel;
    WorkOrderStore workOrders;
    JobModel jobs;
    SyncFilesModel syncFiles;
    FileManagerModel fileManager;
    AssetModel asset;

    /** One command for every id that was asked for. */
    ViewCommand &CommandWithId(int id);

private:
    static bool GoesOn(); // asked at each step of long work
    static WorkOrderStore &Loaded(WorkOrderStore &store);

    std::FILE *viewOutput;
    std::map<int, ViewCommand> commands;
};

#endif
