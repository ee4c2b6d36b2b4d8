#ifndef CONNECTIONTRACKS_H
#define CONNECTIONTRACKS_H

#include <QByteArray>
#include <QVector>
#include <chrono>
#include <deque>
#include <map>
#include <vector>

#include "processsockets.h"

/** What an HTTP thread tells of the connection that it serves. */
struct WatchedConnection
{
    using Clock = std::chrono::steady_clock;

    enum Phase
    {
        ReadingHead,
        Working,          // the server's own turn
        WaitingForClient, // in the body, or in the answer
        After             // the answer is out
    };

    /** What it may hold while others wait for it. */
    enum Memory
    {
        None,
        OfBodies,
        OfAnswers
    };

    QByteArray peer; // empty until the request came to its route
    Phase phase = ReadingHead;
    Memory memory = None;
    Clock::time_point begun = Clock::now();
    Clock::time_point since = begun; // of its phase
};

/** What the kernel tells of a socket. */
struct WatchedSocket
{
    ProcessSocket socket;
    qint64 moved = -1;   // bytes in both directions since the connection began; -1: not known
    bool unread = false; // bytes came that the server has yet to read
};

/**
 * Follows the connections of a server from look to look, and tells which of them to shut down.
 *
 * Call `Follow` at each look, then ask. The answers are about the time of the last look. Nothing
 * here asks the system or its clock, so that all of it can be tested without waiting. One thread.
 */
class ConnectionTracks
{
public:
    using Clock = WatchedConnection::Clock;

    explicit ConnectionTracks(size_t httpThreads);

    /**
     * Takes in what a look saw. The sockets were listed before the connections, and either may have
     * come or gone in between. When the last look is 2 s ago or longer all are followed anew: the
     * process stood still, and every client would seem slow.
     */
    void Follow(const std::vector<WatchedSocket> &sockets,
                const std::vector<WatchedConnection> &connections, Clock::time_point now);

    /** Forgets all of them. */
    void Clear();

    /** Those that moved too little while the server waited for them, or do not end. */
    QVector<ProcessSocket> ThatHoldUp() const;

    /** Those that moved least, when more than half of the HTTP threads wait for clients. */
    QVector<ProcessSocket> SlowestOfTooMany() const;

    /** The one that holds such memory and moved least, if that was little. None or one. */
    QVector<ProcessSocket> SlowestThatHolds(WatchedConnection::Memory memory) const;

private:
    struct Reading
    {
        Clock::time_point time;
        qint64 moved; // bytes, since the connection began
    };

    // What is known of a socket, by its identity.
    struct Track
    {
        ProcessSocket socket;
        WatchedConnection::Phase phase = WatchedConnection::ReadingHead;
        WatchedConnection::Memory memory = WatchedConnection::None;
        Clock::time_point since;      // of its phase
        Clock::time_point waitsSince; // the first look from which on all saw it wait for its client
        bool unread = false;          // bytes came that the server has yet to read
        bool unsure = false;          // another has the same peer: no telling what this one does
        std::deque<Reading> readings; // oldest first, of the last 10 s

        void Take(const WatchedConnection *connection);
        void Read(const WatchedSocket &seen, Clock::time_point now);
        qint64 MovedSince(Clock::time_point time) const;
        bool WaitsForClient() const;
        bool Holds(WatchedConnection::Memory what) const;
        bool HoldsUp(Clock::time_point now) const;
    };

    Track TrackOf(const WatchedSocket &seen);

    const size_t threads;
    size_t waitingThreads = 0; // at the last look
    std::map<ino_t, Track> tracks;
    Clock::time_point lastLook;
};

#endif
