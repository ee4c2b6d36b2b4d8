#include "connectionwatch.h"

#include <atomic>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Descriptor
{
public:
    explicit Descriptor(int number)
        : descriptor(number)
    {}
    ~Descriptor() { close(descriptor); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    operator int() const { return descriptor; }

private:
    int descriptor;
};

// A listening socket of this process, and connections to it.
class Listener
{
public:
    Listener()
        : descriptor(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address);
        listen(descriptor, 10);
    }

    std::unique_ptr<Descriptor> Connect() const
    {
        auto client = std::make_unique<Descriptor>(socket(AF_INET, SOCK_STREAM, 0));
        ConnectTo(INADDR_LOOPBACK, *client);
        return client;
    }

    // From the port of another client, to 127.0.0.2.
    std::unique_ptr<Descriptor> ConnectFromPortOf(int other) const
    {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(other, reinterpret_cast<sockaddr *>(&address), &length);
        auto client = std::make_unique<Descriptor>(socket(AF_INET, SOCK_STREAM, 0));
        const int yes = 1;
        setsockopt(other, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        setsockopt(*client, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        bind(*client, reinterpret_cast<sockaddr *>(&address), sizeof address);
        ConnectTo(INADDR_LOOPBACK + 1, *client);
        return client;
    }

    std::unique_ptr<Descriptor> Accept() const
    {
        return std::make_unique<Descriptor>(accept(descriptor, nullptr, nullptr));
    }

    QVector<int> Ports() const { return {ListeningSockets().first().localPort}; }

private:
    void ConnectTo(in_addr_t host, int client) const
    {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length);
        address.sin_addr.s_addr = htonl(host);
        connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address);
    }

    Descriptor descriptor;
};

QByteArray Peer(int descriptor)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &length);
    return PeerName("127.0.0.1", ntohs(address.sin_port));
}

// Of a client that moves. A machine that stands still makes every client slow.
class Pace
{
public:
    // False when the connection was shut down.
    bool Send(int descriptor, const std::string &piece)
    {
        const auto now = std::chrono::steady_clock::now();
        kept = kept && now - last < std::chrono::seconds(1);
        last = now;
        return send(descriptor, piece.data(), piece.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(piece.size());
    }

    bool WasKept() const
    {
        return kept && std::chrono::steady_clock::now() - last < std::chrono::seconds(1);
    }

private:
    std::chrono::steady_clock::time_point last = std::chrono::steady_clock::now();
    bool kept = true;
};

bool IsReady(const std::future<void> &future, int milliseconds = 0)
{
    return future.wait_for(std::chrono::milliseconds(milliseconds)) == std::future_status::ready;
}

bool SendsStill(int descriptor)
{
    return send(descriptor, "x", 1, MSG_NOSIGNAL) == 1;
}

// Whether another process would have to wait for the lock of this one.
bool IsLocked(int descriptor)
{
    const pid_t child = fork();
    if (child == 0) {
        struct flock lock
        {};
        lock.l_type = F_WRLCK;
        fcntl(descriptor, F_GETLK, &lock);
        _exit(lock.l_type == F_UNLCK ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status) == 1;
}

class ProcessSocketsTest : public testing::Test
{
protected:
    Listener listener;
    std::unique_ptr<Descriptor> client = listener.Connect();
    std::unique_ptr<Descriptor> server = listener.Accept();
};

class ConnectionWatchTest : public testing::Test
{
protected:
    // One connection on a thread of its own, until it is shut down.
    std::future<void> &Serve(size_t pieceSize,
                             ConnectionWatch::Memory memory = ConnectionWatch::None)
    {
        clients.push_back(listener.Connect());
        const std::shared_ptr<Descriptor> server = listener.Accept();
        served.push_back(std::async(std::launch::async, [this, server, pieceSize, memory] {
            watch.Enter();
            watch.Identify(Peer(*server));
            watch.Holds(memory);
            std::vector<char> piece(pieceSize);
            ssize_t count = 1;
            while (count > 0) {
                const ConnectionWatch::Waiting waiting(&watch);
                count = recv(*server, piece.data(), piece.size(), MSG_WAITALL);
            }
            watch.Leave();
        }));
        return served.back();
    }

    // Whether the first connection is shut down although its client sends 25,000 bytes in a second.
    bool EndsWhileItsClientMoves(std::future<void> *connection)
    {
        const std::string piece(500, 'x');
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        const auto ends = [connection] {
            return connection->wait_for(std::chrono::milliseconds(20)) == std::future_status::ready;
        };
        while (!ends() && std::chrono::steady_clock::now() < limit) {
            send(*clients[0], piece.data(), piece.size(), MSG_NOSIGNAL);
        }
        const bool ended = ends();
        clients.clear();
        return ended;
    }

    Listener listener;
    ConnectionWatch watch{2};
    std::deque<std::future<void>> served; // they end once the clients are gone
    std::vector<std::unique_ptr<Descriptor>> clients;
};

// One attempt with a client that moves, in a watch of its own.
class Attempt : public ConnectionWatchTest
{
public:
    // Until the other connection is shut down. False when the one that moves is, too.
    bool MoveUntilEnd(const std::future<void> &other)
    {
        while (!IsReady(other, 20)) {
            if (!Move()) {
                return false;
            }
        }
        return !IsReady(served[0]);
    }

    bool MoveFor(int seconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < end) {
            if (!Move() || IsReady(served[0], 20)) {
                return false;
            }
        }
        return true;
    }

    bool Move() { return pace.Send(*clients[0], piece); }

    using ConnectionWatchTest::Serve;
    using ConnectionWatchTest::watch;

    Pace pace;
    std::string piece = std::string(16 * 1024, 'x');

private:
    void TestBody() override {}
};

// Tries again when the machine stood still.
void ExpectWhenPaceIsKept(const std::function<bool(Attempt *)> &holds)
{
    for (int attempts = 0; attempts < 10; ++attempts) {
        Attempt attempt;
        const bool held = holds(&attempt);
        if (held || attempt.pace.WasKept()) {
            EXPECT_TRUE(held);
            return;
        }
    }
    FAIL() << "the machine stood still ten times";
}

} // namespace

