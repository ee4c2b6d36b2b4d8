#include "debuglogcapture.h"
#include "exchange.h"
#include "restserverfileprocessor.h"

// Endpoint handlers in front of a file processor that answers what the test wants. It takes the
// place of the real one, which is not linked here.

namespace {

struct FakeFileProcessor
{
    Calls calls;
    bool result = false;
    DataChunk *uploaded = nullptr;
    DataChunk *chunk = nullptr;
    IDownloadContext *context = nullptr;
    bool presetToNull = false;
};

FakeFileProcessor fakeFileProcessor;

class SilentContext : public IDownloadContext
{
public:
    void SendExtraDownloadContent() override {}
};

class HandlerOfFilesTest : public ProcessorTest
{
protected:
    HandlerOfFilesTest() { fakeFileProcessor = FakeFileProcessor(); }
};

constexpr Handler syncUpload = &RestServerRequestProcessor::ProcessSyncfilesUserFilesRequest;
constexpr Handler managerUpload = &RestServerRequestProcessor::ProcessFilemgrUserFilesRequest;
constexpr Handler download = &RestServerRequestProcessor::ProcessFilemgrUserFilesByPathRequest;
constexpr char uri[] = "/api/filemgr/v2/userfiles/files/a.txt?dl=1";

TEST_F(HandlerOfFilesTest, AStoredUploadIsAnsweredWithAnEmptyObject)
{
    fakeFileProcessor.result = true;
    ExpectResponse(Answer(syncUpload, Method::Post), 200, emptyBody);
    ExpectResponse(Answer(managerUpload, Method::Post), 200, emptyBody);
    EXPECT_EQ(fakeFileProcessor.calls, Calls({"Upload", "Upload"}));
}

TEST_F(HandlerOfFilesTest, AFailedUploadIsToldWithoutItsReason)
{
    ExpectResponse(Answer(syncUpload, Method::Post), 400, ErrorBody("Upload failed"));
    ExpectResponse(Answer(managerUpload, Method::Post), 400, ErrorBody("Upload failed"));
}

TEST_F(HandlerOfFilesTest, TheUploadGetsTheRequestsOwnChunk)
{
    RestServerRequestObject request = Request(Method::Post, "/", "body");
    delete processor.ProcessSyncfilesUserFilesRequest(&request);
    EXPECT_EQ(fakeFileProcessor.uploaded, request.RequestDataChunk());
}

TEST_F(HandlerOfFilesTest, OtherMethodsDoNotUpload)
{
    ExpectRefused(syncUpload, {Method::Post}, "/", 405, ErrorBody("Method not allowed"));
    ExpectRefused(managerUpload, {Method::Post, Method::Get}, "/", 500, ErrorBody(""),
                  "Error in request handler");
    ExpectRefused(download, {Method::Get, Method::Delete}, uri, 500, ErrorBody(""),
                  "Error in request handler");
    EXPECT_EQ(fakeFileProcessor.calls, Calls());
}

TEST_F(HandlerOfFilesTest, ADownloadCarriesTheChunkAndTheContext)
{
    fakeFileProcessor.result = true;
    fakeFileProcessor.chunk = new DataChunk("piece", false);
    fakeFileProcessor.context = new SilentContext();
    const std::unique_ptr<RestServerResponseObject> response(Answer(download, Method::Get, uri));
    EXPECT_EQ(fakeFileProcessor.calls, Calls({"Download(/files/a.txt)"}));
    EXPECT_TRUE(fakeFileProcessor.presetToNull);
    EXPECT_EQ(response->ResponseCode(), 200);
    EXPECT_EQ(response->ErrorString(), QString());
    EXPECT_EQ(response->ResponseDataChunk(), fakeFileProcessor.chunk);
    EXPECT_EQ(response->TakeDownloadContext().get(), fakeFileProcessor.context);
}

TEST_F(HandlerOfFilesTest, ARefusedDownloadReleasesAChunkThatWasMade)
{
    const QByteArray bytes(10, 'x');
    fakeFileProcessor.chunk = new DataChunk(bytes, false);
    ExpectResponse(Answer(download, Method::Get, uri), 404, ErrorBody("File read failure"));
    EXPECT_TRUE(bytes.isDetached()) << "the chunk was kept";
}

TEST_F(HandlerOfFilesTest, ARefusedDownloadDoesNotUseAContext)
{
    SilentContext context;
    fakeFileProcessor.context = &context;
    ExpectResponse(Answer(download, Method::Get, uri), 404, ErrorBody("File read failure"));
}

} // namespace

RestServerFileProcessor::RestServerFileProcessor()
    : callbackHandler(nullptr)
    , applicationModel(nullptr)
{}

void RestServerFileProcessor::Construct(IApplicationModel *model)
{
    applicationModel = model;
}

void RestServerFileProcessor::Shutdown() {}

bool RestServerFileProcessor::ProcessFileUploadRequest(DataChunk *firstChunk)
{
    fakeFileProcessor.calls.push_back("Upload");
    fakeFileProcessor.uploaded = firstChunk;
    return fakeFileProcessor.result;
}

bool RestServerFileProcessor::ProcessFileDownloadRequest(QString path, DataChunk **chunk,
                                                         IDownloadContext **context)
{
    fakeFileProcessor.calls.push_back("Download(" + path.toStdString() + ")");
    fakeFileProcessor.presetToNull = *chunk == nullptr && *context == nullptr;
    *chunk = fakeFileProcessor.chunk;
    *context = fakeFileProcessor.context;
    return fakeFileProcessor.result;
}
