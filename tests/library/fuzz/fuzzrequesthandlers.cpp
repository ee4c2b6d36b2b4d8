// Every endpoint handler with a random method, URI and body. The input:
//
//     1 byte   the route
//     1 byte   the method
//     1 byte   the host's answers, as bits
//     1 byte   length U of the URI
//     U bytes  what follows the route's own text in the URI
//     the rest is the body; each byte 1 in it stands for the path that uploads must begin with
//
// Each request gets a response with one of the codes in use. Its body is JSON unless it is the
// content of a file, and only what a method may change is changed.

#include <QJsonDocument>
#include <set>

#include "fakehost.h"
#include "fuzzfolder.h"
#include "restserverrequestprocessor.h"

namespace {

constexpr char foundBit = 1;
constexpr char storeBit = 2;
constexpr char storageBit = 4;
constexpr char spaceBit = 8;
constexpr char deleteBit = 16;

struct Route
{
    RestServerRequestUri uri;
    const char *text;
};

constexpr Route routes[] = {
    {RestServerRequestUri::Info, "/info"},
    {RestServerRequestUri::WorkflowWorkorders, "/api/workflow/v1/workorders"},
    {RestServerRequestUri::WorkflowList, "/api/workflow/v1/list"},
    {RestServerRequestUri::WorkflowTemplates, "/api/workflow/v1/templates"},
    {RestServerRequestUri::WorkflowActive, "/api/workflow/v1/active"},
    {RestServerRequestUri::WorkflowWorkorderById, "/api/workflow/v1/workorder/"},
    {RestServerRequestUri::SyncfilesPendingFiles, "/api/syncfiles/v1/pendingfiles"},
    {RestServerRequestUri::SyncfilesPendingFilesAll, "/api/syncfiles/v1/pendingfiles/all"},
    {RestServerRequestUri::SyncfilesMetadata, "/api/syncfiles/v1/metadata"},
    {RestServerRequestUri::SyncfilesUserFilesByPath, "/api/syncfiles/v1/userfiles"},
    {RestServerRequestUri::SyncfilesUserFiles, "/api/syncfiles/v1/userfiles"},
    {RestServerRequestUri::FilemgrUserFiles, "/api/filemgr/v2/userfiles"},
    {RestServerRequestUri::FilemgrUserMetadata, "/api/filemgr/v2/metadata"},
    {RestServerRequestUri::FilemgrUserFilesByPath, "/api/filemgr/v2/userfiles"},
    {RestServerRequestUri::TechInfo, "/api/v1/techinfo"},
    {RestServerRequestUri::Test, ""},
};

// The host and the handlers. No upload can reach beyond the folder: the text that its path must
// begin with ends inside the name of a file, which is not a directory.
class Device
{
public:
    Device()
    {
        host.storage.directories[IStorageModel::UserFilesDirectory] = Root();
        host.storage.directories[IStorageModel::TemplateDirectory] = folder.Path("templates");
        host.storage.directories[IStorageModel::GuardedTemplateDirectory] = folder.Path("guarded");
        host.jobs.Add("WO-1", QDateTime());
        host.jobs.Add("WO-2", QDateTime());
        host.workOrders.documents["WO-1"] = {{"tests", QJsonArray{QJsonObject()}}};
        processor.Construct(&host);
    }

    QString Root() const { return folder.Path("file"); }

    void Answer(char answers)
    {
        host.log.Clear();
        host.errors.reports.clear();
        host.asset.metadataFound = (answers & foundBit) != 0;
        host.syncFiles.fileFound = (answers & foundBit) != 0;
        host.syncFiles.fileData = "content";
        host.workOrders.updateResult = (answers & storeBit) != 0;
        host.storage.available = (answers & storageBit) != 0;
        host.storage.freeSpace = (answers & spaceBit) != 0;
        host.fileManager.deleteResult = (answers & deleteBit) != 0;
    }

    bool WasCalled(const std::string &name) const
    {
        for (const std::string &call : host.log.Calls()) {
            if (call.compare(0, name.size(), name) == 0) {
                return true;
            }
        }
        return false;
    }

    FuzzFolder folder;
    FakeHost host;
    RestServerRequestProcessor processor;
};

void CheckResponse(const RestServerResponseObject &response)
{
    static const std::set<int> codes = {200, 400, 404, 405, 500};
    Require(codes.count(response.ResponseCode()) == 1, "the code is one of those in use");
    const QByteArray &body = response.ResponseDataChunk()->Data();
    Require(body == "content" || body.isEmpty() || !QJsonDocument::fromJson(body).isNull(),
            "the body is JSON");
    Require(response.ResponseCode() == 200 || body.contains("errorMessage"),
            "an error has its text");
}

// Which method alone may lead to a change in the host.
void CheckChanges(const Device &device, RestServerRequestMethod method)
{
    using Method = RestServerRequestMethod;
    const auto onlyBy = [&](Method wanted, const char *call) {
        Require(method == wanted || !device.WasCalled(call), call);
    };
    onlyBy(Method::Post, "WorkOrderStore.UpdateWorkOrders");
    onlyBy(Method::Post, "StorageModel.HasFreeSpace");
    onlyBy(Method::Put, "JobModel.SetActiveJob");
    onlyBy(Method::Put, "SyncFilesModel.MarkFileSynced");
    onlyBy(Method::Delete, "FileManagerModel.DeleteUserFile");
}

} // namespace

extern "C" const char *__lsan_default_suppressions();

// The file object of a part that another one follows is not released.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:RestServerFileCallbackHandler::OpenFile\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    SilenceLog();
    static Device device;
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (input.size() < 4) {
        return 0;
    }
    const Route &route = routes[static_cast<unsigned char>(input[0]) % std::size(routes)];
    const auto method =
        static_cast<RestServerRequestMethod>(static_cast<unsigned char>(input[1]) % 6);
    const int uriLength = static_cast<unsigned char>(input[3]);
    const QByteArray uri = route.text + input.mid(4, uriLength);
    QByteArray body = input.mid(4 + uriLength);
    body.replace('\1', device.Root().toUtf8());
    device.Answer(input[2]);

    RestServerRequestObject request(route.uri, method, new DataChunk(body, true), uri.constData());
    const std::unique_ptr<RestServerResponseObject> response(
        device.processor.ProcessRequest(&request));
    Require(response != nullptr, "every request is answered");
    CheckResponse(*response);
    CheckChanges(device, method);
    return 0;
}
