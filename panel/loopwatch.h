#ifndef LOOPWATCH_H
#define LOOPWATCH_H

#include <QElapsedTimer>
#include <QTimer>
#include <deque>

/** The largest of the numbers that were noted within the last ten seconds. */
class RecentMaximum
{
public:
    /** How long a number counts. */
    static constexpr qint64 windowMilliseconds = 10000;

    /** Notes a number at a time that is no earlier than those before. */
    void Note(qint64 nowMilliseconds, qint64 number);

    /** 0 when there is none. */
    qint64 At(qint64 nowMilliseconds) const;

private:
    struct Entry
    {
        qint64 time;
        qint64 number;
    };

    std::deque<Entry> falling; // each larger than those behind it, which are younger
};

/**
 * How long the event loop was held up, as a display sees it: sixty times a second it should turn,
 * and whatever comes in between makes a frame late. On the thread whose loop it watches.
 */
class LoopWatch : public QObject
{
    Q_OBJECT

public:
    /** The time of a frame on a display of 60 Hz, rounded. */
    static constexpr int frameMilliseconds = 16;

    explicit LoopWatch(QObject *parent = nullptr);

    /** The longest turn of the last ten seconds, in milliseconds beyond the time of a frame. */
    int LongestTurn() const;

private:
    void Beat();

    QTimer beats;
    QElapsedTimer clock;
    qint64 lastBeat = 0;
    RecentMaximum longest;
};

#endif
