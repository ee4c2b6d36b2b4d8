#ifndef LINEPROXY_H
#define LINEPROXY_H

#include <QString>
#include <atomic>
#include <list>
#include <thread>
#include <vector>

#include "faultplan.h"
#include "filedescriptor.h"
#include "lineconnection.h"

struct pollfd;

/**
 * The line in front of the server, with faults of its own: takes the clients' connections in the
 * server's place and passes their bytes on to it, in a thread of its own.
 *
 * Order of calls: `Listen`, `Start`, `Stop`, and again. Main thread only.
 */
class LineProxy
{
public:
    /** Plan and journal outlive this object. */
    LineProxy(FaultPlan &faultPlan, LineJournal &lineJournal);
    LineProxy(const LineProxy &) = delete;
    LineProxy &operator=(const LineProxy &) = delete;

    /** Stops when that is still to be done. */
    ~LineProxy();

    /** Before `Start`; called in the thread of the line. */
    void SetGate(LineConnection::Gate requestGate) { gate = std::move(requestGate); }

    /** Takes the port, 0 for a free one. Clients wait until `Start`. False when it is taken. */
    bool Listen(const QString &address, quint16 port);

    /** The port that clients connect to, or did until `Stop`. */
    quint16 Port() const { return listeningPort; }

    /** Passes connections on to this port of 127.0.0.1 from now on. */
    void Start(int serverPort);

    /** Breaks every connection, and each that comes, until `Start` is called anew. Any thread. */
    void GoDown() { isDown = true; }

    /** Breaks the connections that are left, and lets the port go. */
    void Stop();

private:
    using Time = LineConnection::Time;

    // In the thread of the line.
    void Run();
    bool AwaitEvents(std::vector<pollfd> *polled, Time now) const;
    void Accept();
    void BreakAll();
    void TurnConnections(const std::vector<pollfd> &polled);

    FaultPlan &faults;
    LineJournal &journal;
    FileDescriptor listener;
    FileDescriptor stopEvent;
    LineConnection::Gate gate;
    quint16 listeningPort = 0;
    std::atomic<int> portOfServer{0};
    std::atomic<bool> isDown{false};
    std::list<LineConnection> connections; // of the thread of the line, while it runs
    Time nextAccept;                       // of that thread too
    std::thread thread;
};

#endif
