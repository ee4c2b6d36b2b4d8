// The smallest complete device: one class that is the application's model and every sub-model. It
// keeps work orders in memory and user files in the directory that is named on the command line.
//
//     minimal-host DIRECTORY

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

#include <restservermodel.h>

// One work order, as a client sent it.
class StoredJob final : public Job
{
public:
    QString WorkOrderId() override { return document.value("workOrderId").toString(); }
    QDateTime ModifiedTime() override { return modified; }

    QJsonObject document;
    QDateTime modified;
};

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
    Device(const QString &directory, IRestServerModel *restServer)
        : files(QFileInfo(directory).canonicalFilePath())
        , server(restServer)
    {}

    // The way to every sub-model.
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

    // A device without a display: nothing to show, no mode, no command.
    void ResetJobView() override {}
    int CurrentMode() override { return 0; }
    void SetJobPanelOpen(bool) override {}
    void Execute() override {}

    void ReportError(QString message, const char *sourceFile, int line) override
    {
        qWarning("%s:%d: %s", sourceFile, line, qUtf8Printable(message));
    }

    // Storage: user files here, templates in a directory beside them, nothing to enter or leave.
    QDir Directory(int key) override
    {
        return key == UserFilesDirectory ? files : QDir(files.path() + ".templates");
    }
    bool IsStorageAvailable() override { return true; }
    void BeginStorageAccess() override {}
    void EndStorageAccess() override {}
    bool HasFreeSpace(qint64 bytes) override { return bytes < 100'000'000; }

    // Work orders: the jobs are the store.
    QVector<Job *> Jobs() override
    {
        QVector<Job *> jobs;
        for (StoredJob &job : workOrders) {
            jobs.append(&job);
        }
        return jobs;
    }
    void RefreshJobs() override {}
    void SetActiveJob(Job *job) override { activeJob = job; }
    Job *ActiveJob() override { return activeJob; }

    bool UpdateWorkOrders(QJsonArray documents) override
    {
        for (const QJsonValue &document : qAsConst(documents)) {
            if (document["workOrderId"].toString().isEmpty()) {
                return false; // all or nothing
            }
        }
        for (const QJsonValue &document : qAsConst(documents)) {
            StoredJob &job = workOrders[document["workOrderId"].toString()];
            job.document = document.toObject();
            job.modified = QDateTime::currentDateTimeUtc();
        }
        return true;
    }
    QJsonObject GetWorkOrder(QString id, bool *found) override
    {
        const auto job = workOrders.find(QString::fromUtf8(id.toLatin1()));
        *found = job != workOrders.end();
        return *found ? job->document : QJsonObject();
    }

    // Files. Clients' paths are unchecked, so every use goes through Resolve.
    QJsonArray GetPendingFiles() override { return {}; }
    QJsonArray GetAllPendingFiles() override { return {}; }
    bool MarkFileSynced(QString) override { return false; }
    void SetTechId(QString) override {}

    QByteArray GetFileData(QString path, bool *found) override
    {
        QFile file(Resolve(path));
        *found = file.open(QIODevice::ReadOnly);
        return file.readAll();
    }
    QJsonObject GetUserFiles() override
    {
        QJsonArray list;
        for (const QFileInfo &file : files.entryInfoList(QDir::Files)) {
            list.append(Describe(file));
        }
        return {{"files", list}};
    }
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        QFile file(Resolve(path));
        *ok = file.open(QIODevice::ReadOnly) && file.seek(offset);
        const QByteArray bytes = *ok ? file.read(maxLength) : QByteArray();
        *lastChunk = bytes.isEmpty() || file.atEnd();
        return bytes;
    }
    bool DeleteUserFile(QString path) override { return QFile::remove(Resolve(path)); }

    QJsonObject GetFileMetadata(QString fileName, bool *found) override
    {
        const QFileInfo file(Resolve(fileName));
        *found = file.isFile();
        return *found ? Describe(file) : QJsonObject();
    }
    QJsonObject GetAssetInfo() override { return {{"name", "minimal host"}}; }

private:
    // The real path of a user file, or nothing when it is none: links and ".." may lead elsewhere.
    QString Resolve(const QString &path) const
    {
        const QString real = QFileInfo(QString::fromUtf8(path.toLatin1())).canonicalFilePath();
        return real.startsWith(files.path() + '/') ? real : QString();
    }
    static QJsonObject Describe(const QFileInfo &file)
    {
        return {{"path", file.filePath()}, {"size", file.size()}};
    }

    QDir files;
    IRestServerModel *server;
    QMap<QString, StoredJob> workOrders; // its elements stay where they are as it grows
    Job *activeJob = nullptr;
};

int main(int argc, char *argv[])
{
    // Blocked before any thread starts, so that a signal arrives as an event of the main loop.
    sigset_t signalsToQuit;
    sigemptyset(&signalsToQuit);
    sigaddset(&signalsToQuit, SIGINT);
    sigaddset(&signalsToQuit, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signalsToQuit, nullptr);

    QCoreApplication application(argc, argv);
    if (argc != 2 || !QFileInfo(argv[1]).isDir()) {
        std::fputs("usage: minimal-host DIRECTORY\n", stderr);
        return 2;
    }
    RestServerModel server;
    Device device(QFile::decodeName(argv[1]), &server);
    server.Construct(&device);
    server.Start();
    if (!server.Running()) {
        std::fputs("minimal-host: port 8081 is taken\n", stderr);
        return 1;
    }
    std::puts("listening on http://127.0.0.1:8081");
    std::fflush(stdout);

    QSocketNotifier quit(signalfd(-1, &signalsToQuit, 0), QSocketNotifier::Read);
    QObject::connect(&quit, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    QCoreApplication::exec();
    server.Stop();
    return 0;
}
