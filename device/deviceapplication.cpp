#include "deviceapplication.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include "devicemodels.h"
#include "faultymodels.h"
#include "filedescriptor.h"
#include "outputline.h"
#include "samplecontent.h"

namespace {

constexpr quint16 port = 8081;

QString PortTaken()
{
    return QStringLiteral("cannot serve on port %1: another program may be using it").arg(port);
}

} // namespace

DeviceApplication::DeviceApplication(const DeviceOptions &deviceOptions, std::FILE *view)
    : options(deviceOptions)
    , viewOutput(view)
    , faults(options.faults, options.faultFile, errorReporter)
    , fileSystem(faults)
    , requestDelay(faults)
    , serverGuard(&server)
{
    server.Construct(this);
}

DeviceApplication::~DeviceApplication()
{
    serverGuard.Stop();
}

bool DeviceApplication::PortIsFree(QString *error)
{
    const FileDescriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    setsockopt(probe.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool isFree =
        bind(probe.Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    *error = isFree ? QString() : PortTaken();
    return isFree;
}

bool DeviceApplication::Start(QString *error)
{
    serverGuard.Start();
    if (!serverGuard.Running()) {
        *error = PortTaken();
        return false;
    }
    if (!OpenFolder(error)) {
        serverGuard.Stop();
        return false;
    }
    return true;
}

bool DeviceApplication::OpenFolder(QString *error)
{
    const DeviceFolder folder(options.dataFolder);
    if (!folder.Make(fileSystem, error) || !folderLock.Take(folder.Path(), error) ||
        !FillFolder(folder, error)) {
        return false;
    }
    models = std::make_unique<DeviceModels>(DeviceModels::Setup{options.dataFolder, options.mode,
                                                                options.storageAvailable,
                                                                options.workOrderLimit},
                                            fileSystem, errorReporter, viewOutput);
    faultyModels = std::make_unique<FaultyModels>(*models, faults, errorReporter);
    downloadGuard = std::make_unique<DownloadGuard>(&faultyModels->fileManager, &serverGuard);
    return true;
}

bool DeviceApplication::FillFolder(const DeviceFolder &folder, QString *error)
{
    const bool samplesDue = SampleContent::IsDue(folder);
    return (!samplesDue || SampleContent::Begin(fileSystem, folder, error)) &&
           folder.MakeFolders(fileSystem, error) &&
           (!samplesDue || SampleContent::Write(fileSystem, folder, error));
}

void DeviceApplication::Stop()
{
    serverGuard.Stop();
}

IRootModel *DeviceApplication::RootModel()
{
    return this;
}

IStorageModel *DeviceApplication::StorageModel()
{
    requestDelay.Wait();
    return &faultyModels->storage;
}

IModeModel *DeviceApplication::ModeModel()
{
    requestDelay.Wait();
    return &models->mode;
}

IJobPanelModel *DeviceApplication::JobPanelModel()
{
    requestDelay.Wait();
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
    requestDelay.Wait();
    return &models->jobs;
}

IRestServerModel *DeviceApplication::RestServer()
{
    return &serverGuard;
}

IWorkOrderStore *DeviceApplication::WorkOrderStore()
{
    requestDelay.Wait();
    return &faultyModels->workOrders;
}

ISyncFilesModel *DeviceApplication::SyncFilesModel()
{
    requestDelay.Wait();
    return &faultyModels->syncFiles;
}

IFileManagerModel *DeviceApplication::FileManagerModel()
{
    requestDelay.Wait();
    return downloadGuard.get();
}

IAssetModel *DeviceApplication::AssetModel()
{
    requestDelay.Wait();
    return &models->asset;
}

void DeviceApplication::ResetJobView()
{
    PrintLine(viewOutput, QStringLiteral("view: job view reset"));
}
