#ifndef FAULTYMODELS_H
#define FAULTYMODELS_H

#include "devicemodels.h"
#include "faultplan.h"

// Models that stand in front of the real ones and fail when the plan says so. Each keeps the
// references that it is given; all objects outlive it.

/** A storage model that is without its guarded storage or its free space when the plan says so. */
class FaultyStorageModel : public IStorageModel
{
public:
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

/** A file manager that fails to read or refuses to delete when the plan says so. */
class FaultyFileManagerModel : public IFileManagerModel
{
public:
    FaultyFileManagerModel(IFileManagerModel &fileManagerModel, FaultPlan &faultPlan,
                           IErrorReporter &errors);

    QJsonObject GetUserFiles() override;

    /**
     * Each piece but the first is late while calls are slow; the first one is part of its request,
     * which is late as a whole. A piece that reaches the position of the fault cannot be read, and
     * is the last.
     */
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;
    bool DeleteUserFile(QString path) override;

private:
    IFileManagerModel &fileManager;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

/** A model of the files to confirm that cannot read a whole file when the plan says so. */
class FaultySyncFilesModel : public ISyncFilesModel
{
public:
    FaultySyncFilesModel(ISyncFilesModel &syncFilesModel, FaultPlan &faultPlan,
                         IErrorReporter &errors);

    QJsonArray GetPendingFiles() override;
    QJsonArray GetAllPendingFiles() override;

    /** A file that reaches the position of the fault is not found, with a report. */
    QByteArray GetFileData(QString path, bool *found) override;
    bool MarkFileSynced(QString path) override;
    void SetTechId(QString techId) override;

private:
    ISyncFilesModel &syncFiles;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

/** A work order store that stores nothing when the plan says so. */
class FaultyWorkOrderStore : public IWorkOrderStore
{
public:
    FaultyWorkOrderStore(IWorkOrderStore &workOrderStore, FaultPlan &faultPlan,
                         IErrorReporter &errors);

    bool UpdateWorkOrders(QJsonArray workOrders) override;
    QJsonObject GetWorkOrder(QString id, bool *found) override;

private:
    IWorkOrderStore &store;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

/** The models of a device that can fail on purpose. Main thread only. */
class FaultyModels
{
public:
    FaultyModels(DeviceModels &models, FaultPlan &faults, IErrorReporter &errors);

    FaultyStorageModel storage;
    FaultyFileManagerModel fileManager;
    FaultySyncFilesModel syncFiles;
    FaultyWorkOrderStore workOrders;
};

#endif
