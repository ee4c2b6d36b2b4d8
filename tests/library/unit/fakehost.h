#ifndef FAKEHOST_H
#define FAKEHOST_H

#include <QMap>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "calllog.h"
#include "hostmodel.h"

/**
 * A host for tests. Every operation of a sub-model adds a text such as
 * "WorkOrderStore.GetWorkOrder(17)" to the host's one log and returns what the test put into the
 * sub-model's members. Accessors of the host itself are not logged.
 *
 *     FakeHost host;
 *     host.syncFiles.fileData = "text";
 *     processor.Construct(&host);
 *     ...
 *     EXPECT_EQ(host.log.Calls(), ...);
 */

struct FakeErrorReporter : IErrorReporter
{
    struct Report
    {
        QString message;
        QString sourceFile;
        int line;
    };

    explicit FakeErrorReporter(CallLog &callLog)
        : log(callLog)
    {}
    void ReportError(QString message, const char *sourceFile, int line) override;

    CallLog &log;
    std::vector<Report> reports;
};

struct FakeStorageModel : IStorageModel
{
    explicit FakeStorageModel(CallLog &callLog)
        : log(callLog)
    {}
    QDir Directory(int key) override;
    bool IsStorageAvailable() override;
    void BeginStorageAccess() override;
    void EndStorageAccess() override;
    bool HasFreeSpace(qint64 bytes) override;

    CallLog &log;
    QMap<int, QString> directories; // by key
    bool available = true;
    bool freeSpace = true;
    std::function<void()> onBegin; // called by `BeginStorageAccess`
    std::function<void()> onEnd;   // called by `EndStorageAccess`
};

struct FakeModeModel : IModeModel
{
    explicit FakeModeModel(CallLog &callLog)
        : log(callLog)
    {}
    int CurrentMode() override;

    CallLog &log;
    int mode = 0;
};

struct FakeJobPanelModel : IJobPanelModel
{
    explicit FakeJobPanelModel(CallLog &callLog)
        : log(callLog)
    {}
    void SetJobPanelOpen(bool open) override;

    CallLog &log;
};

struct FakeCommand : ICommand
{
    explicit FakeCommand(CallLog &callLog)
        : log(callLog)
    {}
    void Execute() override;

    CallLog &log;
    int id = 0; // that of the last look-up
};

struct FakeJob final : Job
{
    FakeJob(QString workOrderId, QDateTime modified)
        : id(std::move(workOrderId))
        , modifiedTime(std::move(modified))
    {}
    QString WorkOrderId() override { return id; }
    QDateTime ModifiedTime() override { return modifiedTime; }

    QString id;
    QDateTime modifiedTime;
};

struct FakeJobModel : IJobModel
{
    explicit FakeJobModel(CallLog &callLog)
        : log(callLog)
    {}
    QVector<Job *> Jobs() override; // not logged: it is fetched at every step of a loop
    void RefreshJobs() override;
    void SetActiveJob(Job *job) override;
    Job *ActiveJob() override;

    /** Adds a job, which stays this object's. */
    FakeJob *Add(const QString &id, const QDateTime &modified = QDateTime());

    CallLog &log;
    std::vector<std::unique_ptr<FakeJob>> jobs;
    Job *active = nullptr;
    std::function<void()> onJobs; // called at the start of every `Jobs`
};

struct FakeWorkOrderStore : IWorkOrderStore
{
    explicit FakeWorkOrderStore(CallLog &callLog)
        : log(callLog)
    {}
    bool UpdateWorkOrders(QJsonArray workOrders) override;

    /** The answer of `onGet`, where there is one; otherwise from `documents`. */
    QJsonObject GetWorkOrder(QString id, bool *found) override;

    CallLog &log;
    bool updateResult = true;
    QMap<QString, QJsonObject> documents;
    std::function<QJsonObject(bool *found)> onGet;
};

struct FakeSyncFilesModel : ISyncFilesModel
{
    FakeSyncFilesModel(CallLog &callLog, std::string nameInLog)
        : log(callLog)
        , name(std::move(nameInLog))
    {}
    QJsonArray GetPendingFiles() override;
    QJsonArray GetAllPendingFiles() override;
    QByteArray GetFileData(QString path, bool *found) override;
    bool MarkFileSynced(QString path) override;
    void SetTechId(QString techId) override;

    CallLog &log;
    std::string name;
    QJsonArray pendingFiles;
    QJsonArray allPendingFiles;
    bool fileFound = true; // also the result of MarkFileSynced
    QByteArray fileData;
};

