#include "wiretest.h"

#include <QElapsedTimer>

// Every test here waits for the pipeline's own 10 s limits.

namespace {

const std::string internalTimeout =
    ErrorReply("500 Internal Server Error", "{\"errorString\":\"internal timeout\"}");
const std::string pendingBody = "[\n    \"pending\"\n]\n";
const std::string pendingAllBody = "[\n    \"all\"\n]\n";

class WaitTest : public WireTest
{
protected:
    // Drops what the test before left in the queues.
    WaitTest()
    {
        server.Stop();
        server.Start();
    }

    // A request that finds nobody on the main thread.
    std::string AskWithoutServing(const std::string &uri) { return Exchange(Request("GET", uri)); }

    // What arrives up to `end`, or up to the end of the connection.
    static std::string ReceiveUntil(RawClient *client, const std::string &end)
    {
        std::string received;
        std::string piece;
        do {
            piece = client->Receive(1 << 20);
            received += piece;
        } while (!piece.empty() &&
                 (received.size() < end.size() ||
                  received.compare(received.size() - end.size(), end.size(), end) != 0));
        return received;
    }

    // Takes the pipeline with an upload whose body does not end: one byte now and then keeps the
    // connection's own time-out away. The first piece is whole, so the host sees the upload begin.
    struct SlowUpload
    {
        RawClient client;
        explicit SlowUpload(const QString &target)
        {
            client.Send("POST /api/filemgr/v2/userfiles HTTP/1.1\r\nHost: device\r\n"
                        "Content-Length: 9000000\r\n\r\n" +
                        UploadBody(target, std::string(6000000, 'x')).substr(0, 5000000));
        }
    };
};

} // namespace

TEST_F(WaitTest, AnswerThatDoesNotComeIsATimeoutAndComesToTheNextRequest)
{
    EXPECT_EQ(WithoutDate(AskWithoutServing("/api/syncfiles/v1/pendingfiles")), internalTimeout);
    EXPECT_EQ(AskBody(Request("GET", "/api/syncfiles/v1/pendingfiles/all")), pendingBody);
    EXPECT_EQ(AskBody(Request("GET", "/info")), pendingAllBody);
}

TEST_F(WaitTest, StartDropsAnAnswerThatCameTooLate)
{
    EXPECT_EQ(WithoutDate(AskWithoutServing("/api/syncfiles/v1/pendingfiles")), internalTimeout);
    server.ServerUpdateTickHandler();
    server.Stop();
    server.Start();
    EXPECT_EQ(AskBody(Request("GET", "/api/syncfiles/v1/pendingfiles/all")), pendingAllBody);
}

TEST_F(WaitTest, StartDropsARequestThatWasNotServed)
{
    EXPECT_EQ(WithoutDate(AskWithoutServing("/info")), internalTimeout);
    host.script.assetInfo = [this] {
        host.calls << "asset";
        return QJsonObject();
    };
    server.Stop();
    server.Start();
    EXPECT_EQ(AskBody(Request("GET", "/api/syncfiles/v1/pendingfiles/all")), pendingAllBody);
    EXPECT_EQ(host.calls, QStringList());
}

TEST_F(WaitTest, OneTickServesEveryQueuedRequestInOrder)
{
    EXPECT_EQ(WithoutDate(AskWithoutServing("/api/syncfiles/v1/pendingfiles")), internalTimeout);
    EXPECT_EQ(WithoutDate(AskWithoutServing("/api/syncfiles/v1/pendingfiles/all")),
              internalTimeout);
    server.ServerUpdateTickHandler();
    EXPECT_EQ(AskBody(Request("GET", "/info")), pendingBody);
    EXPECT_EQ(AskBody(Request("GET", "/info")), pendingAllBody);
}

TEST_F(WaitTest, StopWaitsForTheRequestOnItsWay)
{
    host.script.assetInfo = [this] {
        server.Stop();
        return QJsonObject();
    };
    EXPECT_EQ(Ask(Request("GET", "/info")), ""); // a server that stops writes nothing any more
    EXPECT_FALSE(server.Running());
    EXPECT_FALSE(RawClient().Connected());
}

TEST_F(WaitTest, SecondRequestWaitsForTheFirstAndIsRefusedAfterTenSeconds)
{
    std::promise<void> begun;
    host.script.storageEntered = [&] { begun.set_value(); };
    const auto replies = WhileServing([&] {
        SlowUpload upload(host.Path("slow"));
        begun.get_future().wait();
        auto second = std::async(std::launch::async, [] {
            return Exchange(Request("GET", "/api/syncfiles/v1/pendingfiles"));
        });
        while (second.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
            upload.client.Send("x");
        }
        upload.client.Vanish();
        const std::string third = Exchange(Request("GET", "/api/syncfiles/v1/pendingfiles"));
        return std::make_pair(second.get(), third);
    });
    EXPECT_EQ(WithoutDate(replies.first),
              ErrorReply("408 Request Time-out", "Request timed out waiting on other requests"));
    EXPECT_EQ(BodyOf(replies.second), pendingBody);
    EXPECT_TRUE(
        log.Lines().contains("Failed to unlock mutex for URI  /api/syncfiles/v1/pendingfiles"));
}

TEST_F(WaitTest, BodyThatNobodyTakesIsNotReadOn)
{
    // This route takes only the first piece; the third finds the second still waiting.
    const std::string reply =
        AskBody(Request("POST", "/api/v1/techinfo", std::string(12000000, ' ')));
    EXPECT_EQ(reply, ErrorBody("Method not allowed"));
}

TEST_F(WaitTest, UploadThatIsNoFormHoldsTheDeviceForTenSeconds)
{
    QElapsedTimer held;
    held.start();
    const std::string reply =
        AskBody(Request("POST", "/api/filemgr/v2/userfiles", std::string(12000000, '-')));
    EXPECT_EQ(reply, ErrorBody("Upload failed"));
    EXPECT_GE(held.elapsed(), 10000);
}

TEST_F(WaitTest, DownloadThatIsNotTakenStopsAndItsRestIsNotSent)
{
    // More than the sockets hold, and than is taken of it in ten seconds.
    const QByteArray firstPiece(32000000, 'a');
    int reads = 0;
    host.script.readFileChunk = [&](QString, bool *ok, qint64, qint64, bool *lastChunk) {
        const int number = reads++;
        *ok = true;
        *lastChunk = number == 4;
        return number == 0 ? firstPiece : QByteArray::number(number);
    };
    const std::string reply = WhileServing([&] {
        RawClient client;
        client.Send(Request("GET", "/api/filemgr/v2/userfiles" + host.Path("f").toStdString()));
        std::string received = client.Receive(1000);
        // The main thread turns again only after it has given up on this client.
        std::promise<void> turned;
        QMetaObject::invokeMethod(
            &server, [&] { turned.set_value(); }, Qt::QueuedConnection);
        const auto turn = turned.get_future();
        while (turn.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
            received += client.Receive(100000); // keeps the connection's own time-out away
        }
        received += ReceiveUntil(&client, "\r\n1\r\n1\r\n");
        // The worker waits for the last piece without limit.
        server.ResponseChunkQueue()->push_back(new DataChunk("last", true));
        return received + client.ReceiveAll();
    });
    EXPECT_EQ(reads, 3) << "one is sent, one is queued, one is given up";
    EXPECT_TRUE(DecodeChunks(BodyOf(reply)) == firstPiece.toStdString() + "1last");
}
