#include "fakehost.h"

#include <QJsonDocument>

namespace {

std::string Call(const std::string &operation, const QString &argument)
{
    return operation + "(" + argument.toStdString() + ")";
}

} // namespace

// The line is left out: it moves with the library's sources.
void FakeErrorReporter::ReportError(QString message, const char *sourceFile, int line)
{
    log.Add("ErrorReporter.ReportError(" + message.toStdString() + ", " + sourceFile + ")");
    reports.push_back({message, QString::fromLatin1(sourceFile), line});
}

QDir FakeStorageModel::Directory(int key)
{
    log.Add("StorageModel.Directory(" + std::to_string(key) + ")");
    return QDir(directories.value(key, QStringLiteral("/nonexistent")));
}

bool FakeStorageModel::IsStorageAvailable()
{
    log.Add("StorageModel.IsStorageAvailable()");
    return available;
}

void FakeStorageModel::BeginStorageAccess()
{
    log.Add("StorageModel.BeginStorageAccess()");
    if (onBegin) {
        onBegin();
    }
}

void FakeStorageModel::EndStorageAccess()
{
    log.Add("StorageModel.EndStorageAccess()");
    if (onEnd) {
        onEnd();
    }
}

bool FakeStorageModel::HasFreeSpace(qint64 bytes)
{
    log.Add("StorageModel.HasFreeSpace(" + std::to_string(bytes) + ")");
    return freeSpace;
}

int FakeModeModel::CurrentMode()
{
    log.Add("ModeModel.CurrentMode()");
    return mode;
}

void FakeJobPanelModel::SetJobPanelOpen(bool open)
{
    log.Add(std::string("JobPanelModel.SetJobPanelOpen(") + (open ? "true" : "false") + ")");
}

void FakeCommand::Execute()
{
    log.Add("Command(" + std::to_string(id) + ").Execute()");
}

QVector<Job *> FakeJobModel::Jobs()
{
    if (onJobs) {
        onJobs();
    }
    QVector<Job *> result;
    for (const std::unique_ptr<FakeJob> &job : jobs) {
        result.append(job.get());
    }
    return result;
}

void FakeJobModel::RefreshJobs()
{
    log.Add("JobModel.RefreshJobs()");
}

void FakeJobModel::SetActiveJob(Job *job)
{
    log.Add(Call("JobModel.SetActiveJob", job->WorkOrderId()));
    active = job;
}

Job *FakeJobModel::ActiveJob()
{
    log.Add("JobModel.ActiveJob()");
    return active;
}

FakeJob *FakeJobModel::Add(const QString &id, const QDateTime &modified)
{
    jobs.push_back(std::make_unique<FakeJob>(id, modified));
    return jobs.back().get();
}

bool FakeWorkOrderStore::UpdateWorkOrders(QJsonArray workOrders)
{
    log.Add(Call("WorkOrderStore.UpdateWorkOrders",
                 QString::fromUtf8(QJsonDocument(workOrders).toJson(QJsonDocument::Compact))));
    return updateResult;
}

QJsonObject FakeWorkOrderStore::GetWorkOrder(QString id, bool *found)
{
    log.Add(Call("WorkOrderStore.GetWorkOrder", id));
    if (onGet) {
        return onGet(found);
    }
    *found = documents.contains(id);
    return documents.value(id);
}

QJsonArray FakeSyncFilesModel::GetPendingFiles()
{
    log.Add(name + ".GetPendingFiles()");
    return pendingFiles;
}

QJsonArray FakeSyncFilesModel::GetAllPendingFiles()
{
    log.Add(name + ".GetAllPendingFiles()");
    return allPendingFiles;
}

QByteArray FakeSyncFilesModel::GetFileData(QString path, bool *found)
{
    log.Add(Call(name + ".GetFileData", path));
    *found = fileFound;
    return fileData;
}

bool FakeSyncFilesModel::MarkFileSynced(QString path)
{
    log.Add(Call(name + ".MarkFileSynced", path));
    return fileFound;
}

void FakeSyncFilesModel::SetTechId(QString techId)
{
    log.Add(Call(name + ".SetTechId", techId));
}

QJsonObject FakeFileManagerModel::GetUserFiles()
{
    log.Add("FileManagerModel.GetUserFiles()");
    return userFiles;
}

QByteArray FakeFileManagerModel::ReadFileChunk(QString path, bool *ok, qint64 offset,
                                               qint64 maxLength, bool *lastChunk)
{
    if (onRead) {
        onRead();
    }
    log.Add("FileManagerModel.ReadFileChunk(" + path.toStdString() + ", " + std::to_string(offset) +
            ", " + std::to_string(maxLength) + ")");
    if (!pieces.empty()) {
        const Piece piece = pieces.front();
        pieces.pop_front();
        *ok = piece.ok;
        *lastChunk = piece.lastChunk.value_or(*lastChunk);
        return piece.bytes;
    }
    *ok = files.contains(path);
    const QByteArray content = files.value(path);
    *lastChunk = offset + maxLength >= content.size();
    return content.mid(static_cast<int>(offset), static_cast<int>(maxLength));
}

bool FakeFileManagerModel::DeleteUserFile(QString path)
{
    log.Add(Call("FileManagerModel.DeleteUserFile", path));
    return deleteResult;
}

QJsonObject FakeAssetModel::GetFileMetadata(QString fileName, bool *found)
{
    log.Add(Call("AssetModel.GetFileMetadata", fileName));
    *found = metadataFound;
    return metadata;
}

QJsonObject FakeAssetModel::GetAssetInfo()
{
    log.Add("AssetModel.GetAssetInfo()");
    return assetInfo;
}

ICommand *FakeHost::Command(int id)
{
    command.id = id;
    return &command;
}
