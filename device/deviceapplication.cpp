#include "deviceapplication.h"

#include <QTimer>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>

#include "activity.h"
#include "devicemodels.h"
#include "faultymodels.h"
#include "filedescriptor.h"
#include "outputline.h"
#include "samplecontent.h"
#include "scenarioplayer.h"
#include "terminationsignals.h"

namespace {

QString CannotServe(const DeviceOptions &options, const QString &reason)
{
    return QStringLiteral("cannot serve on port %1 of %2: %3")
        .arg(QString::number(options.port), options.listenAddress, reason);
}

// After a call that failed.
QString PortTaken(const DeviceOptions &options)
{
    return CannotServe(options, errno == EADDRINUSE
                                    ? QStringLiteral("another program may be using it")
                                    : qt_error_string(errno));
}

} // namespace

DeviceApplication::DeviceApplication(const DeviceOptions &deviceOptions, std::FILE *view)
    : options(deviceOptions)
    , viewOutput(view)
    , requestReport(options.requestLines, view, stderr, errorReporter)
    , faults(options.faults, options.faultFile, errorReporter)
    , fileSystem(faults, options.temporary ? FaultyFileSystem::Lifetime::OfTheProcess
                                           : FaultyFileSystem::Lifetime::Lasting)
    , requestDelay(faults)
    , lineJournal(requestReport)
    , line(options.NeedsLine() ? std::make_unique<LineProxy>(faults, lineJournal) : nullptr)
{
    server.SetOptions(ServerOptions());
    server.Construct(this);
}

DeviceApplication::~DeviceApplication()
{
    Stop();
}

RestServerOptions DeviceApplication::ServerOptions()
{
    RestServerOptions chosen;
    chosen.serving = options.serving;
    chosen.listeningPorts =
        line ? QByteArray("127.0.0.1:0")
             : options.listenAddress.toLatin1() + ':' + QByteArray::number(options.port);
    chosen.errorLogFile.clear(); // the folder that the program is started in is not its own
    chosen.observer = line ? static_cast<IRequestObserver *>(&lineJournal) : &requestReport;
    chosen.prepareWorker = [this] { return uploadSandbox.Enter(); };
    chosen.allowedOrigins = options.allowedOrigins;
    return chosen;
}

