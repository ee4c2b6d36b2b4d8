#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler pending = &RestServerRequestProcessor::ProcessSyncfilesPendingFilesRequest;
constexpr Handler allPending = &RestServerRequestProcessor::ProcessSyncfilesPendingFilesAllRequest;
constexpr Handler metadata = &RestServerRequestProcessor::ProcessSyncfilesMetadataRequest;
constexpr Handler byPath = &RestServerRequestProcessor::ProcessSyncfilesUserFilesByPathRequest;
constexpr Handler upload = &RestServerRequestProcessor::ProcessSyncfilesUserFilesRequest;

class PendingFilesTest : public ProcessorTest
{};

TEST_F(PendingFilesTest, EachRouteGivesItsOwnListAsItIs)
{
    host.syncFiles.pendingFiles = QJsonArray{QJsonObject{{"path", "/b"}}, 1, "x"};
    host.syncFiles.allPendingFiles = QJsonArray{"all"};
    ExpectResponse(Answer(pending, Method::Get, "/api/syncfiles/v1/pendingfiles?x=1"), 200,
                   "[\n"
                   "    {\n"
                   "        \"path\": \"/b\"\n"
                   "    },\n"
                   "    1,\n"
                   "    \"x\"\n"
                   "]\n");
    EXPECT_EQ(host.log.Calls(), Calls({"SyncFilesModel.GetPendingFiles()"}));
    host.log.Clear();
    ExpectResponse(Answer(allPending, Method::Get), 200, "[\n    \"all\"\n]\n");
    EXPECT_EQ(host.log.Calls(), Calls({"SyncFilesModel.GetAllPendingFiles()"}));
}

TEST_F(PendingFilesTest, AnEmptyListIsAnEmptyArray)
{
    ExpectResponse(Answer(pending, Method::Get), 200, "[\n]\n");
    ExpectResponse(Answer(allPending, Method::Get), 200, "[\n]\n");
}

TEST_F(PendingFilesTest, OtherMethodsAreRefused)
{
    ExpectRefused(pending, {Method::Get}, "/", 405, ErrorBody("Method not allowed"));
    ExpectRefused(allPending, {Method::Get}, "/", 405, ErrorBody("Method not allowed"));
}

class SyncMetadataTest : public ProcessorTest
{};

TEST_F(SyncMetadataTest, GetGivesTheHostsObject)
{
    host.asset.metadata = QJsonObject{{"size", 3}, {"path", "/a.txt"}};
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(metadata, Method::Get, "/api/syncfiles/v1/metadata/a.txt?rev=2"), 200,
                   "{\n"
                   "    \"path\": \"/a.txt\",\n"
                   "    \"size\": 3\n"
                   "}\n");
    EXPECT_EQ(host.log.Calls(), Calls({"AssetModel.GetFileMetadata(/a.txt)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/a.txt\"  requested"}));
}

TEST_F(SyncMetadataTest, AFileThatTheHostDoesNotKnowIsNotFound)
{
    host.asset.metadataFound = false;
    ExpectResponse(Answer(metadata, Method::Get, "/api/syncfiles/v1/metadata/a.txt"), 404,
                   ErrorBody("File not found"));
}

TEST_F(SyncMetadataTest, AUriWithoutAPathIsAnsweredWithAnEmptyObject)
{
    const DebugLogCapture debugLog;
    for (const char *uri : {"/api/syncfiles/v1/metadata", "/api/syncfiles/v1/metadata?a=/b",
                            "/API/syncfiles/v1/metadata/a.txt", ""}) {
        SCOPED_TRACE(uri);
        ExpectResponse(Answer(metadata, Method::Get, uri), 200, emptyBody);
    }
    EXPECT_EQ(host.log.Calls(), Calls());
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(SyncMetadataTest, OtherMethodsAreRefusedBeforeTheUriIsLookedAt)
{
    const DebugLogCapture debugLog;
    ExpectRefused(metadata, {Method::Get}, "/api/syncfiles/v1/metadata/a.txt", 405,
                  ErrorBody("Method not allowed"));
    ExpectRefused(metadata, {Method::Get}, "/", 405, ErrorBody("Method not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

class SyncUserFileTest : public ProcessorTest
{};

TEST_F(SyncUserFileTest, GetGivesTheWholeFile)
{
    host.syncFiles.fileData = QByteArray("a\0b", 3);
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byPath, Method::Get, "/api/syncfiles/v1/userfiles/jobs/a.csv?x=1"), 200,
                   std::string("a\0b", 3));
    EXPECT_EQ(host.log.Calls(), Calls({"SyncFilesModel.GetFileData(/jobs/a.csv)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/jobs/a.csv\"  requested"}));
}

TEST_F(SyncUserFileTest, GetOfAnEmptyFileHasAnEmptyBody)
{
    ExpectResponse(Answer(byPath, Method::Get, "/api/syncfiles/v1/userfiles/a"), 200, "");
}

TEST_F(SyncUserFileTest, GetOfAnUnknownFileIsNotFound)
{
    host.syncFiles.fileFound = false;
    host.syncFiles.fileData = "ignored";
    ExpectResponse(Answer(byPath, Method::Get, "/api/syncfiles/v1/userfiles/a"), 404,
                   ErrorBody("File not found"));
}

TEST_F(SyncUserFileTest, PutConfirmsTheFile)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byPath, Method::Put, "/api/syncfiles/v1/userfiles/a", "ignored"), 200,
                   emptyBody);
    EXPECT_EQ(host.log.Calls(), Calls({"SyncFilesModel.MarkFileSynced(/a)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/a\"  requested"}));
}

TEST_F(SyncUserFileTest, PutOfAnUnknownFileIsNotFound)
{
    host.syncFiles.fileFound = false;
    ExpectResponse(Answer(byPath, Method::Put, "/api/syncfiles/v1/userfiles/a"), 404,
                   ErrorBody("File not found"));
}

TEST_F(SyncUserFileTest, OtherMethodsAreRefusedAfterTheLogLine)
{
    const DebugLogCapture debugLog;
    ExpectRefused(byPath, {Method::Get, Method::Put}, "/api/syncfiles/v1/userfiles/a.txt", 405,
                  ErrorBody("Method not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls(4, "Filename  \"/a.txt\"  requested"));
}

TEST_F(SyncUserFileTest, AUriWithoutAPathIsInvalidForEveryMethod)
{
    const DebugLogCapture debugLog;
    ExpectRefused(byPath, {}, "/api/syncfiles/v1/userfiles", 404, ErrorBody("Invalid URI"));
    ExpectRefused(byPath, {}, "/api/syncfiles/v1/userfiles?a", 404, ErrorBody("Invalid URI"));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

class SyncUploadTest : public ProcessorTest
{};

TEST_F(SyncUploadTest, OtherMethodsAreRefused)
{
    ExpectRefused(upload, {Method::Post}, "/", 405, ErrorBody("Method not allowed"));
}

TEST_F(SyncUploadTest, ABodyThatIsNoUploadFails)
{
    ExpectResponse(Answer(upload, Method::Post, "/", "x"), 400, ErrorBody("Upload failed"));
}

} // namespace
