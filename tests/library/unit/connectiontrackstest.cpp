#include "connectiontracks.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

using Numbers = std::vector<int>;

// A server of two HTTP threads, whose clock the test advances. A client is known by its number.
class ConnectionTracksTest : public testing::Test
{
protected:
    // A client whose request an HTTP thread serves.
    void Serve(int client, WatchedConnection::Phase phase = WatchedConnection::WaitingForClient,
               WatchedConnection::Memory memory = WatchedConnection::None)
    {
        Accept(client);
        EnterOnly(client);
        Set(client, phase);
        connections[client].memory = memory;
    }

    // One whose socket is there, with no thread that told of it.
    void Accept(int client)
    {
        sockets[client].socket.identity = static_cast<ino_t>(client);
        sockets[client].socket.peer = Peer(client);
        sockets[client].moved = 0;
    }

    // One whose thread told of it, after the sockets were listed.
    void EnterOnly(int client)
    {
        connections[client].peer = Peer(client);
        connections[client].since = now;
    }

    void Set(int client, WatchedConnection::Phase phase)
    {
        connections[client].phase = phase;
        connections[client].since = now;
    }

    void Look()
    {
        std::vector<WatchedSocket> seen;
        for (const auto &socket : sockets) {
            seen.push_back(socket.second);
        }
        std::vector<WatchedConnection> served;
        for (const auto &connection : connections) {
            served.push_back(connection.second);
        }
        tracks.Follow(seen, served, now);
    }

    // Two looks in each second, before each of which the client moves half of what it is to.
    void LookFor(seconds duration, int client = 0, qint64 bytesPerSecond = 0)
    {
        for (const auto end = now + duration; now < end;) {
            now += milliseconds(500);
            if (client != 0) {
                sockets[client].moved += bytesPerSecond / 2;
            }
            Look();
        }
    }

    static QByteArray Peer(int client) { return PeerName("192.0.2.1", client); }

    static Numbers NumbersOf(const QVector<ProcessSocket> &found)
    {
        Numbers clients;
        for (const ProcessSocket &socket : found) {
            clients.push_back(static_cast<int>(socket.identity));
        }
        return clients;
    }

    Numbers ThatHoldUp() const { return NumbersOf(tracks.ThatHoldUp()); }
    Numbers Slowest() const { return NumbersOf(tracks.SlowestOfTooMany()); }
    Numbers SlowestThatHolds(WatchedConnection::Memory memory) const
    {
        return NumbersOf(tracks.SlowestThatHolds(memory));
    }

    ConnectionTracks tracks{2};
    std::map<int, WatchedSocket> sockets;
    std::map<int, WatchedConnection> connections;
    WatchedConnection::Clock::time_point now{seconds(1000)};
};

} // namespace

// --- Those that hold up

TEST_F(ConnectionTracksTest, OneThatMovesNothingMayTakeTenSeconds)
{
    Serve(1);
    Look();
    LookFor(seconds(9));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    LookFor(seconds(1));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, OneThatMovesTenThousandBytesInTenSecondsGoesOn)
{
    Serve(1);
    Look();
    LookFor(seconds(60), 1, 1000);
    EXPECT_EQ(ThatHoldUp(), Numbers{});
}

TEST_F(ConnectionTracksTest, OneThatMovesTwoBytesLessHoldsUp)
{
    Serve(1);
    Look();
    LookFor(seconds(9), 1, 1000);
    LookFor(seconds(1), 1, 998);
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, WhatWasMovedBeforeTheLastTenSecondsDoesNotCount)
{
    Serve(1);
    Look();
    LookFor(seconds(1), 1, 1000000);
    LookFor(seconds(10));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, WhileTheServerWorksItsClientNeedNotMove)
{
    Serve(1, WatchedConnection::Working);
    Look();
    LookFor(seconds(60));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
}