bool DeviceApplication::PortIsFree(const DeviceOptions &deviceOptions, QString *error)
{
    const FileDescriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(deviceOptions.port);
    inet_pton(AF_INET, deviceOptions.listenAddress.toLatin1().constData(), &address.sin_addr);
    setsockopt(probe.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool isFree =
        bind(probe.Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    *error = isFree ? QString() : PortTaken(deviceOptions);
    return isFree;
}

bool DeviceApplication::Listen(quint16 port, QString *error)
{
    // First, so that the server does not take the listening socket for one of its own.
    if (line && !line->Listen(options.listenAddress, port)) {
        *error = PortTaken(options);
        return false;
    }
    server.Start();
    if (!server.Running() && (line || PortIsFree(options, error))) {
        *error = CannotServe(options, QStringLiteral("the threads of the server cannot be started; "
                                                     "raise the limits of tasks and memory"));
    }
    return server.Running();
}

bool DeviceApplication::Start(QString *error)
{
    if (!Listen(options.port, error)) {
        return false;
    }
    if (!OpenFolder(error)) {
        uploadSandbox.Refuse();
        Stop();
        return false;
    }
    const DeviceFolder folder(options.dataFolder);
    if (!uploadSandbox.Allow(folder.Storage(), error)) {
        Stop();
        return false;
    }
    if (line) {
        StartScenario();
        line->Start(server.ListeningPorts().value(0));
    }
    serves = true;
    return true;
}

void DeviceApplication::StartScenario()
{
    const auto restart = [this] {
        line->GoDown();
        QMetaObject::invokeMethod(
            &context, [this] { Restart(); }, Qt::QueuedConnection);
    };
    scenario = std::make_unique<ScenarioPlayer>(options.scenario, faults, errorReporter,
                                                models->folder.UserFiles(), restart);
    line->SetGate([this] { return scenario->RequestComes(); });
    scenario->Start();
}

// What clients see of a restart: broken connections, and then a port that nobody has for a while.
void DeviceApplication::Restart()
{
    constexpr auto restartTime = std::chrono::seconds(1);
    if (!serves) {
        return;
    }
    line->Stop();
    server.Stop();
    lineJournal.Deliver();
    QTimer::singleShot(restartTime, &context, [this] { ServeAgain(); });
}

void DeviceApplication::ServeAgain()
{
    QString error;
    if (!serves) {
        return;
    }
    if (Listen(line->Port(), &error)) {
        line->Start(server.ListeningPorts().value(0));
    } else {
        errorReporter.ReportError(error, "deviceapplication", __LINE__);
    }
}

bool DeviceApplication::OpenFolder(QString *error)
{
    const DeviceFolder folder(options.dataFolder);
    if (!folder.Make(fileSystem, error) || !folderLock.Take(folder.Path(), error) ||
        !FillFolder(folder, error)) {
        return false;
    }
    models = std::make_unique<DeviceModels>(
        DeviceModels::Setup{options.dataFolder, options.mode, options.storageAvailable,
                            options.workOrderLimit, options.userFileLimit},
        fileSystem, errorReporter, viewOutput);
    if (TerminationSignals::IsPending()) {
        return false;
    }
    faultyModels = std::make_unique<FaultyModels>(*models, faults, errorReporter);
    activity = std::make_unique<Activity>(*models, fileSystem, errorReporter, options.seed);
    if (options.activity) {
        activity->Begin(*options.activity);
    }
    return true;
}

bool DeviceApplication::FillFolder(const DeviceFolder &folder, QString *error)
{
    const bool samplesDue = SampleContent::IsDue(folder);
    return (!samplesDue || SampleContent::Begin(fileSystem, folder, error)) &&
           folder.MakeFolders(fileSystem, error) &&
           (!samplesDue || SampleContent::Write(fileSystem, folder, options.content, error));
}

void DeviceApplication::Stop()
{
    serves = false;
    if (line) {
        line->Stop();
    }
    server.Stop();
    lineJournal.Deliver();
}

QString DeviceApplication::Address() const
{
    return QStringLiteral("http://%1:%2")
        .arg(options.listenAddress)
        .arg(line ? line->Port() : server.ListeningPorts().value(0, options.port));
}

// Between two requests only: a request may hold on to the jobs that it was given.
void DeviceApplication::BeginCall()
{
    if (requestDelay.Wait() && models->workOrders.LoadIfChanged()) {
        models->jobs.RefreshJobs();
    }
}

IRootModel *DeviceApplication::RootModel()
{
    return this;
}

IStorageModel *DeviceApplication::StorageModel()
{
    BeginCall();
    return &faultyModels->storage;
}

IModeModel *DeviceApplication::ModeModel()
{
    BeginCall();
    return &models->mode;
}

IJobPanelModel *DeviceApplication::JobPanelModel()
{
    BeginCall();
    return &models->jobPanel;
}

ICommand *DeviceApplication::Command(int id)
{
    return &models->CommandWithId(id);
}

IErrorReporter *DeviceApplication::ErrorReporter()
{
    return &errorReporter;
}

IJobModel *DeviceApplication::JobModel()
{
    BeginCall();
    return &models->jobs;
}

IRestServerModel *DeviceApplication::RestServer()
{
    return &server;
}

IWorkOrderStore *DeviceApplication::WorkOrderStore()
{
    BeginCall();
    return &faultyModels->workOrders;
}

ISyncFilesModel *DeviceApplication::SyncFilesModel()
{
    BeginCall();
    return &faultyModels->syncFiles;
}

IFileManagerModel *DeviceApplication::FileManagerModel()
{
    BeginCall();
    return &faultyModels->fileManager;
}

IAssetModel *DeviceApplication::AssetModel()
{
    BeginCall();
    return &models->asset;
}

void DeviceApplication::ResetJobView()
{
    PrintLine(viewOutput, QStringLiteral("view: job view reset"));
}
