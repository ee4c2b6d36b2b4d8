#include "faultymodels.h"

namespace {

constexpr const char *reportSource = "faultymodels";

/** Whether the reading of a file up to `end` runs into the fault, which is then reported. */
bool ReadingFails(FaultPlan &faults, IErrorReporter &errors, const QString &path, qint64 end)
{
    const std::optional<qint64> position = faults.Value(FaultKind::ReadFails);
    if (!position || end <= *position) {
        return false;
    }
    faults.Count(FaultKind::ReadFails);
    errors.ReportError(QStringLiteral("fault: cannot read %1 at %2").arg(path).arg(*position),
                       reportSource, __LINE__);
    return true;
}

} // namespace

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
    return !faults.Bites(FaultKind::StorageAway) && storage.IsStorageAvailable();
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
    return !faults.Bites(FaultKind::NoSpace) && storage.HasFreeSpace(bytes);
}

FaultyFileManagerModel::FaultyFileManagerModel(IFileManagerModel &fileManagerModel,
                                               FaultPlan &faultPlan, IErrorReporter &errors)
    : fileManager(fileManagerModel)
    , faults(faultPlan)
    , errorReporter(errors)
{}

QJsonObject FaultyFileManagerModel::GetUserFiles()
{
    return fileManager.GetUserFiles();
}

QByteArray FaultyFileManagerModel::ReadFileChunk(QString path, bool *ok, qint64 offset,
                                                 qint64 maxLength, bool *lastChunk)
{
    if (offset > 0) {
        faults.DelayCall();
    }
    QByteArray piece = fileManager.ReadFileChunk(path, ok, offset, maxLength, lastChunk);
    if (*ok && ReadingFails(faults, errorReporter, path, offset + piece.size())) {
        *ok = false;
        *lastChunk = true;
        return QByteArray();
    }
    return piece;
}

bool FaultyFileManagerModel::DeleteUserFile(QString path)
{
    return !faults.Bites(FaultKind::DeleteRefused) && fileManager.DeleteUserFile(path);
}

FaultySyncFilesModel::FaultySyncFilesModel(ISyncFilesModel &syncFilesModel, FaultPlan &faultPlan,
                                           IErrorReporter &errors)
    : syncFiles(syncFilesModel)
    , faults(faultPlan)
    , errorReporter(errors)
{}

QJsonArray FaultySyncFilesModel::GetPendingFiles()
{
    return syncFiles.GetPendingFiles();
}

QJsonArray FaultySyncFilesModel::GetAllPendingFiles()
{
    return syncFiles.GetAllPendingFiles();
}

QByteArray FaultySyncFilesModel::GetFileData(QString path, bool *found)
{
    QByteArray content = syncFiles.GetFileData(path, found);
    if (*found && ReadingFails(faults, errorReporter, path, content.size())) {
        *found = false;
        return QByteArray();
    }
    return content;
}

bool FaultySyncFilesModel::MarkFileSynced(QString path)
{
    return syncFiles.MarkFileSynced(path);
}

void FaultySyncFilesModel::SetTechId(QString techId)
{
    syncFiles.SetTechId(techId);
}

FaultyWorkOrderStore::FaultyWorkOrderStore(IWorkOrderStore &workOrderStore, FaultPlan &faultPlan,
                                           IErrorReporter &errors)
    : store(workOrderStore)
    , faults(faultPlan)
    , errorReporter(errors)
{}

bool FaultyWorkOrderStore::UpdateWorkOrders(QJsonArray workOrders)
{
    if (faults.Bites(FaultKind::StoreFails)) {
        errorReporter.ReportError(QStringLiteral("fault: cannot store work orders"), reportSource,
                                  __LINE__);
        return false;
    }
    return store.UpdateWorkOrders(workOrders);
}

QJsonObject FaultyWorkOrderStore::GetWorkOrder(QString id, bool *found)
{
    return store.GetWorkOrder(id, found);
}

FaultyModels::FaultyModels(DeviceModels &models, FaultPlan &faults, IErrorReporter &errors)
    : storage(models.storage, faults)
    , fileManager(models.fileManager, faults, errors)
    , syncFiles(models.syncFiles, faults, errors)
    , workOrders(models.workOrders, faults, errors)
{}
