#include "deviceapplication.h"

#include "devicemodels.h"
#include "outputline.h"
#include "samplecontent.h"

DeviceApplication::DeviceApplication(const DeviceOptions &deviceOptions, std::FILE *view)
    : options(deviceOptions)
    , viewOutput(view)
{
    server.Construct(this);
}

DeviceApplication::~DeviceApplication()
{
    server.Stop();
}

bool DeviceApplication::Start(QString *error)
{
    server.Start();
    if (!server.Running()) {
        *error = QStringLiteral("cannot serve on port 8081: another program may be using it");
        return false;
    }
    if (!OpenFolder(error)) {
        server.Stop();
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
    return true;
}

void DeviceApplication::Stop()
{
    server.Stop();
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
    return &server;
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
    return &models->fileManager;
}

IAssetModel *DeviceApplication::AssetModel()
{
    return &models->asset;
}

void DeviceApplication::ResetJobView()
{
    PrintLine(viewOutput, QStringLiteral("view: job view reset"));
}