TEST(PeerNameTest, IsAddressAndPort)
{
    EXPECT_EQ(PeerName("192.0.2.1", 40000), "192.0.2.1:40000");
}

TEST(PeerNameTest, DoesNotTellTheInterfaceOfALocalAddress)
{
    EXPECT_EQ(PeerName("fe80::1%eth0", 40000), "fe80::1:40000");
}

TEST_F(ProcessSocketsTest, AnAcceptedSocketIsFoundByItsPort)
{
    const QVector<ProcessSocket> found = AcceptedSockets(listener.Ports());
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.first().descriptor, *server);
    EXPECT_EQ(found.first().peer, Peer(*server));
}

TEST_F(ProcessSocketsTest, BytesThatMovedInBothDirectionsAreCounted)
{
    const ProcessSocket socket = AcceptedSockets(listener.Ports()).first();
    const qint64 before = MovedBytes(socket);
    char byte = 0;
    send(*client, "1234", 4, 0);
    recv(*server, &byte, 1, 0);
    EXPECT_EQ(MovedBytes(socket) - before, 4);
    EXPECT_TRUE(HasUnreadBytes(socket));
}

TEST_F(ProcessSocketsTest, AShutDownSocketWakesWhoReads)
{
    auto read = std::async(std::launch::async, [this] {
        char byte = 0;
        return recv(*server, &byte, 1, 0);
    });
    ShutDown(AcceptedSockets(listener.Ports()).first());
    EXPECT_EQ(read.get(), 0);
}

TEST_F(ProcessSocketsTest, ANumberThatNowStandsForAnotherSocketIsLeftAlone)
{
    const ProcessSocket gone = AcceptedSockets(listener.Ports()).first();
    const auto otherClient = listener.Connect();
    const auto other = listener.Accept();
    dup2(*other, *server);
    ShutDown(gone);
    EXPECT_TRUE(SendsStill(*other));
}

TEST_F(ProcessSocketsTest, ALockOnAFileThatNowHasTheNumberIsKept)
{
    const ProcessSocket gone = AcceptedSockets(listener.Ports()).first();
    char path[] = "/tmp/lockedXXXXXX";
    const Descriptor file(mkstemp(path));
    unlink(path);
    dup2(file, *server);
    struct flock lock
    {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(*server, F_SETLK, &lock), 0);
    ShutDown(gone);
    EXPECT_TRUE(IsLocked(*server));
}

TEST_F(ConnectionWatchTest, WhenItStopsEveryConnectionIsShutDown)
{
    auto &first = Serve(1);
    watch.Start(ListeningSockets());
    watch.ShutDownAll();
    first.get();
    watch.End();
}

TEST_F(ConnectionWatchTest, WhatSendsAfterItsAnswerIsShutDownAfter2Seconds)
{
    clients.push_back(listener.Connect());
    const auto server = listener.Accept();
    watch.Start(ListeningSockets());
    watch.Enter();
    watch.Identify(Peer(*server));
    watch.Answered();
    char byte = 0;
    EXPECT_EQ(recv(*server, &byte, 1, 0), 0);
    watch.Leave();
}

