#ifndef STORAGEACCESS_H
#define STORAGEACCESS_H

#include "hostmodel.h"

/** Enters the guarded storage and leaves it at the end of the scope. Main thread only. */
class StorageAccess
{
public:
    explicit StorageAccess(IStorageModel *storageModel)
        : storage(storageModel)
    {
        storage->BeginStorageAccess();
    }
    ~StorageAccess() { storage->EndStorageAccess(); }
    StorageAccess(const StorageAccess &) = delete;
    StorageAccess &operator=(const StorageAccess &) = delete;

private:
    IStorageModel *storage;
};

#endif
