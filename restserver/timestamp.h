#ifndef TIMESTAMP_H
#define TIMESTAMP_H

#include <chrono>

/**
 * A moment on the monotonic clock, for measuring waits. Changes of the wall clock do not matter.
 *
 *     TimeStamp start = TimeStamp::GetTimeStamp();
 *     while (!ready() && !TimeStamp::CheckTimeout(&start, 10000)) { ... }
 *
 * A plain value; any thread may use its own.
 */
class TimeStamp
{
public:
    /** The current moment. */
    static TimeStamp GetTimeStamp();

    /**
     * True when more than `timeoutMs` milliseconds have passed since `*start`. Never blocks.
     * Any number is allowed: a negative one has always passed. `start` must not be null.
     */
    static bool CheckTimeout(TimeStamp *start, long long timeoutMs);

private:
    explicit TimeStamp(std::chrono::steady_clock::time_point now)
        : moment(now)
    {}

    std::chrono::steady_clock::time_point moment;
};

#endif
