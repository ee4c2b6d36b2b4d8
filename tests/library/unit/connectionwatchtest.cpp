#include "connectionwatch.h"

#include <algorithm>
#include <deque>
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
    void Serve(WatchedConnection::Memory memory = WatchedConnection::None)
    {
        clients.push_back(listener.Connect());
        const std::shared_ptr<Descriptor> server = listener.Accept();
        served.push_back(std::async(std::launch::async, [this, server, memory] {
            watch.Enter();
            watch.Identify(Peer(*server));
            watch.Holds(memory);
            std::vector<char> piece(1000000);
            ssize_t count = 1;
            while (count > 0) {
                const ConnectionWatch::Waiting waiting(&watch);
                count = recv(*server, piece.data(), piece.size(), MSG_WAITALL);
            }
            watch.Leave();
        }));
    }

    // Whether a connection is shut down although its client sends 25,000 bytes in a second.
    bool OneEndsWhileClientsMove()
    {
        const std::string piece(500, 'x');
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!OneHasEnded() && std::chrono::steady_clock::now() < limit) {
            for (const auto &client : clients) {
                send(*client, piece.data(), piece.size(), MSG_NOSIGNAL);
            }
        }
        const bool ended = OneHasEnded();
        clients.clear();
        return ended;
    }

    // Looks for up to 20 ms.
    bool OneHasEnded() const
    {
        return std::any_of(served.cbegin(), served.cend(), [this](const auto &connection) {
            return connection.wait_for(std::chrono::milliseconds(20) / served.size()) ==
                   std::future_status::ready;
        });
    }

    Listener listener;
    ConnectionWatch watch{2};
    std::deque<std::future<void>> served; // they end once the clients are gone
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
    Serve();
    watch.Start(ListeningSockets());
    watch.ShutDownAll();
    served[0].get();
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

TEST_F(ConnectionWatchTest, OfTwoThatHoldEveryThreadOneIsShutDown)
{
    watch.Start(ListeningSockets());
    Serve();
    Serve();
    EXPECT_TRUE(OneEndsWhileClientsMove());
}

TEST_F(ConnectionWatchTest, ASlowOneThatHoldsWhatOthersWaitForIsShutDown)
{
    watch.SetScarcity(WatchedConnection::OfBodies, [] { return true; });
    watch.Start(ListeningSockets());
    Serve(WatchedConnection::OfBodies);
    EXPECT_TRUE(OneEndsWhileClientsMove());
}

TEST_F(ConnectionWatchTest, OneFromTheSamePortToAnotherAddressCountsAsHoldingWhatOthersWaitFor)
{
    const auto client = listener.Connect();
    const auto holding = listener.Accept();
    const auto secondClient = listener.ConnectFromPortOf(*client);
    const auto other = listener.Accept();
    watch.SetScarcity(WatchedConnection::OfBodies, [] { return true; });
    watch.Start(ListeningSockets());
    watch.Enter();
    watch.Identify(Peer(*other));
    char byte = 0;
    EXPECT_EQ(recv(*holding, &byte, 1, 0), 0);
    watch.Leave();
}
