#ifndef BYTEPACE_H
#define BYTEPACE_H

#include <QtGlobal>
#include <chrono>

/** Says how many bytes may pass by now so that no more than a number of them pass in a second. */
class BytePace
{
public:
    using Time = std::chrono::steady_clock::time_point;

    /** The pace counts from `begin`. */
    BytePace(qint64 bytesPerSecond, Time begin);

    /** What may pass now; nothing until a twentieth of a second's bytes may. */
    qint64 Allowance(Time now) const;

    /** When something may pass again. */
    Time Due() const;

    void Count(qint64 bytes) { passed += bytes; }

private:
    qint64 rate;
    qint64 portion;
    Time start;
    qint64 passed = 0;
};

#endif
