#ifndef LINESTREAM_H
#define LINESTREAM_H

#include <QByteArray>
#include <optional>

#include "bytepace.h"

/**
 * One direction of a connection: bytes that came from one socket and go to another. It tells the
 * head of a message from its body, and can be told how much of the body passes, and how fast.
 *
 * The sockets do not block. One thread at a time.
 */
class LineStream
{
public:
    using Time = BytePace::Time;

    /** The descriptors stay the caller's. */
    LineStream(int source, int sink);

    /** Takes what has come, as far as there is room. */
    void Receive();

    /** Passes on what may pass now. */
    void Send(Time now);

    bool WantsBytes() const;
    bool CanSend(Time now) const { return Passable(now) > 0; }

    /** The head is whole, or it never will be. */
    bool HasHead() const { return head >= 0; }

    /** What came and did not pass yet. */
    QByteArray &Waiting() { return waiting; }
    int WaitingHead() const { return head; } // bytes of the head in `Waiting`
    bool IsEmpty() const { return waiting.isEmpty(); }

    /** No more comes; what came is still to pass. */
    bool HasEnded() const { return sourceEnded; }
    bool IsBroken() const { return sourceBroken; }
    bool CannotSend() const { return sinkBroken; }

    /** No more than so many bytes of the body pass from now on; none: all. */
    void SetLimit(std::optional<qint64> bytes) { limit = bytes; }
    std::optional<qint64> Limit() const { return limit; }

    /** All has passed that may, and more is there. */
    bool IsAtLimit() const;

    void SetPace(const BytePace &bodyPace) { pace = bodyPace; }

    /** When the pace lets more pass, where it is waited for. */
    std::optional<Time> Due(Time now) const;

    /** What comes, and what came, goes nowhere. */
    void Discard();

    /** Sends this instead of what the source sends, which is not read any more. */
    void Replace(const QByteArray &message);

private:
    qint64 Passable(Time now) const;
    void FindHead();

    int from;
    int to;
    QByteArray waiting;
    int head = -1; // -1: not known yet
    qint64 bodyPassed = 0;
    std::optional<qint64> limit;
    std::optional<BytePace> pace;
    bool discards = false;
    bool sourceEnded = false;
    bool sourceBroken = false;
    bool sinkBroken = false;
};

#endif
