// The smallest complete device: one class that is the application's model and every sub-model. It
// keeps work orders in memory, and below the directory that is named on the command line the user
// files in "files" and templates for work orders in "templates".
//
//     minimal-host DIRECTORY

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMap>
#include <QSocketNotifier>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sys/signalfd.h>

#include <filesystemsandbox.h>
#include <processsettings.h>
#include <restservermodel.h>
#include <restserveroptions.h>

// One work order, as a client sent it.
class StoredJob final : public Job
{
public:
    QString WorkOrderId() override { return document.value("workOrderId").toString(); }
    QDateTime ModifiedTime() override { return modified; }

    QJsonObject document;
    QDateTime modified; // UTC: clients see it with a "Z", whatever it is
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
    // The directory's real path: clients name files by the paths that are listed, and these must
    // begin with what `Directory` returns.
    Device(const QDir &directory, IRestServerModel *restServer)
        : folder(directory)
        , files(directory.filePath("files"))
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

    // Storage: nothing to enter or leave. No folder's path begins with that of the user files.
    QDir Directory(int key) override
    {
        return key == UserFilesDirectory
                   ? files
                   : folder.filePath(key == TemplateDirectory ? "templates" : "more-templates");
    }
    bool IsStorageAvailable() override { return true; }
    void BeginStorageAccess() override {}
    void EndStorageAccess() override {}
    bool HasFreeSpace(qint64 bytes) override
    {
        // Not asked of QStorageInfo, which looks for the mount point, and a chroot may have none.
        constexpr qint64 reserve = 16 * 1024 * 1024;
        std::error_code error;
        const auto space =
            std::filesystem::space(QFile::encodeName(files.path()).toStdString(), error);
        return !error && bytes < static_cast<qint64>(space.available) - reserve;
    }

    // Work orders. The jobs are kept: a list of 5,000 asks for them 20,000 times.
    QVector<Job *> Jobs() override { return jobs; }
    void RefreshJobs() override
    {
        jobs.clear();
        for (StoredJob &job : workOrders) {
            jobs.append(&job);
        }
    }
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
        const auto job = workOrders.find(FromUri(id));
        *found = job != workOrders.end();
        return *found ? job->document : QJsonObject();
    }

    // Files. Clients' paths are unchecked, so every use goes through Resolve.
    QJsonArray GetPendingFiles() override { return Described(&Device::IsSettled); }
    QJsonArray GetAllPendingFiles() override { return Described(&Device::IsPending); }
    bool MarkFileSynced(QString path) override
    {
        const QFileInfo file(Resolve(path));
        if (file.isFile()) {
            confirmed.insert(file.filePath(), State(file));
        }
        return file.isFile();
    }
    void SetTechId(QString techId) override { technician = techId; }

    QByteArray GetFileData(QString path, bool *found) override
    {
        // The answer is held in memory, several times: large files have the other route.
        constexpr qint64 largest = 16 * 1024 * 1024;
        QFile file(Resolve(path));
        *found = file.size() <= largest && file.open(QIODevice::ReadOnly);
        return *found ? file.read(largest) : QByteArray();
    }
    QJsonObject GetUserFiles() override { return {{"files", Described(&Device::IsAny)}}; }

    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        QFile file(Resolve(path));
        *ok = file.open(QIODevice::ReadOnly) && file.seek(offset);
        const QByteArray bytes = *ok ? file.read(maxLength) : QByteArray();
        *lastChunk = bytes.isEmpty() || file.atEnd(); // also when the file became shorter
        return bytes;
    }
    bool DeleteUserFile(QString path) override { return QFile::remove(Resolve(path)); }

    QJsonObject GetFileMetadata(QString fileName, bool *found) override
    {
        const QFileInfo file(Resolve(fileName));
        *found = file.isFile();
        QJsonObject metadata = Describe(file);
        metadata.insert("sha256", *found ? Digest(file) : QString());
        return metadata;
    }
    QJsonObject GetAssetInfo() override
    {
        return {{"model", "minimal host"}, {"serialNumber", "MH-1"}, {"techId", technician}};
    }

