#ifndef CONNECTIONWATCH_H
#define CONNECTIONWATCH_H

#include <QByteArray>
#include <QVector>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "connectiontracks.h"
#include "processsockets.h"

/**
 * Shuts down connections that hold an HTTP thread without moving bytes.
 *
 * The embedded server waits for a client as long as a byte comes now and then. This watch looks,
 * twice a second while any connection is older than 1 s, at what the kernel counts for each socket
 * of the server. It shuts down, in both directions:
 *
 * - one that moved fewer than 10,000 bytes in 10 s while the server waited for its client, for the
 *   head of its request as well;
 * - one that keeps sending for 2 s after its answer;
 * - while more than half of the HTTP threads wait for clients, the one that moved least in the last
 *   2 s, but none that is younger than that;
 * - while others wait for memory, the one that holds some of it and moved least in the last 2 s, if
 *   that was less than 200,000 bytes.
 *
 * A request tells its peer, but not at which address of the device. Connections from one port of
 * one client to several addresses or ports of the device count as waiting for their client and as
 * holding everything, so that none of them covers another.
 *
 * A shut down socket makes the blocked call of the HTTP thread return. `Enter`, `Leave` and the
 * phases are called by HTTP threads, each for its one connection.
 */
class ConnectionWatch
{
public:
    explicit ConnectionWatch(size_t httpThreads);
    ~ConnectionWatch();

    using Memory = WatchedConnection::Memory;

    /** `isScarce` tells, on any thread, whether others wait for such memory. Before `Start`. */
    void SetScarcity(Memory memory, std::function<bool()> isScarce);

    /**
     * Watches the connections of these ports, on a thread of its own. False when there is none to
     * be had; `ShutDownAll` works all the same.
     */
    bool Start(const QVector<ProcessSocket> &listeningSockets);

    /** Shuts down the listening sockets and, until `End`, every connection. */
    void ShutDownAll();

    /** Ends the watching thread. */
    void End();

    /** The calling HTTP thread has a new connection, and waits for the head of its request. */
    void Enter();

    /** The request of the thread's connection has come to its route. */
    void Identify(const QByteArray &peer);

    /** What the connection holds from now on, instead of what it held. */
    void Holds(Memory memory);

    /** The answer is out; what the client still sends is of no interest. */
    void Answered();

    /** The connection of the calling thread is closed. */
    void Leave();

    /** While it lives the calling thread waits for its client. */
    class Waiting
    {
    public:
        explicit Waiting(ConnectionWatch *owner);
        ~Waiting();
        Waiting(const Waiting &) = delete;
        Waiting &operator=(const Waiting &) = delete;

    private:
        ConnectionWatch *watch;
    };

private:
    using Clock = WatchedConnection::Clock;
    using Lock = std::unique_lock<std::mutex>;

    void SetPhase(WatchedConnection::Phase phase);
    void Run();
    void WaitUntilDue(Lock *lock);
    void Look();
    void Follow(const QVector<ProcessSocket> &sockets);
    std::vector<WatchedConnection> Connections();

    QVector<ProcessSocket> listening;
    QVector<int> ports;
    ConnectionTracks tracks; // watching thread
    std::map<Memory, std::function<bool()>> scarcities;

    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::thread::id, WatchedConnection> connections; // guarded by mutex, by HTTP thread
    bool idle = false;     // guarded by mutex: the watching thread waits for a first one
    bool stopping = false; // guarded by mutex
    bool ended = false;    // guarded by mutex
    std::thread thread;
};

#endif
