#include <QElapsedTimer>
#include <QThread>

#include "guardedserver.h"

namespace {

constexpr int fileSize = 40 * 1000 * 1000; // more than the kernel keeps for a connection

/** Clients that read a download in their own way. */
class SlowClientsTest : public GuardedServerTest
{
protected:
    static std::string Download(const QString &path)
    {
        return Request("GET", "/api/filemgr/v2/userfiles" + path.toStdString());
    }

    // Asks for a file of 40 MB and reads nothing of it for so long.
    void StallInDownload(RawClient *client, unsigned long seconds)
    {
        client->Send(Download(MakeFile(QStringLiteral("large.bin"), fileSize)));
        QThread::sleep(seconds);
    }

    bool IsWholeFile(const std::string &answer) const
    {
        return DecodeChunks(BodyOf(answer)) == fileBytes;
    }
};

// Longer than the library waits for each piece, never so long that nothing at all is taken for the
// embedded server's own 10 s.
TEST_F(SlowClientsTest, AClientThatReads300KilobytesPerSecondGetsTheWholeFile)
{
    const QString path = MakeFile(QStringLiteral("slow.bin"), 20000000);
    bool sending = false;
    RunClient([&] {
        RawClient client;
        ASSERT_TRUE(client.Send(Download(path)));
        std::string answer;
        QElapsedTimer elapsed;
        elapsed.start();
        while (!elapsed.hasExpired(16000)) {
            answer += client.Receive(30000);
            QThread::msleep(100);
        }
        QMetaObject::invokeMethod(
            &downloadGuard, [&] { sending = downloadGuard.Sending(); },
            Qt::BlockingQueuedConnection);
        answer += client.ReceiveAll();
        ExpectNextAnswerSoon();
        EXPECT_TRUE(IsWholeFile(answer));
    });
    EXPECT_TRUE(sending) << "the library should have given up";
}

TEST_F(SlowClientsTest, AfterAClientThatDidNotReadFor15SecondsTheNextIsServed)
{
    RunClient([this] {
        RawClient client;
        StallInDownload(&client, 15);
        const std::string answer = client.ReceiveAll();
        ExpectNextAnswerSoon();
        EXPECT_EQ(DecodeChunks(BodyOf(answer)), "broken") << "bytes were dropped, so it must show";
    });
}

TEST_F(SlowClientsTest, AfterAClientThatWasKilledInAStallTheNextIsServed)
{
    RunClient([this] {
        RawClient client;
        StallInDownload(&client, 11);
        client.Vanish();
        ExpectNextAnswerSoon();
    });
}

TEST_F(SlowClientsTest, WithoutTheGuardTheNextIsTurnedAwayWhenTheClientIsLongGone)
{
    host.fileManager = &host;
    RunClient([this] {
        RawClient client;
        StallInDownload(&client, 11);
        client.Vanish();
        const std::string answer = Exchange(Request("GET", "/info"));
        EXPECT_NE(answer.find(" 408 "), std::string::npos) << answer;
    });
}

TEST_F(SlowClientsTest, TheServerStopsWhileAClientStallsAndTheClientSeesABrokenTransfer)
{
    RawClient client;
    RunClient([&] { StallInDownload(&client, 11); });
    EXPECT_TRUE(downloadGuard.Sending());
    serverGuard.Stop();
    EXPECT_FALSE(serverGuard.Running());
    EXPECT_EQ(DecodeChunks(BodyOf(client.ReceiveAll())), "broken");
    serverGuard.Start();
    RunClient([] { ExpectNextAnswerSoon(); });
}

} // namespace
