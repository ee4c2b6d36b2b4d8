#include <QJsonObject>
#include <iterator>
#include <set>

#include "debuglogcapture.h"
#include "exchange.h"

namespace {

using DispatchTest = ProcessorTest;

RestServerRequestObject RoutedRequest(Uri route, const char *path,
                                      const QByteArray &body = QByteArray(),
                                      Method method = Method::Get)
{
    return RestServerRequestObject(route, method, new DataChunk(body, true), path);
}

TEST_F(DispatchTest, AnErrorBodyIsAnIndentedObjectMarkedLast)
{
    const std::unique_ptr<DataChunk> chunk(processor.BuildErrorResponse(QStringLiteral("x")));
    EXPECT_EQ(chunk->Data().toStdString(), "{\n    \"errorMessage\": \"x\"\n}\n");
    EXPECT_TRUE(chunk->LastChunk());
}

TEST_F(DispatchTest, AnErrorBodyWithoutAMessageKeepsTheMember)
{
    const std::unique_ptr<DataChunk> chunk(processor.BuildErrorResponse(QString()));
    EXPECT_EQ(chunk->Data().toStdString(), "{\n    \"errorMessage\": \"\"\n}\n");
}

TEST_F(DispatchTest, AnErrorBodyEscapesWhatJsonMustEscape)
{
    const std::unique_ptr<DataChunk> chunk(
        processor.BuildErrorResponse(QString::fromUtf8("a\"b\\c\n\xc3\xbc")));
    EXPECT_EQ(chunk->Data().toStdString(),
              "{\n    \"errorMessage\": \"a\\\"b\\\\c\\n\xc3\xbc\"\n}\n");
}

TEST_F(DispatchTest, AnEmptyBodyHasFourBytesAndIsMarkedLast)
{
    const std::unique_ptr<DataChunk> chunk(processor.BuildEmptyResponse());
    EXPECT_EQ(chunk->Data().toStdString(), "{\n}\n");
    EXPECT_TRUE(chunk->LastChunk());
}

TEST_F(DispatchTest, ANullRequestIsAnsweredWithoutAReport)
{
    ExpectResponse(processor.ProcessRequest(nullptr), 500, ErrorBody("Error in request handler"));
    EXPECT_EQ(host.log.Calls(), Calls());
}

TEST_F(DispatchTest, ARouteThatDoesNotExistGivesNull)
{
    for (const int number : {16, -1}) {
        RestServerRequestObject request = RoutedRequest(static_cast<Uri>(number), "/");
        EXPECT_EQ(processor.ProcessRequest(&request), nullptr);
    }
}

TEST_F(DispatchTest, ShutdownChangesNothing)
{
    processor.Shutdown();
    RestServerRequestObject request = RoutedRequest(Uri::Test, "/");
    ExpectResponse(processor.ProcessRequest(&request), 200, emptyBody);
}

TEST_F(DispatchTest, ATestRequestIsLoggedAndAnsweredWithAnEmptyObject)
{
    const DebugLogCapture debugLog;
    RestServerRequestObject request = RoutedRequest(Uri::Test, "/t?a", "body");
    ExpectResponse(processor.ProcessRequest(&request), 200, emptyBody);
    EXPECT_EQ(debugLog.Lines(), Calls({"Got test URI:  \"/t?a\"", "Got test body:  body"}));
}

TEST_F(DispatchTest, ATestBodyIsLoggedAsUtf8UpToItsFirstZeroByte)
{
    const DebugLogCapture debugLog;
    RestServerRequestObject request =
        RoutedRequest(Uri::Test, "/", QByteArray("gr\xc3\xbc\xc3\x9f\0rest", 11));
    ExpectResponse(processor.ProcessRequest(&request), 200, emptyBody);
    EXPECT_EQ(debugLog.Lines().back(), "Got test body:  gr\xc3\xbc\xc3\x9f");
}

TEST_F(DispatchTest, ATestRequestIsServedForEveryMethod)
{
    for (const Method method :
         {Method::Post, Method::Get, Method::Put, Method::Patch, Method::Delete, Method::Unknown}) {
        SCOPED_TRACE(MethodName(method));
        RestServerRequestObject request = RoutedRequest(Uri::Test, "/", QByteArray(), method);
        ExpectResponse(processor.ProcessRequest(&request), 200, emptyBody);
    }
}

// Each route is told by what its handler asks the host, or, where it asks nothing, by its answer.
struct RouteCase
{
    const char *name;
    Uri route;
    Method method;
    const char *path;
    QByteArray body;
    Calls calls;
    int code;
};

class RouteTest : public ProcessorTest, public testing::WithParamInterface<RouteCase>
{};

TEST_P(RouteTest, IsServedByItsHandler)
{
    RestServerRequestObject request =
        RoutedRequest(GetParam().route, GetParam().path, GetParam().body, GetParam().method);
    const std::unique_ptr<RestServerResponseObject> response(processor.ProcessRequest(&request));
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->ResponseCode(), GetParam().code);
    EXPECT_EQ(host.log.Calls(), GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(
    All, RouteTest,
    testing::Values(
        RouteCase{"Info", Uri::Info, Method::Get, "/info", "", {"AssetModel.GetAssetInfo()"}, 200},
        RouteCase{"WorkflowWorkorders",
                  Uri::WorkflowWorkorders,
                  Method::Post,
                  "/",
                  "{\"cdm\": []}",
                  {"WorkOrderStore.UpdateWorkOrders([])", "JobModel.RefreshJobs()"},
                  200},
        RouteCase{"WorkflowList", Uri::WorkflowList, Method::Put, "/", "", {}, 405},
        RouteCase{"WorkflowTemplates",
                  Uri::WorkflowTemplates,
                  Method::Get,
                  "/",
                  "",
                  {"StorageModel.Directory(10)", "StorageModel.IsStorageAvailable()",
                   "StorageModel.BeginStorageAccess()", "StorageModel.Directory(11)",
                   "StorageModel.EndStorageAccess()"},
                  200},
        RouteCase{"WorkflowActive",
                  Uri::WorkflowActive,
                  Method::Get,
                  "/",
                  "",
                  {"JobModel.ActiveJob()"},
                  200},
        RouteCase{"WorkflowWorkorderById",
                  Uri::WorkflowWorkorderById,
                  Method::Get,
                  "/api/workflow/v1/workorder/7",
                  "",
                  {"WorkOrderStore.GetWorkOrder(7)"},
                  404},
        RouteCase{"SyncfilesPendingFiles",
                  Uri::SyncfilesPendingFiles,
                  Method::Get,
                  "/",
                  "",
                  {"SyncFilesModel.GetPendingFiles()"},
                  200},
        RouteCase{"SyncfilesPendingFilesAll",
                  Uri::SyncfilesPendingFilesAll,
                  Method::Get,
                  "/",
                  "",
                  {"SyncFilesModel.GetAllPendingFiles()"},
                  200},
        RouteCase{"SyncfilesMetadata",
                  Uri::SyncfilesMetadata,
                  Method::Get,
                  "/api/syncfiles/v1/metadata/a",
                  "",
                  {"AssetModel.GetFileMetadata(/a)"},
                  200},
        RouteCase{"SyncfilesUserFilesByPath",
                  Uri::SyncfilesUserFilesByPath,
                  Method::Put,
                  "/api/syncfiles/v1/userfiles/a",
                  "",
                  {"SyncFilesModel.MarkFileSynced(/a)"},
                  200},
        RouteCase{"SyncfilesUserFiles",
                  Uri::SyncfilesUserFiles,
                  Method::Post,
                  "/",
                  "",
                  {"StorageModel.IsStorageAvailable()", "StorageModel.BeginStorageAccess()",
                   "StorageModel.EndStorageAccess()"},
                  400},
        RouteCase{"FilemgrUserFiles",
                  Uri::FilemgrUserFiles,
                  Method::Get,
                  "/",
                  "",
                  {"FileManagerModel.GetUserFiles()"},
                  200},
        RouteCase{"FilemgrUserMetadata",
                  Uri::FilemgrUserMetadata,
                  Method::Get,
                  "/api/filemgr/v2/metadata/a",
                  "",
                  {"AssetModel.GetFileMetadata(/a)"},
                  200},
        RouteCase{"FilemgrUserFilesByPath",
                  Uri::FilemgrUserFilesByPath,
                  Method::Delete,
                  "/api/filemgr/v2/userfiles/a",
                  "",
                  {"FileManagerModel.DeleteUserFile(/a)"},
                  200},
        RouteCase{"TechInfo",
                  Uri::TechInfo,
                  Method::Post,
                  "/",
                  "{\"techId\": \"A\"}",
                  {"RootModel.SyncFilesModel.SetTechId(A)"},
                  200}),
    CaseName());

// Where the text of the answer to a null request stands differs from handler to handler.
struct NullRequestCase
{
    const char *name;
    Handler handler;
    const char *message;
    const char *errorString;
};

constexpr char inHandler[] = "Error in request handler";

class NullRequestTest : public ProcessorTest, public testing::WithParamInterface<NullRequestCase>
{};

TEST_P(NullRequestTest, IsReportedAndAnswered)
{
    ExpectResponse((processor.*GetParam().handler)(nullptr), 500, ErrorBody(GetParam().message),
                   GetParam().errorString);
    EXPECT_EQ(host.log.Calls(),
              Calls({"ErrorReporter.ReportError(Null request provided, returning HTTP error, "
                     "restserverrequestprocessor)"}));
}

using Processor = RestServerRequestProcessor;

const NullRequestCase nullRequestCases[] = {
    {"Info", &Processor::ProcessInfoRequest, inHandler, ""},
    {"TechInfo", &Processor::ProcessTechInfoRequest, "", inHandler},
    {"WorkflowList", &Processor::ProcessWorkflowListRequest, inHandler, ""},
    {"WorkflowWorkorders", &Processor::ProcessWorkflowWorkordersRequest, inHandler, ""},
    {"WorkflowWorkorderByIdGeneric", &Processor::ProcessWorkflowWorkorderByIdGenericRequest,
     inHandler, ""},
    {"WorkflowActive", &Processor::ProcessWorkflowActiveRequest, inHandler, ""},
    {"WorkflowTemplates", &Processor::ProcessWorkflowTemplatesRequest, inHandler, ""},
    {"SyncfilesPendingFiles", &Processor::ProcessSyncfilesPendingFilesRequest, inHandler, ""},
    {"SyncfilesPendingFilesAll", &Processor::ProcessSyncfilesPendingFilesAllRequest, inHandler, ""},
    {"SyncfilesMetadata", &Processor::ProcessSyncfilesMetadataRequest, inHandler, ""},
    {"SyncfilesUserFilesByPath", &Processor::ProcessSyncfilesUserFilesByPathRequest, inHandler, ""},
    {"SyncfilesUserFiles", &Processor::ProcessSyncfilesUserFilesRequest, "", inHandler},
    {"FilemgrUserFiles", &Processor::ProcessFilemgrUserFilesRequest, "", inHandler},
    {"FilemgrMetadata", &Processor::ProcessFilemgrMetadataRequest, "", inHandler},
    {"FilemgrUserFilesByPath", &Processor::ProcessFilemgrUserFilesByPathRequest, "", inHandler},
};

INSTANTIATE_TEST_SUITE_P(Handlers, NullRequestTest, testing::ValuesIn(nullRequestCases),
                         CaseName());

// The line of the call, which tells those who read a report which handler it was.
TEST_F(DispatchTest, TheReportOfEveryHandlerCarriesALineOfItsOwn)
{
    for (const NullRequestCase &nullRequest : nullRequestCases) {
        delete (processor.*nullRequest.handler)(nullptr);
    }
    delete processor.ProcessWorkflowWorkorderByIdRequest(nullptr, QString());
    delete processor.ProcessWorkflowWorkorderAttachmentByIdRequest(nullptr, QString());
    std::set<int> lines;
    for (const FakeErrorReporter::Report &report : host.errors.reports) {
        EXPECT_GT(report.line, 1);
        lines.insert(report.line);
    }
    EXPECT_EQ(lines.size(), std::size(nullRequestCases) + 2);
}

} // namespace
