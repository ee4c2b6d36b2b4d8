#include "timestamp.h"

TimeStamp TimeStamp::GetTimeStamp()
{
    return TimeStamp(std::chrono::steady_clock::now());
}

bool TimeStamp::CheckTimeout(TimeStamp *start, long long timeoutMs)
{
    using std::chrono::milliseconds;
    const auto elapsed = std::chrono::steady_clock::now() - start->moment;
    const auto wholeMilliseconds = std::chrono::duration_cast<milliseconds>(elapsed);
    // Compared in milliseconds, because the largest time-outs do not fit into nanoseconds.
    if (wholeMilliseconds.count() != timeoutMs) {
        return wholeMilliseconds.count() > timeoutMs;
    }
    return elapsed > wholeMilliseconds;
}
