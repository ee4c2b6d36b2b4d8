#include <gtest/gtest.h>
#include <restserverguard.h>
#include <thread>

#include "fakerestserver.h"

namespace {

constexpr int limitMs = 400; // so long that a busy machine does not pass it by itself
constexpr int tooLongMs = 500;

class RestServerGuardTest : public testing::Test
{
protected:
    void SetUp() override
    {
        guard.Start();
        RunFor(20);
    }

    int Restarts() const { return server.starts - 1; }

    FakeRestServer server;
    RestServerGuard guard{&server, limitMs};
};

TEST_F(RestServerGuardTest, PassesStartStopAndRunningOn)
{
    EXPECT_EQ(server.starts, 1);
    EXPECT_TRUE(guard.Running());
    guard.Stop();
    EXPECT_EQ(server.stops, 1);
    EXPECT_FALSE(guard.Running());
}

TEST_F(RestServerGuardTest, HandsOutTheQueuesOfTheServer)
{
    EXPECT_EQ(guard.RequestChunkQueue(), server.RequestChunkQueue());
    EXPECT_EQ(guard.ResponseChunkQueue(), server.ResponseChunkQueue());
    EXPECT_EQ(guard.Server(), &server);
}

TEST_F(RestServerGuardTest, StopOfAStoppedServerDoesNothing)
{
    guard.Stop();
    guard.Stop();
    EXPECT_EQ(server.stops, 1);
}

TEST_F(RestServerGuardTest, ShortTurnsDoNotRestart)
{
    RunFor(2 * limitMs);
    EXPECT_EQ(Restarts(), 0);
}

TEST_F(RestServerGuardTest, ATurnThatIsTooLongRestartsOnce)
{
    RunInTurn([] { QThread::msleep(tooLongMs); });
    RunFor(2 * limitMs);
    EXPECT_EQ(Restarts(), 1);
    EXPECT_EQ(server.stops, 1);
    EXPECT_TRUE(guard.Running());
}

TEST_F(RestServerGuardTest, TheRestartComesBeforeAnyOtherEvent)
{
    int restartsSeen = -1;
    RunInTurn([&] {
        QThread::msleep(tooLongMs);
        QTimer::singleShot(0, [&] { restartsSeen = Restarts(); });
    });
    ASSERT_TRUE(RunUntil([&] { return restartsSeen >= 0; }));
    EXPECT_EQ(restartsSeen, 1);
}

TEST_F(RestServerGuardTest, AStopThatTakesLongIsNoReasonToRestartAgain)
{
    server.onStop = [] { QThread::msleep(tooLongMs); };
    RunInTurn([] { QThread::msleep(tooLongMs); });
    RunFor(2 * limitMs);
    EXPECT_EQ(Restarts(), 1);
}

TEST_F(RestServerGuardTest, AServerThatIsNotRunningIsNotRestarted)
{
    guard.Stop();
    RunInTurn([] { QThread::msleep(tooLongMs); });
    RunFor(20);
    EXPECT_EQ(Restarts(), 0);
    EXPECT_FALSE(guard.Running());
}

TEST_F(RestServerGuardTest, ALongUploadDoesNotRestart)
{
    RunInTurn([this] {
        for (int piece = 0; piece < 6; ++piece) {
            guard.RequestChunkQueue();
            QThread::msleep(limitMs / 4);
        }
    });
    RunFor(20);
    EXPECT_EQ(Restarts(), 0);
}

TEST_F(RestServerGuardTest, AnUploadWhoseAnswerComesLongAfterItsLastPieceRestarts)
{
    RunInTurn([this] {
        guard.RequestChunkQueue();
        QThread::msleep(tooLongMs);
    });
    RunFor(20);
    EXPECT_EQ(Restarts(), 1);
}

TEST_F(RestServerGuardTest, ALongDownloadDoesNotRestart)
{
    RunInTurn([this] {
        guard.ResponseChunkQueue();
        QThread::msleep(tooLongMs);
    });
    RunFor(20);
    EXPECT_EQ(Restarts(), 0);
}

TEST_F(RestServerGuardTest, ADownloadThatBeganTooLateRestarts)
{
    RunInTurn([this] {
        QThread::msleep(tooLongMs);
        EXPECT_TRUE(guard.AnswerWouldBeLate());
        guard.NoteAnswer();
    });
    RunFor(20);
    EXPECT_EQ(Restarts(), 1);
}

TEST_F(RestServerGuardTest, ALongTurnWhileADownloadOccupiesTheServerDoesNotRestart)
{
    guard.SetStreaming(true);
    RunInTurn([] { QThread::msleep(tooLongMs); });
    RunFor(20);
    EXPECT_EQ(Restarts(), 0);
}

TEST_F(RestServerGuardTest, AStartThatFailsInARestartIsTriedAgain)
{
    server.failingStarts = 1;
    RunInTurn([] { QThread::msleep(tooLongMs); });
    EXPECT_TRUE(RunUntil([this] { return server.starts == 3; }));
    EXPECT_TRUE(guard.Running());
}

TEST_F(RestServerGuardTest, StopEndsTheAttemptsToStartAgain)
{
    server.failingStarts = 1;
    RunInTurn([] { QThread::msleep(tooLongMs); });
    ASSERT_TRUE(RunUntil([this] { return server.starts == 2; }));
    guard.Stop();
    RunFor(1200);
    EXPECT_EQ(server.starts, 2);
    EXPECT_FALSE(guard.Running());
}

TEST_F(RestServerGuardTest, StopReleasesAThreadThatWaitsForAPiece)
{
    int pieces = 0;
    std::thread client([&] {
        for (bool last = false; !last; ++pieces) {
            const std::unique_ptr<DataChunk> chunk(server.ResponseChunkQueue()->front());
            server.ResponseChunkQueue()->pop_front();
            last = chunk->LastChunk();
        }
    });
    server.onStop = [&client] { client.join(); };
    guard.Stop();
    EXPECT_EQ(pieces, 1);
    EXPECT_EQ(server.ResponseChunkQueue()->size(), 0);
}

TEST_F(RestServerGuardTest, TellsThatTheServerWasStopped)
{
    int stopped = 0;
    QObject::connect(&guard, &RestServerGuard::Stopped, [&stopped] { ++stopped; });
    guard.Stop();
    EXPECT_EQ(stopped, 1);
}

} // namespace
