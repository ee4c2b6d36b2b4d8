#ifndef DISPLAY_H
#define DISPLAY_H

#include <QElapsedTimer>
#include <QTimer>

/** Stands for the display of a device: its event loop is to turn 60 times a second. */
class Display
{
public:
    Display();

    /** The longest time for which the loop did not turn. */
    qint64 LongestPauseMs() const;

private:
    void Paint();

    QTimer timer;
    QElapsedTimer sinceLast;
    qint64 longestPauseMs = 0;
};

#endif