TEST_F(ConnectionWatchTest, OfTwoThatHoldEveryThreadTheSlowestIsShutDown)
{
    ExpectWhenPaceIsKept([](Attempt *attempt) {
        attempt->watch.Start(ListeningSockets());
        attempt->Serve(16 * 1024);
        return attempt->MoveUntilEnd(attempt->Serve(1000000));
    });
}

TEST_F(ConnectionWatchTest, WhatMovesIsNotShutDownInTheSteadOfASlowOneThatIsYoung)
{
    ExpectWhenPaceIsKept([](Attempt *attempt) {
        attempt->watch.Start(ListeningSockets());
        attempt->Serve(16 * 1024);
        return attempt->MoveFor(4) && attempt->MoveUntilEnd(attempt->Serve(1000000));
    });
}

TEST_F(ConnectionWatchTest, ASlowOneThatHoldsWhatOthersWaitForIsShutDown)
{
    watch.SetScarcity(ConnectionWatch::OfBodies, [] { return true; });
    watch.Start(ListeningSockets());
    auto &slow = Serve(1000000, ConnectionWatch::OfBodies);
    EXPECT_TRUE(EndsWhileItsClientMoves(&slow));
}

TEST_F(ConnectionWatchTest, ASlowOneThatHoldsSomethingElseIsNotShutDownForIt)
{
    std::promise<void> looked;
    watch.SetScarcity(ConnectionWatch::OfAnswers, [] { return true; });
    watch.SetScarcity(ConnectionWatch::OfBodies, [&looked, looks = 0]() mutable {
        if (++looks == 6) { // in 3.5 s at least
            looked.set_value();
        }
        return false;
    });
    watch.Start(ListeningSockets());
    auto &slow = Serve(1000000, ConnectionWatch::OfBodies);
    const std::string piece(1000, 'x');
    const auto enough = looked.get_future();
    while (enough.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        ASSERT_EQ(slow.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
        send(*clients[0], piece.data(), piece.size(), MSG_NOSIGNAL);
    }
    EXPECT_EQ(slow.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    clients.clear();
}

// As when the process is stopped: clients then look slow that were not read.
TEST_F(ConnectionWatchTest, NobodyIsShutDownForTheTimeInWhichTheWatchStoodStill)
{
    std::promise<void> third;
    std::promise<void> checked;
    watch.SetScarcity(ConnectionWatch::OfBodies, [&third, &checked, look = 0]() mutable {
        ++look;
        if (look == 1) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2100));
        } else if (look == 3) {
            third.set_value();
            checked.get_future().wait();
        }
        return true;
    });
    watch.Start(ListeningSockets());
    auto &slow = Serve(1000000, ConnectionWatch::OfBodies);
    const auto comesAgain = third.get_future();
    while (comesAgain.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
        ASSERT_EQ(slow.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    EXPECT_EQ(slow.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    checked.set_value();
    EXPECT_TRUE(EndsWhileItsClientMoves(&slow));
}

TEST_F(ConnectionWatchTest, OneThatMovesMayHoldWhatOthersWaitFor)
{
    ExpectWhenPaceIsKept([](Attempt *attempt) {
        attempt->watch.SetScarcity(ConnectionWatch::OfAnswers, [] { return true; });
        attempt->watch.Start(ListeningSockets());
        attempt->piece = std::string(250000, 'x');
        attempt->Serve(250000, ConnectionWatch::OfAnswers);
        return attempt->MoveFor(4);
    });
}

TEST_F(ConnectionWatchTest, OneThatWorksCoversNoneFromTheSamePortToAnotherAddress)
{
    const auto client = listener.Connect();
    const auto dripping = listener.Accept();
    const auto secondClient = listener.ConnectFromPortOf(*client);
    const auto working = listener.Accept();
    ASSERT_EQ(Peer(*working), Peer(*dripping));
    watch.Start(ListeningSockets());
    watch.Enter();
    watch.Identify(Peer(*working));
    char byte = 0;
    EXPECT_EQ(recv(*dripping, &byte, 1, 0), 0);
    watch.Leave();
}

TEST_F(ConnectionWatchTest, OneFromTheSamePortToAnotherAddressCountsAsHoldingWhatOthersWaitFor)
{
    const auto client = listener.Connect();
    const auto holding = listener.Accept();
    const auto secondClient = listener.ConnectFromPortOf(*client);
    const auto other = listener.Accept();
    watch.SetScarcity(ConnectionWatch::OfBodies, [] { return true; });
    watch.Start(ListeningSockets());
    watch.Enter();
    watch.Identify(Peer(*other));
    char byte = 0;
    EXPECT_EQ(recv(*holding, &byte, 1, 0), 0);
    watch.Leave();
}
