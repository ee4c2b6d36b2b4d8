#ifndef DEVICEAPPLICATION_H
#define DEVICEAPPLICATION_H

#include <cstdio>
#include <memory>

#include "devicefolder.h"
#include "deviceoptions.h"
#include "devicesandbox.h"
#include "errorreporter.h"
#include "faultplan.h"
#include "faultyfilesystem.h"
#include "folderlock.h"
#include "hostmodel.h"
#include "linejournal.h"
#include "lineproxy.h"
#include "requestdelay.h"
#include "requestreport.h"
#include "restservermodel.h"
#include "restserveroptions.h"

class Activity;
class DeviceModels;
class FaultyModels;
class ScenarioPlayer;

/**
 * The simulated device: owns every model and the REST server, and is the root of the model tree.
 *
 * Usual order of calls: `Start`, then the event loop, then `Stop`. One per process, main thread
 * only.
 */
class DeviceApplication : public IRootModel
{
public:
    /** Touches no file. Lines of the view go to `view`, which outlives this object. */
    DeviceApplication(const DeviceOptions &deviceOptions, std::FILE *view);
    DeviceApplication(const DeviceApplication &) = delete;
    DeviceApplication &operator=(const DeviceApplication &) = delete;

    /** Stops the server if that is still to be done. */
    ~DeviceApplication();

    /** False, with a line that says why, while nobody can serve on the port. */
    static bool PortIsFree(const DeviceOptions &deviceOptions, QString *error);

    /**
     * Starts the server, makes what is missing of the device's folder and reads it. Requests that
     * come meanwhile are served when the event loop runs.
     *
     * The port comes first: as long as another simulator has it, the folder may be in use too. On
     * failure nothing is served, and `*error` is one line that names the port or the path and tells
     * a port that is taken from threads that are missing. A folder that another process serves from
     * is a failure, too. `*error` stays empty when a signal came that ends the program.
     */
    bool Start(QString *error);

    void Stop();

    /** "http://ADDRESS:PORT"; after a successful `Start`. */
    QString Address() const;

    /** Tells an observer of each request, too; it outlives this object. */
    void Watch(IRequestObserver *observer) { requestReport.PassOn(observer); }

    /** What can go wrong on purpose. */
    FaultPlan &Faults() { return faults; }

    /** What the device measures; after `Start`. */
    Activity &Measuring() { return *activity; }

    /** The models without their faults, to be looked at beside the requests; after `Start`. */
    DeviceModels &Models() { return *models; }

    // The tree. The accessors may be used after a successful `Start`.
    IRootModel *RootModel() override;
    IStorageModel *StorageModel() override;
    IModeModel *ModeModel() override;
    IJobPanelModel *JobPanelModel() override;
    ICommand *Command(int id) override;
    IErrorReporter *ErrorReporter() override;
    IJobModel *JobModel() override;
    IRestServerModel *RestServer() override;
    IWorkOrderStore *WorkOrderStore() override;
    ISyncFilesModel *SyncFilesModel() override;
    IFileManagerModel *FileManagerModel() override;
    IAssetModel *AssetModel() override;

    /** Prints "view: job view reset". */
    void ResetJobView() override;

private:
    RestServerOptions ServerOptions();
    void BeginCall();
    bool Listen(quint16 port, QString *error);
    void StartScenario();
    void Restart();
    void ServeAgain();
    bool OpenFolder(QString *error);
    bool FillFolder(const DeviceFolder &folder, QString *error);

    DeviceOptions options;
    std::FILE *viewOutput;
    ::ErrorReporter errorReporter;
    RequestReport requestReport;
    FaultPlan faults;
    FaultyFileSystem fileSystem;
    RequestDelay requestDelay;
    LineJournal lineJournal;
    std::unique_ptr<LineProxy> line; // only where a fault may need it
    FolderLock folderLock; // from the first look into the folder until the models are gone
    UploadSandbox uploadSandbox;
    RestServerModel server;

    // None of these before the folder is open. The library asks the last ones.
    std::unique_ptr<DeviceModels> models;
    std::unique_ptr<FaultyModels> faultyModels;
    std::unique_ptr<Activity> activity;
    std::unique_ptr<ScenarioPlayer> scenario;
    QObject context;     // of a restart that is under way
    bool serves = false; // from a successful `Start` to `Stop`
};

#endif