TEST_F(ConnectionTracksTest, TheServersWorkBeginsTheTenSecondsAnew)
{
    Serve(1);
    Look();
    LookFor(seconds(9));
    Set(1, WatchedConnection::Working);
    LookFor(seconds(1));
    Set(1, WatchedConnection::WaitingForClient);
    LookFor(seconds(9));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    LookFor(seconds(1));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, AHeadThatDoesNotComeHoldsUp)
{
    Accept(1);
    Look();
    LookFor(seconds(10));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, AHeadThatTheServerHasNotReadWaitsForTheServer)
{
    Accept(1);
    sockets[1].unread = true;
    Look();
    LookFor(seconds(60));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
}

TEST_F(ConnectionTracksTest, ABodyThatTheServerHasNotReadDoesNotExcuseItsClient)
{
    Serve(1);
    sockets[1].unread = true;
    Look();
    LookFor(seconds(10));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, OneWhoseBytesTheKernelDoesNotCountGoesOn)
{
    Serve(1);
    sockets[1].moved = -1;
    Look();
    LookFor(seconds(60));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
}

TEST_F(ConnectionTracksTest, OneThatSendsAfterItsAnswerMayTakeTwoSeconds)
{
    Serve(1, WatchedConnection::After);
    Look();
    LookFor(seconds(2), 1, 1000000);
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    now += milliseconds(1);
    Look();
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, AnotherSocketOfTheSamePeerBeginsAnew)
{
    Serve(1);
    Look();
    LookFor(seconds(9));
    sockets[1].socket.identity = 7;
    LookFor(seconds(9));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    LookFor(seconds(2));
    EXPECT_EQ(ThatHoldUp(), Numbers{7});
}

TEST_F(ConnectionTracksTest, NobodyHoldsUpForATimeInWhichTheProcessStoodStill)
{
    Serve(1);
    Look();
    LookFor(seconds(9));
    now += seconds(2);
    Look();
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    LookFor(seconds(9));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
    LookFor(seconds(1));
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, LooksThatAreALittleLateCount)
{
    Serve(1);
    Look();
    for (int looks = 0; looks < 6; ++looks) {
        now += milliseconds(1999);
        Look();
    }
    EXPECT_EQ(ThatHoldUp(), Numbers{1});
}

TEST_F(ConnectionTracksTest, WhatIsForgottenBeginsAnew)
{
    Serve(1);
    Look();
    LookFor(seconds(9));
    tracks.Clear();
    LookFor(seconds(1));
    EXPECT_EQ(ThatHoldUp(), Numbers{});
}

// --- Too many threads that wait for clients

TEST_F(ConnectionTracksTest, HalfOfTheThreadsMayWait)
{
    Serve(1);
    Serve(2, WatchedConnection::Working);
    Look();
    LookFor(seconds(9));
    EXPECT_EQ(Slowest(), Numbers{});
}

TEST_F(ConnectionTracksTest, OfTwoThatHoldEveryThreadTheSlowestIsFound)
{
    Serve(1);
    Serve(2);
    Look();
    LookFor(seconds(2), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{2});
}

TEST_F(ConnectionTracksTest, AsManyAreFoundAsAreTooMany)
{
    for (int client = 1; client <= 4; ++client) {
        Serve(client);
    }
    Look();
    LookFor(seconds(2), 3, 1000);
    Numbers slowest = Slowest();
    std::sort(slowest.begin(), slowest.end());
    EXPECT_EQ(slowest, (Numbers{1, 2, 4}));
}

TEST_F(ConnectionTracksTest, OnlyTheLastTwoSecondsCount)
{
    Serve(1);
    Serve(2);
    Look();
    LookFor(seconds(5), 1, 1000000);
    LookFor(seconds(2), 2, 1000);
    EXPECT_EQ(Slowest(), Numbers{1});
}

TEST_F(ConnectionTracksTest, AHeadThatDoesNotComeCountsAsWaiting)
{
    Serve(1);
    Serve(2);
    connections[2].peer.clear();
    connections[2].phase = WatchedConnection::ReadingHead;
    Look();
    LookFor(seconds(2), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{2});
}

