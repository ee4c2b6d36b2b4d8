#ifndef FAULTYMODELS_H
#define FAULTYMODELS_H

#include "devicemodels.h"
#include "faultyfilemanagermodel.h"
#include "faultystoragemodel.h"
#include "faultysyncfilesmodel.h"
#include "faultyworkorderstore.h"

/** The models of a device that can fail on purpose, in front of the real ones. */
class FaultyModels
{
public:
    /** Keeps the references; all objects outlive this one. */
    FaultyModels(DeviceModels &models, FaultPlan &faults, IErrorReporter &errors)
        : storage(models.storage, faults)
        , fileManager(models.fileManager, faults, errors)
        , syncFiles(models.syncFiles, faults, errors)
        , workOrders(models.workOrders, faults, errors)
    {}

    FaultyStorageModel storage;
    FaultyFileManagerModel fileManager;
    FaultySyncFilesModel syncFiles;
    FaultyWorkOrderStore workOrders;
};

#endif
