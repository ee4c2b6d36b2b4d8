#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler userFiles = &RestServerRequestProcessor::ProcessFilemgrUserFilesRequest;
constexpr Handler metadata = &RestServerRequestProcessor::ProcessFilemgrMetadataRequest;
constexpr Handler byPath = &RestServerRequestProcessor::ProcessFilemgrUserFilesByPathRequest;

constexpr char inHandler[] = "Error in request handler";

class FileManagerTest : public ProcessorTest
{
protected:
    FileManagerTest() { host.storage.directories[9] = QStringLiteral("/files"); }
};

TEST_F(FileManagerTest, GetListsTheUserFiles)
{
    host.fileManager.userFiles = QJsonObject{{"files", QJsonArray{"/a"}}};
    ExpectResponse(Answer(userFiles, Method::Get), 200,
                   "{\n"
                   "    \"files\": [\n"
                   "        \"/a\"\n"
                   "    ]\n"
                   "}\n");
    EXPECT_EQ(host.log.Calls(), Calls({"FileManagerModel.GetUserFiles()"}));
}

TEST_F(FileManagerTest, PostOfABodyThatIsNoUploadFails)
{
    ExpectResponse(Answer(userFiles, Method::Post, "/", "x"), 400, ErrorBody("Upload failed"));
}

TEST_F(FileManagerTest, OtherMethodsOnTheListingAreHandlerErrors)
{
    ExpectRefused(userFiles, {Method::Get, Method::Post}, "/", 500, ErrorBody(""), inHandler);
}

TEST_F(FileManagerTest, MetadataIsTheHostsObject)
{
    host.asset.metadata = QJsonObject{{"size", 3}};
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(metadata, Method::Get, "/api/filemgr/v2/metadata/r/r1.pdf?dl=1"), 200,
                   "{\n    \"size\": 3\n}\n");
    EXPECT_EQ(host.log.Calls(), Calls({"AssetModel.GetFileMetadata(/r/r1.pdf)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/r/r1.pdf\"  requested"}));
}

TEST_F(FileManagerTest, MetadataOfAnUnknownFileIsAnInvalidUri)
{
    host.asset.metadataFound = false;
    ExpectResponse(Answer(metadata, Method::Get, "/api/filemgr/v2/metadata/missing.txt"), 404,
                   ErrorBody("Invalid URI"));
}

TEST_F(FileManagerTest, MetadataWithoutAPathIsAnInvalidUriForEveryMethod)
{
    const DebugLogCapture debugLog;
    ExpectRefused(metadata, {}, "/api/filemgr/v2/metadata", 404, ErrorBody("Invalid URI"));
    ExpectRefused(metadata, {}, "/api/filemgr/v2/metadata?a=/b", 404, ErrorBody("Invalid URI"));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(FileManagerTest, OtherMethodsOnMetadataAreHandlerErrorsAfterTheLogLine)
{
    const DebugLogCapture debugLog;
    ExpectRefused(metadata, {Method::Get}, "/api/filemgr/v2/metadata/a", 500, ErrorBody(""),
                  inHandler);
    EXPECT_EQ(debugLog.Lines(), Calls(5, "Filename  \"/a\"  requested"));
}

TEST_F(FileManagerTest, DeleteRemovesTheFile)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byPath, Method::Delete, "/api/filemgr/v2/userfiles/../a.txt?x"), 200,
                   emptyBody);
    EXPECT_EQ(host.log.Calls(), Calls({"FileManagerModel.DeleteUserFile(/../a.txt)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/../a.txt\"  requested"}));
}

TEST_F(FileManagerTest, ADeleteThatTheHostRefusesIsAnInvalidUri)
{
    host.fileManager.deleteResult = false;
    ExpectResponse(Answer(byPath, Method::Delete, "/api/filemgr/v2/userfiles/a.txt"), 404,
                   ErrorBody("Invalid URI"));
    EXPECT_EQ(host.log.Calls(), Calls({"FileManagerModel.DeleteUserFile(/a.txt)"}));
}

TEST_F(FileManagerTest, ASmallFileIsAWholeAnswer)
{
    host.fileManager.files[QStringLiteral("/files/a")] = "content";
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byPath, Method::Get, "/api/filemgr/v2/userfiles/files/a?dl=1"), 200,
                   "content");
    EXPECT_EQ(debugLog.Lines(), Calls({"Filename  \"/files/a\"  requested"}));
}

TEST_F(FileManagerTest, ALargeFileIsItsFirstPieceAndAContext)
{
    host.fileManager.pieces = {{"first", true, false}};
    const std::unique_ptr<RestServerResponseObject> response(
        Answer(byPath, Method::Get, "/api/filemgr/v2/userfiles/files/a"));
    EXPECT_EQ(response->ResponseCode(), 200);
    EXPECT_EQ(response->ResponseDataChunk()->Data(), QByteArray("first"));
    EXPECT_FALSE(response->ResponseDataChunk()->LastChunk());
    EXPECT_EQ(response->ErrorString(), QString());
    EXPECT_TRUE(response->DownloadRequired());
}

TEST_F(FileManagerTest, AFileThatCannotBeReadIsNotFound)
{
    ExpectResponse(Answer(byPath, Method::Get, "/api/filemgr/v2/userfiles/files/a"), 404,
                   ErrorBody("File read failure"));
}

TEST_F(FileManagerTest, AFileOutsideTheUserFilesIsNotRead)
{
    host.fileManager.files[QStringLiteral("/etc/a")] = "content";
    ExpectResponse(Answer(byPath, Method::Get, "/api/filemgr/v2/userfiles/etc/a"), 404,
                   ErrorBody("File read failure"));
    EXPECT_EQ(host.log.Calls(), Calls({"StorageModel.Directory(9)"}));
}

TEST_F(FileManagerTest, AUriWithoutAPathIsInvalidForEveryMethod)
{
    const DebugLogCapture debugLog;
    ExpectRefused(byPath, {}, "/api/filemgr/v2/userfiles", 404, ErrorBody("Invalid URI"));
    ExpectRefused(byPath, {}, "/api/filemgr/v1/userfiles/a", 404, ErrorBody("Invalid URI"));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(FileManagerTest, OtherMethodsOnAPathAreHandlerErrorsAfterTheLogLine)
{
    const DebugLogCapture debugLog;
    ExpectRefused(byPath, {Method::Get, Method::Delete}, "/api/filemgr/v2/userfiles/a.txt", 500,
                  ErrorBody(""), inHandler);
    EXPECT_EQ(debugLog.Lines(), Calls(4, "Filename  \"/a.txt\"  requested"));
}

} // namespace
