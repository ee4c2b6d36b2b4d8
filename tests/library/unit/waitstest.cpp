#include <QTemporaryDir>
#include <stdexcept>
#include <thread>

#include "debuglogcapture.h"
#include "handoff.h"
#include "leaksbydesign.h"
#include "openfiles.h"
#include "restserverfiledownloadcontext.h"
#include "restserverfileprocessor.h"

// The waits of ten seconds that run out.

namespace {

constexpr auto wait = std::chrono::seconds(10);

class WaitsTest : public HandOffTest
{
protected:
    void SetUp() override { start = std::chrono::steady_clock::now(); }

    std::chrono::steady_clock::duration Elapsed() const
    {
        return std::chrono::steady_clock::now() - start;
    }

    /** A request that nobody serves in time. */
    static void TimeOut(Uri uri)
    {
        const DebugLogCapture debugLog;
        mg_connection connection("GET", "/late");
        std::thread([&] {
            const LeaksByDesign dropped;
            EXPECT_EQ(RestServerModel::HandleRequestAndSendResponse(&connection, uri), 500);
        }).join();
        EXPECT_EQ(connection.replies,
                  Calls({"error 500 %s | {\"errorString\":\"internal timeout\"}"}));
        EXPECT_EQ(debugLog.Lines(), Calls());
    }

    std::chrono::steady_clock::time_point start;
};

TEST_F(WaitsTest, ALateAnswerGoesToTheNextRequestAndOneTickServesAllThatAreQueued)
{
    TimeOut(Uri::SyncfilesPendingFiles);
    EXPECT_GT(Elapsed(), wait);
    host.syncFiles.pendingFiles = QJsonArray{"late"};
    mg_connection connection("GET", "/next", QByteArray(5000000, 'x'));
    auto result = Send(&connection, Uri::SyncfilesPendingFilesAll);
    delete model.RequestChunkQueue()->front(); // when it is there, the request is queued
    {
        const LeaksByDesign dropped;
        model.ServerUpdateTickHandler();
    }
    EXPECT_EQ(host.log.Calls(),
              Calls({"SyncFilesModel.GetPendingFiles()", "SyncFilesModel.GetAllPendingFiles()"}));
    EXPECT_EQ(result.get(), 200);
    EXPECT_EQ(connection.sent, QByteArray("[\n    \"late\"\n]\n"));
}

TEST_F(WaitsTest, AnExceptionOfTheHostReachesTheCallerOfTheTickAndLeavesItsRequestWithoutAnswer)
{
    TimeOut(Uri::WorkflowList);
    host.jobs.onJobs = [] { throw std::runtime_error("host"); };
    {
        const LeaksByDesign dropped;
        EXPECT_THROW(model.ServerUpdateTickHandler(), std::runtime_error);
    }
    mg_connection connection("GET", "/next");
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(connection.sent, QByteArray("{\n}\n"));
}

TEST_F(WaitsTest, StartDropsWhatWasLeftInTheQueues)
{
    TimeOut(Uri::SyncfilesPendingFiles);
    model.Start();
    model.ServerUpdateTickHandler();
    EXPECT_EQ(host.log.Calls(), Calls()) << "a request was kept";
    model.Stop();
    TimeOut(Uri::SyncfilesPendingFiles);
    {
        const LeaksByDesign dropped;
        model.ServerUpdateTickHandler();
    }
    model.Start();
    mg_connection connection("GET", "/info");
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_EQ(connection.sent, QByteArray("{\n}\n")) << "a response was kept";
    model.Stop();
}

TEST_F(WaitsTest, ARequestThatCannotEnterIsAnsweredWithoutBeingRead)
{
    std::promise<void> inside;
    std::promise<void> release;
    mg_connection first("GET", "/first");
    first.onRead = [&] {
        inside.set_value();
        release.get_future().wait();
    };
    auto firstResult = Send(&first, Uri::Test);
    inside.get_future().wait();
    const DebugLogCapture debugLog;
    mg_connection second("POST", "/second", "body");
    EXPECT_EQ(Send(&second, Uri::Test).get(), 408);
    EXPECT_GE(Elapsed(), wait);
    EXPECT_EQ(second.replies, Calls({"error 408 Request timed out waiting on other requests | "
                                     "Request timed out waiting on other requests"}));
    EXPECT_EQ(second.reads, 0);
    EXPECT_EQ(debugLog.Lines(), Calls({"Failed to unlock mutex for URI  /second"}));
    release.set_value();
    EXPECT_EQ(TickUntil(std::move(firstResult)), 200);
}

TEST_F(WaitsTest, ABodyThatNobodyTakesIsNotReadOn)
{
    const DebugLogCapture debugLog;
    mg_connection connection("POST", "/test", QByteArray(20000000, '\0'));
    EXPECT_EQ(Exchange(&connection, Uri::Test), 200);
    EXPECT_GT(Elapsed(), wait);
    EXPECT_EQ(connection.reads, 3) << "one chunk with the request, one queued, one dropped";
    EXPECT_EQ(debugLog.Lines(), Calls({"Got test URI:  \"/test\"", "Got test body:  "}));
    ASSERT_EQ(model.RequestChunkQueue()->size(), 1);
    delete model.RequestChunkQueue()->front();
}

TEST_F(WaitsTest, ADownloadThatNobodyTakesIsGivenUpAndItsPieceDeleted)
{
    DataChunk untaken("untaken", false);
    model.ResponseChunkQueue()->push_back(&untaken);
    const QByteArray piece(100, 'x');
    host.fileManager.pieces = {{piece, true, false}, {"never read", true, true}};
    RestServerFileDownloadContext context(QStringLiteral("/f"), 5000000);
    context.Construct(&host);
    context.SendExtraDownloadContent();
    EXPECT_GT(Elapsed(), wait);
    EXPECT_TRUE(piece.isDetached()) << "the piece was kept";
    EXPECT_EQ(host.fileManager.pieces.size(), 1U) << "a further piece was read";
    EXPECT_EQ(model.ResponseChunkQueue()->size(), 1);
}

/** The upload side, waiting for a chunk that nobody sends. */
class StoppedUploadTest : public WaitsTest
{
protected:
    StoppedUploadTest()
    {
        host.storage.directories[9] = directory.path();
        processor.Construct(&host);
    }

