#ifndef DEVICE_H
#define DEVICE_H

#include <hostmodel.h>
#include <vector>

#include "database.h"
#include "userfiles.h"

/** One work order in memory. */
class KnownJob final : public Job
{
public:
    explicit KnownJob(const Database::WorkOrder &stored);
    QString WorkOrderId() override;
    QDateTime ModifiedTime() override;

private:
    Database::WorkOrder workOrder;
};

/**
 * The application's model and every sub-model, over a database and a folder. All of it is used in
 * the thread of the application's event loop.
 */
class Device final : public IRootModel,
                     public IStorageModel,
                     public IModeModel,
                     public IJobPanelModel,
                     public ICommand,
                     public IErrorReporter,
                     public IJobModel,
                     public IWorkOrderStore,
                     public ISyncFilesModel,
                     public IFileManagerModel,
                     public IAssetModel
{
public:
    Device(const QDir &deviceFolder, IRestServerModel *restServer);

    /** Why the device cannot be used; empty when it can. */
    QString Problem() const;

    IRootModel *RootModel() override { return this; }
    IStorageModel *StorageModel() override { return this; }
    IModeModel *ModeModel() override { return this; }
    IJobPanelModel *JobPanelModel() override { return this; }
    ICommand *Command(int) override { return this; }
    IErrorReporter *ErrorReporter() override { return this; }
    IJobModel *JobModel() override { return this; }
    IRestServerModel *RestServer() override { return server; }
    IWorkOrderStore *WorkOrderStore() override { return this; }
    ISyncFilesModel *SyncFilesModel() override { return this; }
    IFileManagerModel *FileManagerModel() override { return this; }
    IAssetModel *AssetModel() override { return this; }

    void ResetJobView() override {}
    int CurrentMode() override { return 0; }
    void SetJobPanelOpen(bool) override {}
    void Execute() override {}
    void ReportError(QString message, const char *sourceFile, int line) override;

    QDir Directory(int key) override;
    bool IsStorageAvailable() override { return true; }
    void BeginStorageAccess() override {}
    void EndStorageAccess() override {}
    bool HasFreeSpace(qint64 bytes) override;

    QVector<Job *> Jobs() override;
    void RefreshJobs() override;
    void SetActiveJob(Job *job) override;
    Job *ActiveJob() override;

    bool UpdateWorkOrders(QJsonArray documents) override;
    QJsonObject GetWorkOrder(QString id, bool *found) override;

    QJsonArray GetPendingFiles() override;
    QJsonArray GetAllPendingFiles() override;
    QByteArray GetFileData(QString path, bool *found) override;
    bool MarkFileSynced(QString path) override;
    void SetTechId(QString techId) override;

    QJsonObject GetUserFiles() override;
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;
    bool DeleteUserFile(QString path) override;

    QJsonObject GetFileMetadata(QString fileName, bool *found) override;
    QJsonObject GetAssetInfo() override;

private:
    QJsonArray Pending(qint64 unchangedForSeconds) const;

    QDir folder;
    UserFiles files;
    Database database;
    IRestServerModel *server;
    std::vector<KnownJob> knownJobs;
    QVector<Job *> jobs; // what clients see; its elements stand in knownJobs
    Job *activeJob = nullptr;
};

#endif
