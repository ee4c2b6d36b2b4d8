#include "handoff.h"

#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "debuglogcapture.h"

extern "C" {

void *__real_malloc(size_t size);        // NOLINT(bugprone-reserved-identifier)
extern void *__wrap_malloc(size_t size); // NOLINT(bugprone-reserved-identifier)
static std::atomic<bool> readBuffersRunOut{false};
static std::atomic<int> readBuffersAllocated{0};
static std::atomic<char *> newestReadBuffer{nullptr};

// The linker puts this in front of the malloc of every object in this program.
void *__wrap_malloc(size_t size)
{
    if (size != 5000000) {
        return __real_malloc(size);
    }
    ++readBuffersAllocated;
    newestReadBuffer = readBuffersRunOut ? nullptr : static_cast<char *>(__real_malloc(size));
    return newestReadBuffer;
}

// And this in front of its mmap, which has another name where a long is too short for offsets.
#if __SIZEOF_POINTER__ == 4
#define REAL_MMAP __real_mmap64
#define WRAP_MMAP __wrap_mmap64
#else
#define REAL_MMAP __real_mmap
#define WRAP_MMAP __wrap_mmap
#endif
void *REAL_MMAP(void *address, size_t size, int protection, int flags, int file, off_t offset);
extern void *WRAP_MMAP(void *address, size_t size, int protection, int flags, int file,
                       off_t offset);
static std::atomic<size_t> addressSpaceLeft{SIZE_MAX};

void *WRAP_MMAP(void *address, size_t size, int protection, int flags, int file, off_t offset)
{
    return size <= addressSpaceLeft ? REAL_MMAP(address, size, protection, flags, file, offset)
                                    : MAP_FAILED;
}

} // extern "C"

