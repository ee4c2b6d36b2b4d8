#include "faultystoragemodel.h"

FaultyStorageModel::FaultyStorageModel(IStorageModel &storageModel, FaultPlan &faultPlan)
    : storage(storageModel)
    , faults(faultPlan)
{}

QDir FaultyStorageModel::Directory(int key)
{
    return storage.Directory(key);
}

bool FaultyStorageModel::IsStorageAvailable()
{
    return !faults.IsSet(Fault::StorageAway) && storage.IsStorageAvailable();
}

void FaultyStorageModel::BeginStorageAccess()
{
    storage.BeginStorageAccess();
}

void FaultyStorageModel::EndStorageAccess()
{
    storage.EndStorageAccess();
}

bool FaultyStorageModel::HasFreeSpace(qint64 bytes)
{
    return !faults.IsSet(Fault::NoSpace) && storage.HasFreeSpace(bytes);
}
