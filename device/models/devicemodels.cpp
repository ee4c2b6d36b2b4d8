#include "devicemodels.h"

#include "servicewatchdog.h"
#include "terminationsignals.h"

DeviceModels::DeviceModels(const Setup &setup, FileSystem &fileSystem, IErrorReporter &errors,
                           std::FILE *view)
    : folder(setup.folder)
    , userFiles(folder.UserFiles())
    , storage(folder, setup.storageAvailable, errors, setup.userFileLimit)
    , mode(setup.mode)
    , jobPanel(view)
    , workOrders(fileSystem, folder.WorkOrders(), folder.State(), errors, setup.workOrderLimit)
    , jobs(Loaded(workOrders), fileSystem, folder.State(), errors)
    , syncFiles(userFiles, digests, fileSystem, folder.State(), errors)
    , fileManager(userFiles, errors, [this](const UserFile &file) { syncFiles.Forget(file); })
    , asset(folder.AssetFile(), userFiles, digests, errors)
    , viewOutput(view)
{}

ViewCommand &DeviceModels::CommandWithId(int id)
{
    return commands.try_emplace(id, id, viewOutput).first->second;
}

bool DeviceModels::GoesOn()
{
    ServiceWatchdog::TellProgress();
    return !TerminationSignals::IsPending();
}

WorkOrderStore &DeviceModels::Loaded(WorkOrderStore &store)
{
    store.Load(GoesOn);
    return store;
}