namespace {

constexpr char emptyObject[] = "{\n}\n";
constexpr char json[] = "application/json; charset=utf-8";
constexpr char binary[] = "application/octet-stream; charset=utf-8";

// Replies

TEST_F(HandOffTest, AWholeBodyIsSentWithItsTypeAndLength)
{
    mg_connection connection("GET", "/test");
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(connection.replies, Calls({std::string("ok ") + json + " 4", "write 4"}));
    EXPECT_EQ(connection.sent, QByteArray(emptyObject));
}

TEST_F(HandOffTest, ABinaryBodyIsSentAsItIs)
{
    host.syncFiles.fileData = QByteArray("a\0b", 3);
    mg_connection connection("GET", "/api/syncfiles/v1/userfiles/a");
    EXPECT_EQ(Exchange(&connection, Uri::SyncfilesUserFilesByPath), 200);
    EXPECT_EQ(connection.replies, Calls({std::string("ok ") + binary + " 3", "write 3"}));
    EXPECT_EQ(connection.sent, QByteArray("a\0b", 3));
}

TEST_F(HandOffTest, AnErrorWithABodyIsSentAsSuccessAndItsCodeReturned)
{
    host.syncFiles.fileFound = false;
    mg_connection connection("GET", "/api/syncfiles/v1/userfiles/a");
    EXPECT_EQ(Exchange(&connection, Uri::SyncfilesUserFilesByPath), 404);
    EXPECT_EQ(connection.replies.at(0), std::string("ok ") + json + " 41");
    EXPECT_EQ(connection.sent, QByteArray("{\n    \"errorMessage\": \"File not found\"\n}\n"));
}

TEST_F(HandOffTest, AnEmptyBodyIsSentAsAnErrorWithTheCode)
{
    mg_connection connection("GET", "/api/syncfiles/v1/userfiles/a");
    EXPECT_EQ(Exchange(&connection, Uri::SyncfilesUserFilesByPath), 200);
    EXPECT_EQ(connection.replies, Calls({"error 200 %s | "}));
}

TEST_F(HandOffTest, ADownloadIsSentInChunksUpToTheLast)
{
    host.storage.directories[9] = QStringLiteral("/f");
    const QByteArray content = Pattern(12000000);
    host.fileManager.files[QStringLiteral("/f/a")] = content;
    mg_connection connection("GET", "/api/filemgr/v2/userfiles/f/a");
    EXPECT_EQ(Exchange(&connection, Uri::FilemgrUserFilesByPath), 200);
    EXPECT_EQ(connection.replies, Calls({std::string("ok ") + binary + " -1", "chunk 5000000",
                                         "chunk 5000000", "chunk 2000000", "chunk 0"}));
    EXPECT_TRUE(connection.sent == content);
    EXPECT_EQ(model.ResponseChunkQueue()->size(), 0);
}

TEST_F(HandOffTest, AFileOfOnePieceIsAWholeBody)
{
    host.storage.directories[9] = QStringLiteral("/f");
    host.fileManager.files[QStringLiteral("/f/a")] = Pattern(5000000);
    mg_connection connection("GET", "/api/filemgr/v2/userfiles/f/a");
    EXPECT_EQ(Exchange(&connection, Uri::FilemgrUserFilesByPath), 200);
    EXPECT_EQ(connection.replies,
              Calls({std::string("ok ") + binary + " 5000000", "write 5000000"}));
}

TEST_F(HandOffTest, TheTypeOfADownloadFollowsFromItsFirstPiece)
{
    host.storage.directories[9] = QStringLiteral("/f");
    host.fileManager.pieces = {{"{}", true, false}, {"rest", true, true}};
    mg_connection connection("GET", "/api/filemgr/v2/userfiles/f/a");
    EXPECT_EQ(Exchange(&connection, Uri::FilemgrUserFilesByPath), 200);
    EXPECT_EQ(connection.replies,
              Calls({std::string("ok ") + json + " -1", "chunk 2", "chunk 4", "chunk 0"}));
    EXPECT_EQ(connection.sent, QByteArray("{}rest"));
}

TEST_F(HandOffTest, AFirstPieceThatIsEmptyIsAnsweredWhileItsContextStillRuns)
{
    host.storage.directories[9] = QStringLiteral("/f");
    host.fileManager.pieces = {{"", true, false}, {"late", true, false}, {"last", true, true}};
    mg_connection connection("GET", "/api/filemgr/v2/userfiles/f/a");
    auto result = Send(&connection, Uri::FilemgrUserFilesByPath);
    int reads = 0;
    int code = 0;
    host.fileManager.onRead = [&] {
        if (++reads == 2) {
            code = result.get(); // the response is deleted by now
        } else if (reads == 3) {
            RestServerModel::ClearChunkQueues();
        }
    };
    while (reads < 3) {
        model.ServerUpdateTickHandler();
    }
    EXPECT_EQ(code, 200);
    EXPECT_EQ(connection.replies, Calls({"error 200 %s | "}));
    EXPECT_EQ(model.ResponseChunkQueue()->size(), 1);
    delete model.ResponseChunkQueue()->front();
}

// Requests

// The first chunk is seen in the log line of the route that is served by the dispatcher itself.
TEST_F(HandOffTest, TheFirstChunkTravelsWithTheRequestAndItsUri)
{
    const DebugLogCapture debugLog;
    mg_connection connection("POST", "/some/uri", "the body");
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(debugLog.Lines(),
              Calls({"Got test URI:  \"/some/uri\"", "Got test body:  the body"}));
}

TEST_F(HandOffTest, ALargeUploadReachesItsFile)
{
    const QTemporaryDir directory;
    host.storage.directories[9] = directory.path();
    const QString target = directory.filePath(QStringLiteral("a.bin"));
    const QByteArray content = Pattern(12000000);
    mg_connection connection("POST", "/api/filemgr/v2/userfiles",
                             "--b\r\n\r\n{\"fileUri\": \"" + target.toUtf8() +
                                 "\"}\r\n--b\r\n\r\n" + content + "\r\n--b--\r\n");
    EXPECT_EQ(Exchange(&connection, Uri::FilemgrUserFiles), 200);
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll() == content);
}

TEST_F(HandOffTest, AConnectionThatBreaksAtOnceIsAnEmptyBody)
{
    const DebugLogCapture debugLog;
    mg_connection connection("POST", "/test", "lost");
    connection.failAtRead = 1;
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(debugLog.Lines().back(), "Got test body:  ");
    EXPECT_EQ(connection.reads, 1);
}

TEST_F(HandOffTest, AConnectionThatBreaksLaterEndsTheBodyWithAnEmptyChunk)
{
    mg_connection connection("POST", "/test", Pattern(12000000));
    connection.failAtRead = 2;
    auto result = Send(&connection, Uri::Test);
    const std::unique_ptr<DataChunk> chunk(model.RequestChunkQueue()->front());
    model.RequestChunkQueue()->pop_front();
    EXPECT_TRUE(chunk->Data().isEmpty());
    EXPECT_TRUE(chunk->LastChunk());
    EXPECT_EQ(TickUntil(std::move(result)), 200);
    EXPECT_EQ(connection.reads, 2);
}

