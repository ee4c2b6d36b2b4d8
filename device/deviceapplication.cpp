#include "deviceapplication.h"

#include "devicemodels.h"
#include "outputline.h"
#include "samplecontent.h"

DeviceApplication::DeviceApplication(const DeviceOptions &deviceOptions, std::FILE *view)
    : options(deviceOptions)
    , viewOutput(view)
    , serverGuard(&server)
{
    server.Construct(this);
}

DeviceApplication::~DeviceApplication()
{
    serverGuard.Stop();
}

bool DeviceApplication::Start(QString *error)
{
    serverGuard.Start();
    if (!serverGuard.Running()) {
        *error = QStringLiteral("cannot serve on port 8081: another program may be using it");
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
    const bool fresh = folder.IsUnused();
    if (!folder.MakeFolders(fileSystem, error) ||
        (fresh && !SampleContent::Write(fileSystem, folder, error))) {
        return false;
    }
    models = std::make_unique<DeviceModels>(options, fileSystem, errorReporter, viewOutput);
    downloadGuard = std::make_unique<DownloadGuard>(&models->fileManager, &serverGuard);
    return true;
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
    return &models->storage;
}

IModeModel *DeviceApplication::ModeModel()
{
    return &models->mode;
}

IJobPanelModel *DeviceApplication::JobPanelModel()
{
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
    return &models->jobs;
}

IRestServerModel *DeviceApplication::RestServer()
{
    return &serverGuard;
}

IWorkOrderStore *DeviceApplication::WorkOrderStore()
{
    return &models->workOrders;
}

ISyncFilesModel *DeviceApplication::SyncFilesModel()
{
    return &models->syncFiles;
}

IFileManagerModel *DeviceApplication::FileManagerModel()
{
    return downloadGuard.get();
}

IAssetModel *DeviceApplication::AssetModel()
{
    return &models->asset;
}

void DeviceApplication::ResetJobView()
{
    PrintLine(viewOutput, QStringLiteral("view: job view reset"));
}
