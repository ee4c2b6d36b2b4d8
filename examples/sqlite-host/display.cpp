#include "display.h"

#include <algorithm>

Display::Display()
{
    constexpr int frameMs = 16;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { Paint(); });
    timer.start(frameMs);
    sinceLast.start();
}

qint64 Display::LongestPauseMs() const
{
    return longestPauseMs;
}

void Display::Paint()
{
    longestPauseMs = std::max(longestPauseMs, sinceLast.restart());
}
