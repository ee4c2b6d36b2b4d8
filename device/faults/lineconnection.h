#ifndef LINECONNECTION_H
#define LINECONNECTION_H

#include <QDateTime>
#include <functional>
#include <optional>

#include "faultplan.h"
#include "filedescriptor.h"
#include "linejournal.h"
#include "linestream.h"
#include "requesthead.h"

/**
 * A client's connection and the one that goes on from it to the server: passes bytes on in both
 * directions, and does to them what the plan says. The server answers one request in a connection,
 * so a fault is chosen when the request's head is there, and concerns the rest of the connection.
 *
 * Thread of the line only.
 */
class LineConnection
{
public:
    using Time = LineStream::Time;

    /** The two sockets, which do not block. */
    struct Ends
    {
        FileDescriptor client;
        FileDescriptor server;
        QByteArray clientName; ///< address and port
        int portTowardsServer = 0;
    };

    /** What is wanted of the sockets before the next `Turn`. */
    struct Wishes
    {
        short ofClient = 0; ///< events of poll(2); 0: it need not be looked at
        short ofServer = 0;
        std::optional<Time> due; ///< a turn is wanted then in any case
    };

    /** Asked for each request before it goes on; false: the connection breaks. */
    using Gate = std::function<bool()>;

    /** Plan, journal and gate outlive the connection. */
    LineConnection(Ends connectionEnds, FaultPlan &faultPlan, LineJournal &lineJournal,
                   const Gate &requestGate);
    LineConnection(const LineConnection &) = delete;
    LineConnection &operator=(const LineConnection &) = delete;
    ~LineConnection();

    const FileDescriptor &Client() const { return ends.client; }
    const FileDescriptor &Server() const { return ends.server; }

    Wishes Wanted(Time now) const;

    /** Moves what can be moved. `clientEvents` are those that poll(2) has seen. */
    void Turn(Time now, short clientEvents);

    /** Ends it so that both ends notice. */
    void Break() { End(true); }

    /** Nothing is left to do: the object can go. */
    bool HasEnded() const { return state == State::Ended; }

private:
    enum class State
    {
        AwaitsRequest,
        Passes,
        AwaitsLateAnswer,
        Stalls,
        Breaks,  // what has passed is on its way to the client
        Lingers, // the answer is out; what the client still sends is read and dropped
        Ended
    };

    // Each of them does its part of a turn.
    void BeginRequest(Time now);
    bool AnswerItself();
    void ArmFaults(Time now);
    void LookAtAnswer(Time now);
    void Corrupt();
    void Move(Time now);
    void CheckLimits(Time now);
    void CheckEnds(Time now);
    void Wait(Time now, short clientEvents);

    bool PassesAnswer() const;

    bool Bites(FaultKind kind, const QString &description);
    void SetLimits();
    void AnswerLate();
    void Linger(Time now);
    void EndRequest();
    void End(bool abruptly);

    Ends ends;
    FaultPlan &faults;
    LineJournal &journal;
    const Gate &gate;
    LineStream up;
    LineStream down;
    State state = State::AwaitsRequest;
    RequestHead request;
    QDateTime begin;
    std::optional<qint64> dropAfter;
    std::optional<qint64> stallAfter;
    std::optional<qint64> lateBy; // until the answer begins
    bool mayCorrupt = false;
    bool isUnderWay = false;
    bool isOver = false;     // for the plan and the journal
    bool serverTold = false; // that the client sends no more
    Time deadline;           // of the state
    Time nextLook;           // whether what has passed is out
};

#endif
