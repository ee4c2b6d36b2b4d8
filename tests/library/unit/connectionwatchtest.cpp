#include "connectionwatch.h"

#include <atomic>
#include <fcntl.h>
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
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address);
        listen(descriptor, 10);
    }

    std::unique_ptr<Descriptor> Connect() const
    {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length);
        auto client = std::make_unique<Descriptor>(socket(AF_INET, SOCK_STREAM, 0));
        connect(*client, reinterpret_cast<sockaddr *>(&address), sizeof address);
        return client;
    }

    std::unique_ptr<Descriptor> Accept() const
    {
        return std::make_unique<Descriptor>(accept(descriptor, nullptr, nullptr));
    }

    QVector<int> Ports() const { return {ListeningSockets().first().localPort}; }

private:
    Descriptor descriptor;
};

QByteArray Peer(int descriptor)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &length);
    return PeerName("127.0.0.1", ntohs(address.sin_port));
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
    std::future<void> Serve(size_t pieceSize,
                            ConnectionWatch::Memory memory = ConnectionWatch::None)
    {
        clients.push_back(listener.Connect());
        const std::shared_ptr<Descriptor> server = listener.Accept();
        return std::async(std::launch::async, [this, server, pieceSize, memory] {
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
        });
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
    std::vector<std::unique_ptr<Descriptor>> clients;
};

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
    auto first = Serve(1);
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
    auto slow = Serve(1000000);
    auto fast = Serve(16 * 1024);
    watch.Start(ListeningSockets());
    const std::string piece(16 * 1024, 'x');
    while (slow.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        send(*clients[0], "x", 1, MSG_NOSIGNAL);
        ASSERT_EQ(send(*clients[1], piece.data(), piece.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(piece.size()));
    }
    EXPECT_EQ(fast.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    clients.clear();
}

TEST_F(ConnectionWatchTest, WhatMovesIsNotShutDownInTheSteadOfASlowOneThatIsYoung)
{
    watch.Start(ListeningSockets());
    auto fast = Serve(16 * 1024);
    const std::string piece(16 * 1024, 'x');
    const auto move = [&] {
        return send(*clients[0], piece.data(), piece.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(piece.size());
    };
    const auto oldEnough = std::chrono::steady_clock::now() + std::chrono::seconds(4);
    while (std::chrono::steady_clock::now() < oldEnough) {
        ASSERT_TRUE(move());
        ASSERT_EQ(fast.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    }
    auto slow = Serve(1000000);
    while (slow.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        ASSERT_TRUE(move());
        ASSERT_EQ(fast.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    clients.clear();
}

TEST_F(ConnectionWatchTest, ASlowOneThatHoldsWhatOthersWaitForIsShutDown)
{
    watch.SetScarcity(ConnectionWatch::OfBodies, [] { return true; });
    watch.Start(ListeningSockets());
    auto slow = Serve(1000000, ConnectionWatch::OfBodies);
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
    auto slow = Serve(1000000, ConnectionWatch::OfBodies);
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
    auto slow = Serve(1000000, ConnectionWatch::OfBodies);
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
    watch.SetScarcity(ConnectionWatch::OfAnswers, [] { return true; });
    watch.Start(ListeningSockets());
    auto fast = Serve(250000, ConnectionWatch::OfAnswers);
    const std::string piece(250000, 'x');
    const auto oldEnough = std::chrono::steady_clock::now() + std::chrono::seconds(4);
    while (std::chrono::steady_clock::now() < oldEnough) {
        ASSERT_EQ(send(*clients[0], piece.data(), piece.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(piece.size()));
        ASSERT_EQ(fast.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    }
    clients.clear();
}