TEST_F(ConnectionTracksTest, WhatMovesIsNotFoundInTheSteadOfASlowOneThatIsYoung)
{
    Serve(1);
    Look();
    LookFor(seconds(4), 1, 1000);
    Serve(2);
    LookFor(seconds(2), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{});
    LookFor(seconds(1), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{2});
}

TEST_F(ConnectionTracksTest, WhatMovesIsNotFoundInTheSteadOfOneThatCameSinceTheSocketsWereListed)
{
    Serve(1);
    Look();
    LookFor(seconds(4), 1, 1000);
    EnterOnly(2);
    LookFor(seconds(1), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{});
}

TEST_F(ConnectionTracksTest, WhatMovesIsNotFoundInTheSteadOfOneWhoseSocketIsClosed)
{
    Serve(1);
    Serve(2);
    Look();
    LookFor(seconds(1), 2, 1000);
    LookFor(seconds(4), 1, 1000);
    sockets.erase(2);
    LookFor(seconds(1), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{});
}

TEST_F(ConnectionTracksTest, OneThatWaitsForAFreeThreadTakesNone)
{
    Serve(1);
    Accept(2);
    Look();
    LookFor(seconds(9), 1, 1000);
    EXPECT_EQ(Slowest(), Numbers{});
}

// --- Memory that others wait for

TEST_F(ConnectionTracksTest, OneThatMovesLittleIsFoundByWhatItHolds)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(9), 1, 99998);
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{1});
}

TEST_F(ConnectionTracksTest, OneThatMoves200000BytesIn2SecondsMayHoldWhatOthersWaitFor)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(9), 1, 100000);
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{});
}

TEST_F(ConnectionTracksTest, OneThatHoldsSomethingElseIsNotFoundForIt)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(9));
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfAnswers), Numbers{});
}

TEST_F(ConnectionTracksTest, OneThatHoldsMayTakeTwoSeconds)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfAnswers);
    Look();
    LookFor(seconds(1));
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfAnswers), Numbers{});
    LookFor(seconds(1));
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfAnswers), Numbers{1});
}

TEST_F(ConnectionTracksTest, WhileTheServerWorksItsClientMayHoldWhatOthersWaitFor)
{
    Serve(1, WatchedConnection::Working, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(9));
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{});
}

TEST_F(ConnectionTracksTest, OfTwoThatHoldTheSlowestIsFound)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Serve(2, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(3), 1, 1000);
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{2});
}

TEST_F(ConnectionTracksTest, WhatItHoldsNoLongerDoesNotCount)
{
    Serve(1, WatchedConnection::WaitingForClient, WatchedConnection::OfBodies);
    Look();
    LookFor(seconds(3));
    connections[1].memory = WatchedConnection::None;
    LookFor(seconds(1));
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{});
}

// --- From one port of one client, to two addresses of the device

TEST_F(ConnectionTracksTest, OneThatWorksCoversNoneFromTheSamePortToAnotherAddress)
{
    Serve(1, WatchedConnection::Working);
    Accept(2);
    sockets[2].socket.peer = Peer(1);
    Look();
    LookFor(seconds(10), 1, 1000);
    EXPECT_EQ(ThatHoldUp(), Numbers{2});
}

TEST_F(ConnectionTracksTest, OneThatWorksCountsAsWaitingOnceAnotherComesFromItsPort)
{
    Serve(1, WatchedConnection::Working);
    Look();
    Accept(2);
    sockets[2].socket.peer = Peer(1);
    LookFor(seconds(11));
    EXPECT_EQ(ThatHoldUp(), (Numbers{1, 2}));
}

TEST_F(ConnectionTracksTest, OneFromTheSamePortToAnotherAddressCountsAsHoldingWhatOthersWaitFor)
{
    Serve(1);
    Accept(2);
    sockets[2].socket.peer = Peer(1);
    Look();
    LookFor(seconds(3), 1, 1000);
    EXPECT_EQ(SlowestThatHolds(WatchedConnection::OfBodies), Numbers{2});
}
