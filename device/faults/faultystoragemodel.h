#ifndef FAULTYSTORAGEMODEL_H
#define FAULTYSTORAGEMODEL_H

#include "faultplan.h"

/** A storage model that is without its guarded storage or its free space when the plan says so. */
class FaultyStorageModel : public IStorageModel
{
public:
    /** Keeps the references; both objects outlive this one. */
    FaultyStorageModel(IStorageModel &storageModel, FaultPlan &faultPlan);

    QDir Directory(int key) override;
    bool IsStorageAvailable() override;
    void BeginStorageAccess() override;
    void EndStorageAccess() override;
    bool HasFreeSpace(qint64 bytes) override;

private:
    IStorageModel &storage;
    FaultPlan &faults;
};

#endif