    QString Target() const { return directory.filePath(QStringLiteral("a")); }

    /** The body of an upload up to the last byte of the file. */
    static QByteArray Body(const QString &target, const QByteArray &content)
    {
        return "--b\r\n\r\n{\"fileUri\": \"" + target.toUtf8() + "\"}\r\n--b\r\n\r\n" + content;
    }

    bool Upload(const QByteArray &bytes, bool lastChunk)
    {
        DataChunk chunk(bytes, lastChunk);
        return processor.ProcessFileUploadRequest(&chunk);
    }

    /** That the wait ran out, once, inside the bracket. */
    void ExpectReported()
    {
        EXPECT_GT(Elapsed(), wait);
        ASSERT_EQ(host.errors.reports.size(), 1U);
        const FakeErrorReporter::Report &report = host.errors.reports[0];
        EXPECT_EQ(report.message, QStringLiteral("Failed to get expected data chunk"));
        EXPECT_EQ(report.sourceFile, QStringLiteral("restserverfileprocessor"));
        EXPECT_EQ(report.line, 139);
        EXPECT_EQ(host.log.Calls().back(), "StorageModel.EndStorageAccess()");
    }

    QByteArray Content() const
    {
        QFile file(Target());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    const QTemporaryDir directory;
    RestServerFileProcessor processor;
};

TEST_F(StoppedUploadTest, IsReportedAndLeavesItsFileToTheNextUploadToClose)
{
    EXPECT_FALSE(Upload(Body(Target(), "abc"), false));
    ExpectReported();
    EXPECT_EQ(DescriptorsOf(Target()).size(), 1U) << "the file was closed";
    EXPECT_TRUE(Upload(Body(directory.filePath(QStringLiteral("b")), "next") + "\r\n--b--", true));
    EXPECT_EQ(DescriptorsOf(Target()).size(), 0U);
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(StoppedUploadTest, IsReportedAndSucceedsWhenTheFileHadCome)
{
    EXPECT_TRUE(Upload(Body(Target(), "abc") + "\r\n--b", false));
    ExpectReported();
    EXPECT_EQ(DescriptorsOf(Target()).size(), 0U);
    EXPECT_EQ(Content(), QByteArray("abc"));
}

} // namespace
