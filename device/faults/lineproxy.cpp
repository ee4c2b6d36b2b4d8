#include "lineproxy.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

// Each connection takes two descriptors here and one in the server.
constexpr std::size_t mostConnections = 256;
constexpr milliseconds acceptPause(100);
constexpr int lineBacklog = 200;           // as the server's own
constexpr std::size_t firstConnection = 2; // after the listener and the stop event

QByteArray NameOfAddress(const sockaddr_in &address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return QByteArray(text) + ':' + QByteArray::number(ntohs(address.sin_port));
}

void SendAtOnce(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

quint16 PortOf(int socket)
{
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

FileDescriptor ConnectToServer(int port)
{
    FileDescriptor server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<quint16>(port));
    const int result =
        connect(server.Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    if (result != 0 && errno != EINPROGRESS) {
        return FileDescriptor();
    }
    SendAtOnce(server.Number());
    return server;
}

pollfd Polled(const FileDescriptor &descriptor, short events)
{
    // What is not waited for is left out: a connection that was hung up would be told for ever.
    return pollfd{events != 0 ? descriptor.Number() : -1, events, 0};
}

} // namespace

LineProxy::LineProxy(FaultPlan &faultPlan, LineJournal &lineJournal)
    : faults(faultPlan)
    , journal(lineJournal)
{}

LineProxy::~LineProxy()
{
    Stop();
}

bool LineProxy::Listen(const QString &address, quint16 port)
{
    FileDescriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    inet_pton(AF_INET, address.toLatin1().constData(), &place.sin_addr);
    setsockopt(made.Number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool listens =
        bind(made.Number(), reinterpret_cast<const sockaddr *>(&place), sizeof place) == 0 &&
        listen(made.Number(), lineBacklog) == 0;
    listener = listens ? std::move(made) : FileDescriptor();
    listeningPort = listens ? PortOf(listener.Number()) : port;
    return listens;
}

void LineProxy::Start(int serverPort)
{
    portOfServer = serverPort;
    isDown = false;
    stopEvent = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    thread = std::thread([this] { Run(); });
}

void LineProxy::Stop()
{
    if (thread.joinable()) {
        eventfd_write(stopEvent.Number(), 1);
        thread.join();
    }
    listener = FileDescriptor();
}

void LineProxy::Run()
{
    std::vector<pollfd> polled;
    while (AwaitEvents(&polled, steady_clock::now())) {
        TurnConnections(polled);
        if (polled.front().revents != 0) {
            Accept();
        }
        if (isDown) {
            BreakAll();
        }
    }
    BreakAll();
}

// False when the line is to stop.
bool LineProxy::AwaitEvents(std::vector<pollfd> *polled, Time now) const
{
    constexpr milliseconds longestWait(60'000);
    Time due = now + longestWait;
    due = now < nextAccept ? nextAccept : due;
    const bool accepts = connections.size() < mostConnections && now >= nextAccept;
    const short accepting = accepts ? POLLIN : 0;
    *polled = {Polled(listener, accepting), Polled(stopEvent, POLLIN)};
    for (const LineConnection &connection : connections) {
        const LineConnection::Wishes wishes = connection.Wanted(now);
        polled->push_back(Polled(connection.Client(), wishes.ofClient));
        polled->push_back(Polled(connection.Server(), wishes.ofServer));
        due = std::min(due, wishes.due.value_or(due));
    }
    // Rounded up, so that it does not turn in vain until the moment has come.
    const auto wait = duration_cast<milliseconds>(due - now) + milliseconds(1);
    poll(polled->data(), polled->size(), std::max(0, static_cast<int>(wait.count())));
    return polled->at(1).revents == 0;
}

void LineProxy::TurnConnections(const std::vector<pollfd> &polled)
{
    const Time now = steady_clock::now();
    std::size_t position = firstConnection;
    for (auto connection = connections.begin(); connection != connections.end(); position += 2) {
        const short client = polled.at(position).revents;
        const bool isDue = connection->Wanted(now).due.value_or(Time::max()) <= now;
        if (client != 0 || polled.at(position + 1).revents != 0 || isDue) {
            connection->Turn(now, client);
        }
        connection = connection->HasEnded() ? connections.erase(connection) : std::next(connection);
    }
}

void LineProxy::BreakAll()
{
    for (LineConnection &connection : connections) {
        connection.Break();
    }
    connections.clear();
}

void LineProxy::Accept()
{
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    LineConnection::Ends ends;
    ends.client = FileDescriptor(accept4(listener.Number(), reinterpret_cast<sockaddr *>(&address),
                                         &length, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!ends.client.IsOpen()) {
        // Mostly because the process has no descriptor left.
        nextAccept = steady_clock::now() + acceptPause;
        return;
    }
    SendAtOnce(ends.client.Number());
    ends.clientName = NameOfAddress(address);
    ends.server = ConnectToServer(portOfServer);
    ends.portTowardsServer = PortOf(ends.server.Number());
    if (ends.server.IsOpen()) {
        connections.emplace_back(std::move(ends), faults, journal, gate);
    }
}
