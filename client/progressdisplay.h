#ifndef PROGRESSDISPLAY_H
#define PROGRESSDISPLAY_H

#include <QString>
#include <functional>

class Output;

/**
 * Shows how far a job is: the file in hand with a bar, its rate and the time left, and for more
 * than one file how many of them are done. Only on a terminal, and for a job of one file or many
 * alike only where `Output::ShowsStatus`.
 *
 * A transfer that begins again counts from there: neither the lost bytes nor the pause are part of
 * the rate.
 */
class ProgressDisplay
{
public:
    /** Milliseconds since some moment that stays the same. */
    using Clock = std::function<qint64()>;
    static qint64 SteadyClock();

    /** @param bytes of all files, as far as they are known */
    ProgressDisplay(const Output &jobOutput, int files, qint64 bytes,
                    Clock clockToUse = SteadyClock);

    /** Ends the line, whatever became of the job. */
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /** The next file. */
    void Begin(const QString &fileName, qint64 fileBytes);

    /** Cheap enough to be called for every piece. More than the file's bytes count as all. */
    void Update(qint64 doneBytes);

    /** The file in hand is finished, well or not. */
    void End();

    /** What there is to show now, in one line of so many columns. */
    QString Text(int columns) const;

    /** "45% of 2.0 GiB, 110.0 MiB/s, 0:10 left". */
    static QString Describe(qint64 done, qint64 total, qint64 elapsedMs);

    /** "312 of 5,000, 4 min left". */
    static QString DescribeJob(int done, int files, qint64 secondsLeft);

    static QString Bytes(double count);

    /** How many columns of a terminal a text takes. */
    static int Columns(const QString &text);

    /** The longest end of a text that takes no more columns than that. */
    static QString LastColumns(const QString &text, int columns);

    /** What fits into a line of so many columns, by leaving out the least important first. */
    static QString Fit(const QString &job, const QString &name, int percent, const QString &details,
                       int columns);

private:
    void Draw();
    void LoseTry();
    qint64 SecondsLeft() const;

    const Output &output;
    const int files;
    const qint64 bytes;
    const bool shown;
    QString name;
    qint64 size = 0;
    qint64 done = 0;
    qint64 finishedBytes = 0;
    int finishedFiles = 0;
    qint64 lostMs = 0;     ///< of the whole job, in tries that came to nothing
    bool isInHand = false; ///< a file has begun and not ended
    const Clock clock;
    const qint64 jobStart;
    qint64 tryStart = 0;
    qint64 lastShown;
};

#endif // PROGRESSDISPLAY_H
