#include "connectiontracks.h"

#include <algorithm>
#include <utility>

namespace {

using std::chrono::seconds;

constexpr seconds slowWindow(10);
constexpr qint64 slowBytes = 10000;
constexpr seconds longestRest(2);
constexpr seconds slowestWindow(2);
constexpr qint64 slowHolderBytes = 200000; // in that window

std::map<QByteArray, int> CountPeers(const std::vector<WatchedSocket> &sockets)
{
    std::map<QByteArray, int> peers;
    for (const WatchedSocket &seen : sockets) {
        ++peers[seen.socket.peer];
    }
    return peers;
}

// Null for a socket that no route knows of: its head is being read.
const WatchedConnection *ConnectionOf(const ProcessSocket &socket,
                                      const std::vector<WatchedConnection> &connections)
{
    const auto found = std::find_if(
        connections.cbegin(), connections.cend(),
        [&socket](const WatchedConnection &connection) { return connection.peer == socket.peer; });
    return found != connections.cend() ? &*found : nullptr;
}

} // namespace

ConnectionTracks::ConnectionTracks(size_t httpThreads)
    : threads(httpThreads)
{}

void ConnectionTracks::Follow(const std::vector<WatchedSocket> &sockets,
                              const std::vector<WatchedConnection> &connections,
                              Clock::time_point now)
{
    if (now - std::exchange(lastLook, now) >= slowestWindow) {
        tracks.clear();
    }
    waitingThreads = static_cast<size_t>(std::count_if(
        connections.cbegin(), connections.cend(), [](const WatchedConnection &connection) {
            return connection.phase != WatchedConnection::Working;
        }));
    const std::map<QByteArray, int> peers = CountPeers(sockets);
    std::map<ino_t, Track> followed;
    for (const WatchedSocket &seen : sockets) {
        Track track = TrackOf(seen);
        track.unsure = peers.at(seen.socket.peer) > 1;
        if (!track.unsure) {
            track.Take(ConnectionOf(seen.socket, connections));
        }
        track.Read(seen, now);
        followed.emplace(seen.socket.identity, std::move(track));
    }
    tracks.swap(followed);
}

void ConnectionTracks::Clear()
{
    tracks.clear();
}

QVector<ProcessSocket> ConnectionTracks::ThatHoldUp() const
{
    QVector<ProcessSocket> found;
    for (const auto &[identity, track] : tracks) {
        if (track.HoldsUp(lastLook)) {
            found.append(track.socket);
        }
    }
    return found;
}

// Who is too young to be shut down may all the same be the slowest. Then nobody is shut down in its
// stead: when many slow clients come back at once, those that move are not to make room for them.
// For the same reason only threads count whose socket was seen: one may have been accepted, or
// closed, since the sockets were listed.
QVector<ProcessSocket> ConnectionTracks::SlowestOfTooMany() const
{
    std::vector<const Track *> slowest;
    for (const auto &[identity, track] : tracks) {
        if (track.WaitsForClient()) {
            slowest.push_back(&track);
        }
    }
    const size_t waiting = std::min(waitingThreads, slowest.size());
    if (waiting <= threads / 2) {
        return {};
    }
    const auto from = lastLook - slowestWindow;
    std::sort(slowest.begin(), slowest.end(), [from](const Track *a, const Track *b) {
        return a->MovedSince(from) < b->MovedSince(from);
    });
    slowest.resize(waiting - threads / 2);
    QVector<ProcessSocket> found;
    for (const Track *slow : slowest) {
        if (slow->waitsSince <= from) {
            found.append(slow->socket);
        }
    }
    return found;
}

// One in each look, since what it gives back may be enough.
QVector<ProcessSocket> ConnectionTracks::SlowestThatHolds(WatchedConnection::Memory memory) const
{
    const auto from = lastLook - slowestWindow;
    const Track *slowest = nullptr;
    for (const auto &[identity, track] : tracks) {
        if (track.Holds(memory) && track.WaitsForClient() && track.waitsSince <= from &&
            (slowest == nullptr || track.MovedSince(from) < slowest->MovedSince(from))) {
            slowest = &track;
        }
    }
    if (slowest == nullptr || slowest->MovedSince(from) >= slowHolderBytes) {
        return {};
    }
    return {slowest->socket};
}

ConnectionTracks::Track ConnectionTracks::TrackOf(const WatchedSocket &seen)
{
    const auto known = tracks.find(seen.socket.identity);
    if (known != tracks.end()) {
        return std::move(known->second);
    }
    Track track;
    track.waitsSince = lastLook;
    return track;
}

void ConnectionTracks::Track::Take(const WatchedConnection *connection)
{
    memory = connection != nullptr ? connection->memory : WatchedConnection::None;
    if (connection != nullptr && connection->phase != WatchedConnection::ReadingHead) {
        phase = connection->phase;
        since = connection->since;
    }
}

void ConnectionTracks::Track::Read(const WatchedSocket &seen, Clock::time_point now)
{
    socket = seen.socket;
    unread = seen.unread;
    if (!WaitsForClient()) {
        waitsSince = now;
    }
    if (seen.moved < 0) {
        return;
    }
    readings.push_back({now, seen.moved});
    while (readings.size() > 1 && readings[1].time <= now - slowWindow) {
        readings.pop_front();
    }
}

// A head that lies there unread waits for a free thread of the server, not for its client.
bool ConnectionTracks::Track::WaitsForClient() const
{
    return unsure ||
           (phase == WatchedConnection::ReadingHead ? !unread
                                                    : phase != WatchedConnection::Working);
}

bool ConnectionTracks::Track::Holds(WatchedConnection::Memory what) const
{
    return unsure || memory == what;
}

bool ConnectionTracks::Track::HoldsUp(Clock::time_point now) const
{
    if (phase == WatchedConnection::After) {
        return now - since > longestRest;
    }
    return now - waitsSince >= slowWindow && !readings.empty() &&
           MovedSince(now - slowWindow) < slowBytes;
}

qint64 ConnectionTracks::Track::MovedSince(Clock::time_point time) const
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