TEST_F(HandOffTest, ABodyIsReadAlsoWhenThereIsNoMemoryForItsBuffer)
{
    mg_connection connection("POST", "/test", Pattern(5000001));
    readBuffersRunOut = true;
    auto result = Send(&connection, Uri::Test);
    const std::unique_ptr<DataChunk> chunk(model.RequestChunkQueue()->front());
    model.RequestChunkQueue()->pop_front();
    EXPECT_TRUE(chunk->Data() == connection.body.mid(5000000));
    EXPECT_EQ(TickUntil(std::move(result)), 200);
    readBuffersRunOut = false;
}

TEST_F(HandOffTest, ReadBuffersLeaveAddressSpaceToOthers)
{
    const std::pair<size_t, int> buffersWhenThisMuchIsLeft[] = {
        {256 * 1024 * 1024 + 5000000, 2}, {256 * 1024 * 1024 + 5000000 - 1, 0}, {0, 0}};
    for (const auto &[left, buffers] : buffersWhenThisMuchIsLeft) {
        mg_connection connection("POST", "/test", Pattern(5000001));
        addressSpaceLeft = left;
        readBuffersAllocated = 0;
        auto result = Send(&connection, Uri::Test);
        const std::unique_ptr<DataChunk> chunk(model.RequestChunkQueue()->front());
        model.RequestChunkQueue()->pop_front();
        EXPECT_TRUE(chunk->Data() == connection.body.mid(5000000));
        EXPECT_EQ(TickUntil(std::move(result)), 200);
        addressSpaceLeft = SIZE_MAX;
        EXPECT_EQ(readBuffersAllocated, buffers) << left;
    }
}

// The pages that a buffer shares with what the allocator keeps around it cannot be given back.
TEST_F(HandOffTest, OfAReadBufferOnlyPagesThatItSharesStayInMemory)
{
    mg_connection connection("POST", "/test", Pattern(4999999));
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(newestReadBuffer.load());
    const auto end = begin + malloc_usable_size(newestReadBuffer);
    const auto firstPage = begin / pageSize * pageSize;
    std::vector<unsigned char> resident((end - firstPage + pageSize - 1) / pageSize);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): page arithmetic
    ASSERT_EQ(mincore(reinterpret_cast<void *>(firstPage), end - firstPage, resident.data()), 0);
    const auto shared = (begin % pageSize != 0 ? 1 : 0) + (end % pageSize != 0 ? 1 : 0);
    EXPECT_EQ(std::count(resident.begin(), resident.end(), 1), shared);
}

// Queues

TEST_F(HandOffTest, ClearChunkQueuesEmptiesBothAndDeletesNothing)
{
    DataChunk request("a", true);
    DataChunk response("b", true);
    model.RequestChunkQueue()->push_back(&request);
    model.RequestChunkQueue()->push_back(&request);
    model.ResponseChunkQueue()->push_back(&response);
    RestServerModel::ClearChunkQueues();
    EXPECT_EQ(model.RequestChunkQueue()->size(), 0);
    EXPECT_EQ(model.ResponseChunkQueue()->size(), 0);
    EXPECT_EQ(request.Data() + response.Data(), QByteArray("ab"));
}

TEST_F(HandOffTest, ARequestClearsWhatTheOneBeforeItLeft)
{
    DataChunk leftover("a", true);
    model.RequestChunkQueue()->push_back(&leftover);
    model.ResponseChunkQueue()->push_back(&leftover);
    mg_connection connection("GET", "/test");
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(model.RequestChunkQueue()->size(), 0);
    EXPECT_EQ(model.ResponseChunkQueue()->size(), 0);
}

TEST_F(HandOffTest, ATickWithoutRequestsDoesNothing)
{
    model.ServerUpdateTickHandler();
    EXPECT_EQ(host.log.Calls(), Calls());
}

// Time-out replies

TEST_F(HandOffTest, TheMutexTimeOutIsLoggedAndAnswered)
{
    const DebugLogCapture debugLog;
    mg_connection connection("GET", "/some/uri");
    EXPECT_EQ(RestServerModel::ReturnHttpMutexTimeout(&connection), 408);
    EXPECT_EQ(connection.replies, Calls({"error 408 Request timed out waiting on other requests | "
                                         "Request timed out waiting on other requests"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Failed to unlock mutex for URI  /some/uri"}));
    EXPECT_EQ(connection.reads, 0);
}

TEST_F(HandOffTest, TheQueueTimeOutIsLoggedAndAnswered)
{
    const DebugLogCapture debugLog;
    mg_connection connection("GET", "/some/uri");
    EXPECT_EQ(RestServerModel::ReturnHttpQueueTimeout(&connection), 408);
    EXPECT_EQ(connection.replies,
              Calls({"error 408 Request timed out waiting on outstanding operations | "
                     "Request timed out waiting on outstanding operations"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Failed to get queue item URI  /some/uri"}));
}

} // namespace
