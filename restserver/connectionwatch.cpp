#include "connectionwatch.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds interval(500);
constexpr milliseconds stoppingInterval(20);
constexpr seconds youngest(1); // younger connections are not looked at

void ShutDownEach(const QVector<ProcessSocket> &sockets)
{
    std::for_each(sockets.cbegin(), sockets.cend(), ShutDown);
}

} // namespace

ConnectionWatch::ConnectionWatch(size_t httpThreads)
    : tracks(httpThreads)
{}

ConnectionWatch::~ConnectionWatch()
{
    End();
}

void ConnectionWatch::SetScarcity(Memory memory, std::function<bool()> isScarce)
{
    scarcities[memory] = std::move(isScarce);
}

bool ConnectionWatch::Start(const QVector<ProcessSocket> &listeningSockets)
{
    listening = listeningSockets;
    for (const ProcessSocket &socket : listening) {
        ports.append(socket.localPort);
    }
    try {
        thread = std::thread([this] { Run(); });
    } catch (const std::system_error &) {
        return false;
    }
    return true;
}

void ConnectionWatch::ShutDownAll()
{
    // No connection is accepted any more once this is done, and the listening thread wakes up.
    ShutDownEach(listening);
    ShutDownEach(AcceptedSockets(ports));
    const Lock lock(mutex);
    stopping = true;
    changed.notify_all();
}

void ConnectionWatch::End()
{
    {
        const Lock lock(mutex);
        ended = true;
        changed.notify_all();
    }
    if (thread.joinable()) {
        thread.join();
    }
}

void ConnectionWatch::Enter()
{
    const Lock lock(mutex);
    connections[std::this_thread::get_id()] = WatchedConnection();
    if (idle) {
        idle = false;
        changed.notify_all();
    }
}

void ConnectionWatch::Identify(const QByteArray &peer)
{
    const Lock lock(mutex);
    WatchedConnection &connection = connections[std::this_thread::get_id()];
    connection.peer = peer;
    connection.phase = WatchedConnection::Working;
    connection.since = Clock::now();
}

void ConnectionWatch::Holds(Memory memory)
{
    const Lock lock(mutex);
    connections[std::this_thread::get_id()].memory = memory;
}

void ConnectionWatch::Answered()
{
    SetPhase(WatchedConnection::After);
}

void ConnectionWatch::Leave()
{
    const Lock lock(mutex);
    connections.erase(std::this_thread::get_id());
}

void ConnectionWatch::SetPhase(WatchedConnection::Phase phase)
{
    const Lock lock(mutex);
    WatchedConnection &connection = connections[std::this_thread::get_id()];
    connection.phase = phase;
    connection.since = Clock::now();
}

ConnectionWatch::Waiting::Waiting(ConnectionWatch *owner)
    : watch(owner)
{
    watch->SetPhase(WatchedConnection::WaitingForClient);
}

ConnectionWatch::Waiting::~Waiting()
{
    watch->SetPhase(WatchedConnection::Working);
}

void ConnectionWatch::Run()
{
    Lock lock(mutex);
    for (;;) {
        WaitUntilDue(&lock);
        if (ended) {
            return;
        }
        lock.unlock();
        Look();
        lock.lock();
    }
}

// Nothing wakes up while there is no connection, and none is looked at in its first second.
void ConnectionWatch::WaitUntilDue(Lock *lock)
{
    if (stopping) {
        changed.wait_for(*lock, stoppingInterval, [this] { return ended; });
        return;
    }
    changed.wait_for(*lock, interval, [this] { return ended || stopping; });
    while (!ended && !stopping) {
        if (connections.empty()) {
            tracks.Clear();
            idle = true;
            changed.wait(*lock, [this] { return !idle || ended || stopping; });
            continue;
        }
        const auto oldest =
            std::min_element(connections.cbegin(), connections.cend(), [](auto &a, auto &b) {
                return a.second.begun < b.second.begun;
            })->second.begun;
        if (Clock::now() >= oldest + youngest) {
            return;
        }
        changed.wait_until(*lock, oldest + youngest, [this] { return ended || stopping; });
    }
}

void ConnectionWatch::Look()
{
    const QVector<ProcessSocket> sockets = AcceptedSockets(ports);
    bool all = false;
    {
        const Lock lock(mutex);
        all = stopping;
    }
    if (all) {
        ShutDownEach(sockets);
        return;
    }
    Follow(sockets);
    ShutDownEach(tracks.ThatHoldUp());
    ShutDownEach(tracks.SlowestOfTooMany());
    for (const auto &[memory, isScarce] : scarcities) {
        if (isScarce()) {
            ShutDownEach(tracks.SlowestThatHolds(memory));
        }
    }
}

void ConnectionWatch::Follow(const QVector<ProcessSocket> &sockets)
{
    const std::vector<WatchedConnection> served = Connections();
    const Clock::time_point now = Clock::now();
    std::vector<WatchedSocket> seen;
    for (const ProcessSocket &socket : sockets) {
        seen.push_back({socket, MovedBytes(socket), HasUnreadBytes(socket)});
    }
    tracks.Follow(seen, served, now);
}

std::vector<WatchedConnection> ConnectionWatch::Connections()
{
    const Lock lock(mutex);
    std::vector<WatchedConnection> copies;
    for (const auto &connection : connections) {
        copies.push_back(connection.second);
    }
    return copies;
}