struct FakeFileManagerModel : IFileManagerModel
{
    struct Piece
    {
        QByteArray bytes;
        bool ok;
        std::optional<bool> lastChunk; // nothing leaves the caller's as it is
    };

    explicit FakeFileManagerModel(CallLog &callLog)
        : log(callLog)
    {}
    QJsonObject GetUserFiles() override;

    /** The next of `pieces`, as long as there is one; otherwise from `files`. */
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;
    bool DeleteUserFile(QString path) override;

    CallLog &log;
    QJsonObject userFiles;
    QMap<QString, QByteArray> files; // content by path
    std::deque<Piece> pieces;
    std::function<void()> onRead; // called at the start of every `ReadFileChunk`
    bool deleteResult = true;
};

struct FakeAssetModel : IAssetModel
{
    explicit FakeAssetModel(CallLog &callLog)
        : log(callLog)
    {}
    QJsonObject GetFileMetadata(QString fileName, bool *found) override;
    QJsonObject GetAssetInfo() override;

    CallLog &log;
    bool metadataFound = true;
    QJsonObject metadata;
    QJsonObject assetInfo;
};

/** Queues for transfer code that is tested without a server. */
struct FakeRestServer : IRestServerModel
{
    void Start() override { running = true; }
    void Stop() override { running = false; }
    bool Running() override { return running; }
    SharedQueue<DataChunk *> *RequestChunkQueue() override { return &requestChunks; }
    SharedQueue<DataChunk *> *ResponseChunkQueue() override { return &responseChunks; }

    bool running = false;
    SharedQueue<DataChunk *> requestChunks;
    SharedQueue<DataChunk *> responseChunks;
};

/** The sub-models and the accessors to them, for the host and for its root model. */
struct FakeHost : IApplicationModel
{
    /** A root of its own, whose synchronisation model differs from the host's. */
    struct Root : IRootModel
    {
        explicit Root(FakeHost &fakeHost)
            : host(fakeHost)
        {}
        IRootModel *RootModel() override { return this; }
        IStorageModel *StorageModel() override { return host.StorageModel(); }
        IModeModel *ModeModel() override { return host.ModeModel(); }
        IJobPanelModel *JobPanelModel() override { return host.JobPanelModel(); }
        ICommand *Command(int id) override { return host.Command(id); }
        IErrorReporter *ErrorReporter() override { return host.ErrorReporter(); }
        IJobModel *JobModel() override { return host.JobModel(); }
        IRestServerModel *RestServer() override { return host.RestServer(); }
        IWorkOrderStore *WorkOrderStore() override { return host.WorkOrderStore(); }
        ISyncFilesModel *SyncFilesModel() override { return &host.rootSyncFiles; }
        IFileManagerModel *FileManagerModel() override { return host.FileManagerModel(); }
        IAssetModel *AssetModel() override { return host.AssetModel(); }
        void ResetJobView() override { host.log.Add("RootModel.ResetJobView()"); }

        FakeHost &host;
    };

    IRootModel *RootModel() override { return &root; }
    IStorageModel *StorageModel() override { return &storage; }
    IModeModel *ModeModel() override { return &mode; }
    IJobPanelModel *JobPanelModel() override { return &jobPanel; }
    ICommand *Command(int id) override;
    IErrorReporter *ErrorReporter() override { return &errors; }
    IJobModel *JobModel() override { return &jobs; }
    IRestServerModel *RestServer() override { return restServer; }
    IWorkOrderStore *WorkOrderStore() override { return &workOrders; }
    ISyncFilesModel *SyncFilesModel() override { return &syncFiles; }
    IFileManagerModel *FileManagerModel() override { return &fileManager; }
    IAssetModel *AssetModel() override { return &asset; }

    CallLog log;
    Root root{*this};
    FakeStorageModel storage{log};
    FakeModeModel mode{log};
    FakeJobPanelModel jobPanel{log};
    FakeCommand command{log};
    FakeErrorReporter errors{log};
    FakeJobModel jobs{log};
    FakeRestServer fakeRestServer;
    IRestServerModel *restServer = &fakeRestServer; // a test with a real server puts that here
    FakeWorkOrderStore workOrders{log};
    FakeSyncFilesModel syncFiles{log, "SyncFilesModel"};
    FakeSyncFilesModel rootSyncFiles{log, "RootModel.SyncFilesModel"};
    FakeFileManagerModel fileManager{log};
    FakeAssetModel asset{log};
};

#endif
