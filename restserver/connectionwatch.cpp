#include "connectionwatch.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds interval(500);
constexpr milliseconds stoppingInterval(20);
constexpr seconds youngest(1); // younger connections are not looked at
constexpr seconds slowWindow(10);
constexpr qint64 slowBytes = 10000;
constexpr seconds longestRest(2);
constexpr seconds slowestWindow(2);
constexpr qint64 slowHolderBytes = 200000; // in that window

} // namespace

ConnectionWatch::ConnectionWatch(size_t httpThreads)
    : threads(httpThreads)
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
    std::for_each(listening.cbegin(), listening.cend(), ShutDown);
    const QVector<ProcessSocket> sockets = AcceptedSockets(ports);
    std::for_each(sockets.cbegin(), sockets.cend(), ShutDown);
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
    connections[std::this_thread::get_id()] = Connection();
    if (idle) {
        idle = false;
        changed.notify_all();
    }
}

void ConnectionWatch::Identify(const QByteArray &peer)
{
    const Lock lock(mutex);
    Connection &connection = connections[std::this_thread::get_id()];
    connection.peer = peer;
    connection.phase = Working;
    connection.since = Clock::now();
}

void ConnectionWatch::Holds(Memory memory)
{
    const Lock lock(mutex);
    connections[std::this_thread::get_id()].memory = memory;
}

void ConnectionWatch::Answered()
{
    SetPhase(After);
}

void ConnectionWatch::Leave()
{
    const Lock lock(mutex);
    connections.erase(std::this_thread::get_id());
}

void ConnectionWatch::SetPhase(Phase phase)
{
    const Lock lock(mutex);
    Connection &connection = connections[std::this_thread::get_id()];
    connection.phase = phase;
    connection.since = Clock::now();
}

ConnectionWatch::Waiting::Waiting(ConnectionWatch *owner)
    : watch(owner)
{
    watch->SetPhase(WaitingForClient);
}

ConnectionWatch::Waiting::~Waiting()
{
    watch->SetPhase(Working);
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
            tracks.clear();
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
        std::for_each(sockets.cbegin(), sockets.cend(), ShutDown);
        return;
    }
    const Clock::time_point now = Clock::now();
    // When the process stood still, all clients look slow: they are watched anew.
    if (now - std::exchange(lastLook, now) >= slowestWindow) {
        tracks.clear();
    }
    Follow(sockets, now);
    for (const auto &track : tracks) {
        if (HoldsUp(track.second, now)) {
            ShutDown(track.second.socket);
        }
    }
    ShutDownSlowest(now);
    for (const auto &[memory, isScarce] : scarcities) {
        if (isScarce()) {
            ShutDownSlowestThatHolds(memory, now);
        }
    }
}

void ConnectionWatch::Follow(const QVector<ProcessSocket> &sockets, Clock::time_point now)
{
    std::map<ino_t, Track> followed;
    std::map<QByteArray, int> peers;
    for (const ProcessSocket &socket : sockets) {
        ++peers[socket.peer];
    }
    for (const ProcessSocket &socket : sockets) {
        const auto known = tracks.find(socket.identity);
        Track track = known != tracks.end() ? std::move(known->second) : Track();
        if (known == tracks.end()) {
            track.since = track.waitsSince = now;
        }
        track.socket = socket;
        track.unsure = peers[socket.peer] > 1;
        Read(&track, now);
        followed.emplace(socket.identity, std::move(track));
    }
    tracks.swap(followed);
}

void ConnectionWatch::ReadConnection(Track *track)
{
    const Connection connection = ConnectionOf(*track);
    if (connection.phase != ReadingHead && connection.since != track->since) {
        track->phase = connection.phase;
        track->since = connection.since;
    }
    track->memory = connection.memory;
}

void ConnectionWatch::Read(Track *track, Clock::time_point now)
{
    if (!track->unsure) {
        ReadConnection(track);
    }
    track->unread = HasUnreadBytes(track->socket);
    if (!track->WaitsForClient()) {
        track->waitsSince = now;
    }
    const qint64 moved = MovedBytes(track->socket);
    if (moved < 0) {
        return;
    }
    track->readings.push_back({now, moved});
    while (track->readings.size() > 1 && track->readings[1].time <= now - slowWindow) {
        track->readings.pop_front();
    }
}

// A socket that no route knows of is one whose head is being read.
ConnectionWatch::Connection ConnectionWatch::ConnectionOf(const Track &track)
{
    const Lock lock(mutex);
    const auto found =
        std::find_if(connections.cbegin(), connections.cend(), [&track](const auto &entry) {
            return entry.second.peer == track.socket.peer;
        });
    return found != connections.cend() ? found->second : Connection();
}

// A head that lies there unread waits for a free thread of the server, not for its client.
bool ConnectionWatch::Track::WaitsForClient() const
{
    return unsure || (phase == ReadingHead ? !unread : phase != Working);
}

bool ConnectionWatch::Track::Holds(Memory what) const
{
    return unsure || memory == what;
}

bool ConnectionWatch::HoldsUp(const Track &track, Clock::time_point now)
{
    if (track.phase == After) {
        return now - track.since > longestRest;
    }
    return now - track.waitsSince >= slowWindow && !track.readings.empty() &&
           track.MovedSince(now - slowWindow) < slowBytes;
}

qint64 ConnectionWatch::Track::MovedSince(Clock::time_point time) const
{
    if (readings.empty()) {
        return 0;
    }
    auto first = readings.cbegin();
    while (first + 1 != readings.cend() && (first + 1)->time <= time) {
        ++first;
    }
    return readings.back().moved - first->moved;
}

size_t ConnectionWatch::ThreadsThatWait()
{
    const Lock lock(mutex);
    return static_cast<size_t>(
        std::count_if(connections.cbegin(), connections.cend(),
                      [](const auto &entry) { return entry.second.phase != Working; }));
}

// Who is too young to be shut down may all the same be the slowest. Then nobody is shut down in its
// stead: when many slow clients come back at once, those that move are not to make room for them.
void ConnectionWatch::ShutDownSlowest(Clock::time_point now)
{
    const size_t waiting = ThreadsThatWait();
    if (waiting <= threads / 2) {
        return;
    }
    std::vector<const Track *> slowest;
    for (const auto &track : tracks) {
        if (track.second.WaitsForClient()) {
            slowest.push_back(&track.second);
        }
    }
    const auto from = now - slowestWindow;
    std::sort(slowest.begin(), slowest.end(), [from](const Track *a, const Track *b) {
        return a->MovedSince(from) < b->MovedSince(from);
    });
    slowest.resize(std::min(slowest.size(), waiting - threads / 2));
    for (const Track *slow : slowest) {
        if (now - slow->waitsSince >= slowestWindow) {
            ShutDown(slow->socket);
        }
    }
}

// One in each look, since what it gives back may be enough.
void ConnectionWatch::ShutDownSlowestThatHolds(Memory memory, Clock::time_point now)
{
    const auto from = now - slowestWindow;
    const Track *slowest = nullptr;
    for (const auto &[identity, track] : tracks) {
        if (track.Holds(memory) && track.WaitsForClient() && track.waitsSince <= from &&
            (slowest == nullptr || track.MovedSince(from) < slowest->MovedSince(from))) {
            slowest = &track;
        }
    }
    if (slowest != nullptr && slowest->MovedSince(from) < slowHolderBytes) {
        ShutDown(slowest->socket);
    }
}
