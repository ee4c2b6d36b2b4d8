#include "loopwatch.h"

#include <algorithm>

void RecentMaximum::Note(qint64 nowMilliseconds, qint64 number)
{
    while (!falling.empty() && falling.back().number <= number) {
        falling.pop_back();
    }
    while (!falling.empty() && nowMilliseconds - falling.front().time > windowMilliseconds) {
        falling.pop_front();
    }
    falling.push_back({nowMilliseconds, number});
}

qint64 RecentMaximum::At(qint64 nowMilliseconds) const
{
    for (const Entry &entry : falling) {
        if (nowMilliseconds - entry.time <= windowMilliseconds) {
            return entry.number;
        }
    }
    return 0;
}

LoopWatch::LoopWatch(QObject *parent)
    : QObject(parent)
{
    clock.start();
    beats.setTimerType(Qt::PreciseTimer);
    beats.setInterval(frameMilliseconds);
    connect(&beats, &QTimer::timeout, this, &LoopWatch::Beat);
    beats.start();
}

int LoopWatch::LongestTurn() const
{
    return static_cast<int>(longest.At(clock.elapsed()));
}

void LoopWatch::Beat()
{
    const qint64 now = clock.elapsed();
    longest.Note(now, std::max<qint64>(now - lastBeat - frameMilliseconds, 0));
    lastBeat = now;
}
