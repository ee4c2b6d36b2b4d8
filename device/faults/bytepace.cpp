#include "bytepace.h"

#include <algorithm>

using std::chrono::duration;
using std::chrono::duration_cast;

BytePace::BytePace(qint64 bytesPerSecond, Time begin)
    : rate(bytesPerSecond)
    , portion(std::max<qint64>(bytesPerSecond / 20, 1))
    , start(begin)
{}

qint64 BytePace::Allowance(Time now) const
{
    const double due = duration<double>(now - start).count() * static_cast<double>(rate);
    const qint64 allowed = static_cast<qint64>(due) - passed;
    return allowed < portion ? 0 : allowed;
}

BytePace::Time BytePace::Due() const
{
    // A little more than the quotient, which is not exact.
    constexpr std::chrono::microseconds margin(100);
    const duration<double> wait(static_cast<double>(passed + portion) / static_cast<double>(rate));
    return start + duration_cast<Time::duration>(wait) + margin;
}
