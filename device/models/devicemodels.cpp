#include "devicemodels.h"

DeviceModels::DeviceModels(const DeviceOptions &options, FileSystem &fileSystem,
                           IErrorReporter &errors, std::FILE *view)
    : folder(options.dataFolder)
    , userFiles(folder.UserFiles())
    , storage(folder, options.storageAvailable, errors)
    , mode(options.mode)
    , jobPanel(view)
    , workOrders(fileSystem, folder.WorkOrders(), folder.State(), errors)
    , jobs(Loaded(workOrders), fileSystem, folder.State(), errors)
    , syncFiles(userFiles, digests, fileSystem, folder.State(), errors)
    , fileManager(userFiles, errors)
    , asset(folder.AssetFile(), userFiles, digests, errors)
    , viewOutput(view)
{}

ViewCommand &DeviceModels::CommandWithId(int id)
{
    return commands.try_emplace(id, id, viewOutput).first->second;
}

WorkOrderStore &DeviceModels::Loaded(WorkOrderStore &store)
{
    store.Load();
    return store;
}
