#ifndef WIREHOST_H
#define WIREHOST_H

#include <QFile>
#include <QTemporaryDir>
#include <functional>

#include "hostmodel.h"

/**
 * A host with real user files in a temporary directory and the plainest answers elsewhere; tests
 * put their own functions where an answer matters. Main thread only, like every host.
 */
class WireHost : public IRootModel,
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
    /** What a test may replace. */
    struct Script
    {
        std::function<QJsonObject()> assetInfo = [] { return QJsonObject{{"serial", "S1"}}; };
        std::function<bool()> isStorageAvailable = [] { return true; };
        std::function<void()> storageEntered = [] {};
        std::function<void()> storageLeft = [] {};
        std::function<bool(qint64)> hasFreeSpace = [](qint64) { return true; };
        std::function<QByteArray(QString, bool *, qint64, qint64, bool *)> readFileChunk =
            [](QString path, bool *ok, qint64 offset, qint64 maxLength, bool *lastChunk) {
                QFile file(path);
                *ok = file.open(QIODevice::ReadOnly) && file.seek(offset);
                const QByteArray bytes = file.read(maxLength);
                *lastChunk = !*ok || file.atEnd();
                return bytes;
            };
    };

    IRestServerModel *server = nullptr;
    QTemporaryDir directory;
    QStringList calls; // what was asked, in order
    Script script;

    QString Path(const QString &name) const { return directory.path() + "/" + name; }

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

    QDir Directory(int) override { return QDir(directory.path()); }
    bool IsStorageAvailable() override { return script.isStorageAvailable(); }
    void BeginStorageAccess() override { script.storageEntered(); }
    void EndStorageAccess() override { script.storageLeft(); }
    bool HasFreeSpace(qint64 bytes) override { return script.hasFreeSpace(bytes); }
    int CurrentMode() override { return 0; }
    void SetJobPanelOpen(bool) override {}
    void Execute() override {}
    void ReportError(QString message, const char *, int) override { calls << "error " + message; }
    QVector<Job *> Jobs() override { return {}; }
    void RefreshJobs() override {}
    void SetActiveJob(Job *) override {}
    Job *ActiveJob() override { return nullptr; }
    bool UpdateWorkOrders(QJsonArray) override { return true; }
    QJsonObject GetWorkOrder(QString, bool *found) override
    {
        *found = false;
        return QJsonObject();
    }
    QJsonArray GetPendingFiles() override { return QJsonArray{"pending"}; }
    QJsonArray GetAllPendingFiles() override { return QJsonArray{"all"}; }
    QByteArray GetFileData(QString path, bool *found) override
    {
        QFile file(QString::fromUtf8(path.toLatin1()));
        *found = file.open(QIODevice::ReadOnly);
        return *found ? file.readAll() : QByteArray();
    }
    bool MarkFileSynced(QString path) override
    {
        calls << "synced " + path;
        return true;
    }
    void SetTechId(QString techId) override { calls << "tech " + techId; }
    QJsonObject GetUserFiles() override { return QJsonObject{{"files", "listed"}}; }
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        return script.readFileChunk(path, ok, offset, maxLength, lastChunk);
    }
    bool DeleteUserFile(QString path) override
    {
        calls << "delete " + path;
        return true;
    }
    QJsonObject GetFileMetadata(QString fileName, bool *found) override
    {
        *found = true;
        return QJsonObject{{"name", fileName}};
    }
    QJsonObject GetAssetInfo() override { return script.assetInfo(); }
};

#endif