private:
    using Choice = bool (Device::*)(const QFileInfo &) const;

    // What comes from a URI holds one character for each byte.
    static QString FromUri(const QString &text) { return QString::fromUtf8(text.toLatin1()); }

    // The real path of a user file, or nothing when it is none: links and ".." may lead elsewhere.
    QString Resolve(const QString &path) const
    {
        const QFileInfo file(QFileInfo(FromUri(path)).canonicalFilePath());
        const bool inside = file.filePath().startsWith(files.path() + '/');
        return inside && file.isFile() ? file.filePath() : QString();
    }

    // What shows that the content of a file is another one.
    static QString State(const QFileInfo &file)
    {
        return QString("%1 %2").arg(file.lastModified().toMSecsSinceEpoch()).arg(file.size());
    }
    bool IsAny(const QFileInfo &) const { return true; }
    bool IsPending(const QFileInfo &file) const
    {
        return confirmed.value(file.filePath()) != State(file);
    }
    // Nobody should fetch what is still being written.
    bool IsSettled(const QFileInfo &file) const
    {
        constexpr int seconds = 2;
        return IsPending(file) &&
               file.lastModified().secsTo(QDateTime::currentDateTime()) >= seconds;
    }
    // Looks at every file, which is quick while they are few: a device with thousands keeps a list.
    QJsonArray Described(Choice isChosen) const
    {
        QStringList paths;
        QDirIterator below(files.path(), QDir::Files | QDir::NoSymLinks,
                           QDirIterator::Subdirectories);
        while (below.hasNext()) {
            paths.append(below.next());
        }
        std::sort(paths.begin(), paths.end());
        QJsonArray list;
        for (const QString &path : qAsConst(paths)) {
            if ((this->*isChosen)(QFileInfo(path))) {
                list.append(Describe(QFileInfo(path)));
            }
        }
        return list;
    }
    static QJsonObject Describe(const QFileInfo &file)
    {
        return {{"path", file.filePath()},
                {"size", file.size()},
                {"modifiedTime", file.lastModified().toUTC().toString("yyyy-MM-ddThh:mm:ssZ")}};
    }

    // Summed up once for each content: a large file takes seconds.
    QString Digest(const QFileInfo &file)
    {
        QPair<QString, QString> &known = digests[file.filePath()];
        QFile content(file.filePath());
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (known.first != State(file) && content.open(QIODevice::ReadOnly) &&
            hash.addData(&content)) {
            known = {State(file), hash.result().toHex()};
        }
        return known.second;
    }

    QDir folder;
    QDir files;
    IRestServerModel *server;
    QMap<QString, StoredJob> workOrders; // its elements stay where they are as it grows
    QVector<Job *> jobs;
    Job *activeJob = nullptr;
    QHash<QString, QString> confirmed;
    QHash<QString, QPair<QString, QString>> digests; // state and sum of each path
    QString technician;
};

// A kernel without Landlock serves unconfined and says so.
bool Enter(const FileSystemSandbox::Domain &domain)
{
    const FileSystemSandbox::Result result = domain.Enter();
    if (result.outcome != FileSystemSandbox::Outcome::Confined) {
        std::fprintf(stderr, "minimal-host: uploads are not confined: %s\n", result.reason.c_str());
    }
    return result.outcome != FileSystemSandbox::Outcome::Failed;
}

int main(int argc, char *argv[])
{
    ProcessSettings::ReturnLargeBlocks();
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
    const QDir directory(QFileInfo(QFile::decodeName(argv[1])).canonicalFilePath());
    if (!directory.mkpath("files") || !directory.mkpath("templates")) {
        std::fputs("minimal-host: cannot make the folders of the device\n", stderr);
        return 1;
    }

    // Uploads are written by the HTTP threads, which need nothing but the user files: whatever path
    // a client names, they reach nothing else.
    const std::string userFiles = QFile::encodeName(directory.filePath("files")).toStdString();
    const FileSystemSandbox::Domain uploads(
        {{userFiles}, FileSystemSandbox::TimeZoneFiles(), false});

    RestServerModel server;
    RestServerOptions options = RestServerOptions::Prompt();
    options.errorLogFile.clear();
    options.prepareWorker = [&uploads] { return Enter(uploads); };
    server.SetOptions(options);

    Device device(directory, &server);
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
