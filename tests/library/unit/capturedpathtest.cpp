#include "exchange.h"

// What a route takes from the URI as a path reaches the host byte for byte: it is neither decoded
// nor cleaned, whatever the host then makes of it.

namespace {

using Processor = RestServerRequestProcessor;

struct PathRoute
{
    const char *name;
    Handler handler;
    Method method;
    const char *prefix;
    Calls (*calls)(const std::string &path); // what the host is asked for the path
};

struct PathCase
{
    const char *name;
    const char *before; // what stands before the route's prefix
    const char *after;
    const char *path;
};

Calls MetadataCalls(const std::string &path)
{
    return {"AssetModel.GetFileMetadata(" + path + ")"};
}

Calls FileDataCalls(const std::string &path)
{
    return {"SyncFilesModel.GetFileData(" + path + ")"};
}

Calls ConfirmationCalls(const std::string &path)
{
    return {"SyncFilesModel.MarkFileSynced(" + path + ")"};
}

Calls DeletionCalls(const std::string &path)
{
    return {"FileManagerModel.DeleteUserFile(" + path + ")"};
}

Calls DownloadCalls(const std::string &path)
{
    if (path.front() != '/') {
        return {"StorageModel.Directory(9)"}; // outside the user files, which are in "/"
    }
    return {"StorageModel.Directory(9)",
            "StorageModel.IsStorageAvailable()",
            "StorageModel.BeginStorageAccess()",
            "FileManagerModel.ReadFileChunk(" + path + ", 0, 5000000)",
            "StorageModel.EndStorageAccess()",
            "FileManagerModel.ReadFileChunk(" + path + ", 5000000, 5000000)"};
}

class CapturedPathTest : public ProcessorTest,
                         public testing::WithParamInterface<std::tuple<PathRoute, PathCase>>
{
protected:
    CapturedPathTest()
    {
        host.storage.directories[9] = QStringLiteral("/");
        host.fileManager.pieces = {{"first", true, false}, {"last", true, true}};
    }

    // Sends the rest of a download too, to nobody.
    void Answer(const PathRoute &route, const QByteArray &uri)
    {
        const std::unique_ptr<RestServerResponseObject> response(
            ProcessorTest::Answer(route.handler, route.method, uri.constData()));
        if (response->DownloadRequired()) {
            response->Download();
            delete host.fakeRestServer.responseChunks.front();
        }
    }
};

TEST_P(CapturedPathTest, ReachesTheHostAsItStands)
{
    const auto &[route, path] = GetParam();
    Answer(route, QByteArray(path.before) + route.prefix + path.after);
    EXPECT_EQ(host.log.Calls(), route.calls(path.path));
}

INSTANTIATE_TEST_SUITE_P(
    Routes, CapturedPathTest,
    testing::Combine(
        testing::Values(PathRoute{"SyncMetadata", &Processor::ProcessSyncfilesMetadataRequest,
                                  Method::Get, "/api/syncfiles/v1/metadata", MetadataCalls},
                        PathRoute{"SyncFileGet", &Processor::ProcessSyncfilesUserFilesByPathRequest,
                                  Method::Get, "/api/syncfiles/v1/userfiles", FileDataCalls},
                        PathRoute{"SyncFilePut", &Processor::ProcessSyncfilesUserFilesByPathRequest,
                                  Method::Put, "/api/syncfiles/v1/userfiles", ConfirmationCalls},
                        PathRoute{"UserMetadata", &Processor::ProcessFilemgrMetadataRequest,
                                  Method::Get, "/api/filemgr/v2/metadata", MetadataCalls},
                        PathRoute{"UserFileGet", &Processor::ProcessFilemgrUserFilesByPathRequest,
                                  Method::Get, "/api/filemgr/v2/userfiles", DownloadCalls},
                        PathRoute{"UserFileDelete",
                                  &Processor::ProcessFilemgrUserFilesByPathRequest, Method::Delete,
                                  "/api/filemgr/v2/userfiles", DeletionCalls}),
        testing::Values(PathCase{"SlashAlone", "", "/", "/"},
                        PathCase{"DotDot", "", "/../x", "/../x"},
                        PathCase{"DotDotInside", "", "/a/../b/./c", "/a/../b/./c"},
                        PathCase{"DoubledSlashes", "", "//a//b/", "//a//b/"},
                        PathCase{"NoSlash", "", "abc", "abc"},
                        PathCase{"EscapeAndBlank", "", "/a%20b c", "/a%20b c"},
                        PathCase{"TwoQuestionMarks", "", "/a?b?c", "/a"},
                        PathCase{"LineFeed", "", "/a\nb", "/a\nb"},
                        PathCase{"PrefixFurtherBack", "/x", "/a", "/a"},
                        PathCase{"ByteAboveAscii", "", "/\xff", "/\xc3\xbf"})),
    [](const auto &testCase) {
        return std::string(std::get<0>(testCase.param).name) + "_" +
               std::get<1>(testCase.param).name;
    });

} // namespace
