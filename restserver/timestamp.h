#ifndef TIMESTAMP_H
#define TIMESTAMP_H

#include <chrono>

/**
 * A moment on the monotonic clock, for measuring waits. Changes of the wall clock do not matter.
 *
 *     TimeStamp start = TimeStamp::GetTimeStamp();
 *     while (!ready() && !TimeStamp::CheckTimeout(&start, 10000)) { ... }
 *
 * A plain value; any thread may use its own. Defined here in full, because the queue template that
 * applications instantiate needs it and the library does not export it.
 */
class TimeStamp
{
public:
    /** The current moment. */
    static TimeStamp GetTimeStamp() { return TimeStamp(std::chrono::steady_clock::now()); }

    /**
     * True when more than `timeoutMs` whole milliseconds have passed since `*start`, so that a
     * time-out of 0 leaves the first millisecond for one look: a poll. Never blocks. Any number is
     * allowed: a negative one has always passed. `start` must not be null.
     */
    static bool CheckTimeout(TimeStamp *start, long long timeoutMs)
    {
        using std::chrono::milliseconds;
        const auto elapsed = std::chrono::steady_clock::now() - start->moment;
        // Counted, not compared as durations: the largest time-outs do not fit into nanoseconds.
        return std::chrono::duration_cast<milliseconds>(elapsed).count() > timeoutMs;
    }

private:
    explicit TimeStamp(std::chrono::steady_clock::time_point now)
        : moment(now)
    {}

    std::chrono::steady_clock::time_point moment;
};

#endif
