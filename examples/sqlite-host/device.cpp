#include "device.h"

#include <QFile>
#include <filesystem>

namespace {

constexpr char activeSetting[] = "active";
constexpr char technicianSetting[] = "technician";
constexpr qint64 reserve = 16 * 1024 * 1024;

} // namespace

KnownJob::KnownJob(const Database::WorkOrder &stored)
    : workOrder(stored)
{}

QString KnownJob::WorkOrderId()
{
    return workOrder.id;
}

QDateTime KnownJob::ModifiedTime()
{
    return workOrder.modified;
}

Device::Device(const QDir &deviceFolder, IRestServerModel *restServer)
    : folder(deviceFolder)
    , files(deviceFolder.filePath("files"))
    , database(deviceFolder.filePath("device.db"))
    , server(restServer)
{
    RefreshJobs();
}

QString Device::Problem() const
{
    return database.IsOpen() ? QString() : database.Problem();
}

void Device::ReportError(QString message, const char *sourceFile, int line)
{
    qWarning("%s:%d: %s", sourceFile, line, qUtf8Printable(message));
}

QDir Device::Directory(int key)
{
    if (key == UserFilesDirectory) {
        return files.Folder();
    }
    return folder.filePath(key == TemplateDirectory ? "templates" : "more-templates");
}

bool Device::HasFreeSpace(qint64 bytes)
{
    // Not asked of QStorageInfo, which looks for the mount point, and a chroot may have none.
    const std::string folderName = QFile::encodeName(files.Folder().path()).toStdString();
    std::error_code error;
    const auto space = std::filesystem::space(folderName, error);
    return !error && bytes < static_cast<qint64>(space.available) - reserve;
}

QVector<Job *> Device::Jobs()
{
    return jobs;
}

void Device::RefreshJobs()
{
    knownJobs.clear();
    const QVector<Database::WorkOrder> stored = database.WorkOrders();
    for (const Database::WorkOrder &workOrder : stored) {
        knownJobs.emplace_back(workOrder);
    }
    const QString activeId = database.Setting(activeSetting);
    activeJob = nullptr;
    jobs.clear();
    // Pointers into the jobs are taken only now that no more are added.
    for (KnownJob &job : knownJobs) {
        jobs.append(&job);
        activeJob = job.WorkOrderId() == activeId ? &job : activeJob;
    }
}

void Device::SetActiveJob(Job *job)
{
    // What could not be kept is not shown either.
    if (database.StoreSetting(activeSetting, job->WorkOrderId())) {
        activeJob = job;
    } else {
        ReportError("The active work order could not be stored", "device", __LINE__);
    }
}

Job *Device::ActiveJob()
{
    return activeJob;
}

bool Device::UpdateWorkOrders(QJsonArray documents)
{
    return database.StoreWorkOrders(documents);
}

QJsonObject Device::GetWorkOrder(QString id, bool *found)
{
    return database.Document(QString::fromUtf8(id.toLatin1()), found);
}

QJsonArray Device::GetPendingFiles()
{
    // Nobody should fetch what is still being written.
    constexpr qint64 settledAfterSeconds = 2;
    return Pending(settledAfterSeconds);
}

QJsonArray Device::GetAllPendingFiles()
{
    return Pending(0);
}

QJsonArray Device::Pending(qint64 unchangedForSeconds) const
{
    const QDateTime latest = QDateTime::currentDateTimeUtc().addSecs(-unchangedForSeconds);
    QJsonArray pending;
    const QVector<QFileInfo> all = files.All();
    for (const QFileInfo &file : all) {
        const bool settled = unchangedForSeconds == 0 || file.lastModified() <= latest;
        if (settled && database.ConfirmedState(file.filePath()) != UserFiles::State(file)) {
            pending.append(UserFiles::Record(file));
        }
    }
    return pending;
}

QByteArray Device::GetFileData(QString path, bool *found)
{
    // The answer is held in memory, several times: large files have the other route.
    constexpr qint64 largest = 16 * 1024 * 1024;
    QFile file(files.Resolve(path));
    *found = file.size() <= largest && file.open(QIODevice::ReadOnly);
    return *found ? file.read(largest) : QByteArray();
}

bool Device::MarkFileSynced(QString path)
{
    const QFileInfo file(files.Resolve(path));
    return file.isFile() && database.Confirm(file.filePath(), UserFiles::State(file));
}

void Device::SetTechId(QString techId)
{
    if (!database.StoreSetting(technicianSetting, techId)) {
        ReportError("The technician could not be stored", "device", __LINE__);
    }
}

QJsonObject Device::GetUserFiles()
{
    QJsonArray list;
    const QVector<QFileInfo> all = files.All();
    for (const QFileInfo &file : all) {
        list.append(UserFiles::Record(file));
    }
    return {{"files", list}};
}

QByteArray Device::ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                                 bool *lastChunk)
{
    QFile file(files.Resolve(path));
    *ok = file.open(QIODevice::ReadOnly) && file.seek(offset);
    const QByteArray bytes = *ok ? file.read(maxLength) : QByteArray();
    *lastChunk = bytes.size() < maxLength || file.atEnd(); // also when the file became shorter
    return bytes;
}

bool Device::DeleteUserFile(QString path)
{
    return QFile::remove(files.Resolve(path));
}

QJsonObject Device::GetFileMetadata(QString fileName, bool *found)
{
    const QFileInfo file(files.Resolve(fileName));
    *found = file.isFile();
    return *found ? files.Metadata(file) : QJsonObject();
}

QJsonObject Device::GetAssetInfo()
{
    return {{"model", "SQLite host"},
            {"serialNumber", "SQ-1"},
            {"techId", database.Setting(technicianSetting)}};
}
