#ifndef NOTINGHOST_H
#define NOTINGHOST_H

#include <QStringList>
#include <mutex>

#include "hostmodel.h"

/** The host's error reporter, which also notes what is reported. */
class NotingErrorReporter : public IErrorReporter
{
public:
    explicit NotingErrorReporter(IApplicationModel *model)
        : host(model)
    {}

    /** On the thread of the model. */
    void ReportError(QString message, const char *sourceFile, int line) override;

    /** What was reported since the last call. Any thread. */
    QStringList TakeNotes();

private:
    IApplicationModel *host;
    std::mutex mutex;
    QStringList notes; // guarded by mutex
};

/** The host's model with its reports noted, and otherwise as it is. On the thread of the model. */
class NotingHost : public IApplicationModel
{
public:
    explicit NotingHost(IApplicationModel *model)
        : host(model)
        , reporter(model)
    {}
    virtual ~NotingHost() = default;

    IRootModel *RootModel() override { return host->RootModel(); }
    IStorageModel *StorageModel() override { return host->StorageModel(); }
    IModeModel *ModeModel() override { return host->ModeModel(); }
    IJobPanelModel *JobPanelModel() override { return host->JobPanelModel(); }
    ICommand *Command(int id) override { return host->Command(id); }
    IErrorReporter *ErrorReporter() override { return &reporter; }
    IJobModel *JobModel() override { return host->JobModel(); }
    IRestServerModel *RestServer() override { return host->RestServer(); }
    IWorkOrderStore *WorkOrderStore() override { return host->WorkOrderStore(); }
    ISyncFilesModel *SyncFilesModel() override { return host->SyncFilesModel(); }
    IFileManagerModel *FileManagerModel() override { return host->FileManagerModel(); }
    IAssetModel *AssetModel() override { return host->AssetModel(); }

    NotingErrorReporter &Reporter() { return reporter; }

private:
    IApplicationModel *host;
    NotingErrorReporter reporter;
};

#endif
