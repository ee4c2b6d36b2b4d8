#include "hostmodel.h"

#include <cstring>
#include <gtest/gtest.h>
#include <type_traits>

#include "restserverfilecallbackhandler.h"
#include "restserverfiledownloadcontext.h"
#include "restserverfileprocessor.h"
#include "restservermodel.h"
#include "restserverobjects.h"
#include "restserverrequestprocessor.h"

// Hosts that were compiled against these interfaces depend on every signature and on the order of
// the operations. A signature that changes stops the build here.

namespace {

// The place of an operation in its class's table of virtual functions, as the platform's ABI lays
// down: a pointer to a virtual member holds the offset in the table, plus one where the lowest bit
// of the pointer tells virtual members apart.
template <typename Operation>
std::ptrdiff_t SlotOf(Operation operation)
{
    struct MemberPointer
    {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    };
    static_assert(sizeof(Operation) == sizeof(MemberPointer), "unexpected layout");
    MemberPointer raw{};
    std::memcpy(&raw, &operation, sizeof raw);
    return raw.pointer / static_cast<std::ptrdiff_t>(sizeof(void *));
}

template <typename... Operations>
std::vector<std::ptrdiff_t> SlotsOf(Operations... operations)
{
    return {SlotOf(operations)...};
}

std::vector<std::ptrdiff_t> UpTo(std::ptrdiff_t count)
{
    std::vector<std::ptrdiff_t> result;
    for (std::ptrdiff_t slot = 0; slot < count; ++slot) {
        result.push_back(slot);
    }
    return result;
}

TEST(HostModelTest, ApplicationModelAccessorsKeepTheirOrder)
{
    IRootModel *(IApplicationModel::*rootModel)() = &IApplicationModel::RootModel;
    IStorageModel *(IApplicationModel::*storageModel)() = &IApplicationModel::StorageModel;
    IModeModel *(IApplicationModel::*modeModel)() = &IApplicationModel::ModeModel;
    IJobPanelModel *(IApplicationModel::*jobPanelModel)() = &IApplicationModel::JobPanelModel;
    ICommand *(IApplicationModel::*command)(int) = &IApplicationModel::Command;
    IErrorReporter *(IApplicationModel::*errorReporter)() = &IApplicationModel::ErrorReporter;
    IJobModel *(IApplicationModel::*jobModel)() = &IApplicationModel::JobModel;
    IRestServerModel *(IApplicationModel::*restServer)() = &IApplicationModel::RestServer;
    IWorkOrderStore *(IApplicationModel::*workOrderStore)() = &IApplicationModel::WorkOrderStore;
    ISyncFilesModel *(IApplicationModel::*syncFilesModel)() = &IApplicationModel::SyncFilesModel;
    IFileManagerModel *(IApplicationModel::*fileManagerModel)() =
        &IApplicationModel::FileManagerModel;
    IAssetModel *(IApplicationModel::*assetModel)() = &IApplicationModel::AssetModel;
    EXPECT_EQ(SlotsOf(rootModel, storageModel, modeModel, jobPanelModel, command, errorReporter,
                      jobModel, restServer, workOrderStore, syncFilesModel, fileManagerModel,
                      assetModel),
              UpTo(12));
}

TEST(HostModelTest, RootModelAddsItsOperationBehindTheAccessors)
{
    void (IRootModel::*resetJobView)() = &IRootModel::ResetJobView;
    EXPECT_EQ(SlotOf(resetJobView), 12);
}

TEST(HostModelTest, ConstructableOperationsKeepTheirOrder)
{
    void (IConstructable::*construct)(IApplicationModel *) = &IConstructable::Construct;
    void (IConstructable::*shutdown)() = &IConstructable::Shutdown;
    EXPECT_EQ(SlotsOf(construct, shutdown), UpTo(2));
}

TEST(HostModelTest, RestServerOperationsKeepTheirOrder)
{
    void (IRestServerModel::*start)() = &IRestServerModel::Start;
    void (IRestServerModel::*stop)() = &IRestServerModel::Stop;
    bool (IRestServerModel::*running)() = &IRestServerModel::Running;
    SharedQueue<DataChunk *> *(IRestServerModel::*requestChunks)() =
        &IRestServerModel::RequestChunkQueue;
    SharedQueue<DataChunk *> *(IRestServerModel::*responseChunks)() =
        &IRestServerModel::ResponseChunkQueue;
    EXPECT_EQ(SlotsOf(start, stop, running, requestChunks, responseChunks), UpTo(5));
}

TEST(HostModelTest, StorageOperationsKeepTheirOrder)
{
    QDir (IStorageModel::*directory)(int) = &IStorageModel::Directory;
    bool (IStorageModel::*available)() = &IStorageModel::IsStorageAvailable;
    void (IStorageModel::*begin)() = &IStorageModel::BeginStorageAccess;
    void (IStorageModel::*end)() = &IStorageModel::EndStorageAccess;
    bool (IStorageModel::*freeSpace)(qint64) = &IStorageModel::HasFreeSpace;
    EXPECT_EQ(SlotsOf(directory, available, begin, end, freeSpace), UpTo(5));
}

TEST(HostModelTest, StorageKeysKeepTheirNumbers)
{
    EXPECT_EQ(IStorageModel::UserFilesDirectory, 9);
    EXPECT_EQ(IStorageModel::TemplateDirectory, 10);
    EXPECT_EQ(IStorageModel::GuardedTemplateDirectory, 11);
}

TEST(HostModelTest, SingleOperationsAreTheFirst)
{
    int (IModeModel::*mode)() = &IModeModel::CurrentMode;
    void (IJobPanelModel::*open)(bool) = &IJobPanelModel::SetJobPanelOpen;
    void (ICommand::*execute)() = &ICommand::Execute;
    void (IErrorReporter::*report)(QString, const char *, int) = &IErrorReporter::ReportError;
    EXPECT_EQ(SlotOf(mode), 0);
    EXPECT_EQ(SlotOf(open), 0);
    EXPECT_EQ(SlotOf(execute), 0);
    EXPECT_EQ(SlotOf(report), 0);
}

TEST(HostModelTest, JobOperationsKeepTheirOrder)
{
    QString (Job::*id)() = &Job::WorkOrderId;
    QDateTime (Job::*modified)() = &Job::ModifiedTime;
    EXPECT_EQ(SlotsOf(id, modified), UpTo(2));
    QVector<Job *> (IJobModel::*jobs)() = &IJobModel::Jobs;
    void (IJobModel::*refresh)() = &IJobModel::RefreshJobs;
    void (IJobModel::*setActive)(Job *) = &IJobModel::SetActiveJob;
    Job *(IJobModel::*active)() = &IJobModel::ActiveJob;
    EXPECT_EQ(SlotsOf(jobs, refresh, setActive, active), UpTo(4));
}

TEST(HostModelTest, WorkOrderStoreOperationsKeepTheirOrder)
{
    bool (IWorkOrderStore::*update)(QJsonArray) = &IWorkOrderStore::UpdateWorkOrders;
    QJsonObject (IWorkOrderStore::*get)(QString, bool *) = &IWorkOrderStore::GetWorkOrder;
    EXPECT_EQ(SlotsOf(update, get), UpTo(2));
}

TEST(HostModelTest, SyncFilesOperationsKeepTheirOrder)
{
    QJsonArray (ISyncFilesModel::*pending)() = &ISyncFilesModel::GetPendingFiles;
    QJsonArray (ISyncFilesModel::*all)() = &ISyncFilesModel::GetAllPendingFiles;
    QByteArray (ISyncFilesModel::*data)(QString, bool *) = &ISyncFilesModel::GetFileData;
    bool (ISyncFilesModel::*mark)(QString) = &ISyncFilesModel::MarkFileSynced;
    void (ISyncFilesModel::*techId)(QString) = &ISyncFilesModel::SetTechId;
    EXPECT_EQ(SlotsOf(pending, all, data, mark, techId), UpTo(5));
}

TEST(HostModelTest, FileManagerOperationsKeepTheirOrder)
{
    QJsonObject (IFileManagerModel::*files)() = &IFileManagerModel::GetUserFiles;
    QByteArray (IFileManagerModel::*read)(QString, bool *, qint64, qint64, bool *) =
        &IFileManagerModel::ReadFileChunk;
    bool (IFileManagerModel::*remove)(QString) = &IFileManagerModel::DeleteUserFile;
    EXPECT_EQ(SlotsOf(files, read, remove), UpTo(3));
}

TEST(HostModelTest, AssetOperationsKeepTheirOrder)
{
    QJsonObject (IAssetModel::*metadata)(QString, bool *) = &IAssetModel::GetFileMetadata;
    QJsonObject (IAssetModel::*information)() = &IAssetModel::GetAssetInfo;
    EXPECT_EQ(SlotsOf(metadata, information), UpTo(2));
}

TEST(HostModelTest, DownloadContextSendsBehindItsTwoDestructors)
{
    void (IDownloadContext::*send)() = &IDownloadContext::SendExtraDownloadContent;
    EXPECT_EQ(SlotOf(send), 2);
}

TEST(HostModelTest, ASubModelNeedNotImplementConstruct)
{
    struct SubModel : IApplicationSubModel
    {
        void Shutdown() override {}
    };
    SubModel subModel;
    IConstructable *constructable = &subModel;
    constructable->Construct(nullptr);
    constructable->Shutdown();
    EXPECT_FALSE(std::is_abstract_v<SubModel>);
}

TEST(HostModelTest, TheLibrarysClassesKeepTheirBases)
{
    EXPECT_TRUE((std::is_base_of_v<QObject, RestServerModel>));
    EXPECT_TRUE((std::is_base_of_v<IApplicationSubModel, RestServerModel>));
    EXPECT_TRUE((std::is_base_of_v<IRestServerModel, RestServerModel>));
    EXPECT_TRUE((std::is_base_of_v<IConstructable, IApplicationSubModel>));
    EXPECT_TRUE((std::is_base_of_v<IConstructable, RestServerRequestProcessor>));
    EXPECT_TRUE((std::is_base_of_v<IConstructable, RestServerFileProcessor>));
    EXPECT_TRUE((std::is_base_of_v<IConstructable, RestServerFileCallbackHandler>));
    EXPECT_TRUE((std::is_base_of_v<IDownloadContext, RestServerFileDownloadContext>));
    EXPECT_TRUE((std::is_base_of_v<IConstructable, RestServerFileDownloadContext>));
}

TEST(HostModelTest, ADownloadContextBeginsWithItsSendingInterface)
{
    RestServerFileDownloadContext context(QString(), 0);
    EXPECT_EQ(static_cast<void *>(static_cast<IDownloadContext *>(&context)),
              static_cast<void *>(&context));
    context.Shutdown();
}

} // namespace
