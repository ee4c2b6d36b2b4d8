#ifndef PROGRESSDISPLAY_H
#define PROGRESSDISPLAY_H

#include <QElapsedTimer>
#include <QString>

class Output;

/**
 * Shows on standard error how far one transfer is, with its rate and the time left: a bar that is
 * redrawn on a terminal, otherwise a plain line every few seconds. Nothing with --quiet.
 */
class ProgressDisplay
{
public:
    ProgressDisplay(const Output &output, const QString &fileName, qint64 totalBytes);

    /** Ends the bar's line, whatever became of the transfer. */
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay &) = delete;
    ProgressDisplay &operator=(const ProgressDisplay &) = delete;

    /** Cheap enough to be called for every piece. More than the total counts as the total. */
    void Update(qint64 doneBytes);

    /** "45% of 2.0 GiB, 110.0 MiB/s, 0:10 left". */
    static QString Describe(qint64 done, qint64 total, qint64 elapsedMs);
    static QString Bytes(double count);

private:
    void Draw();
    void Print() const;

    const QString name;
    const qint64 total;
    const bool terminal;
    const bool silent;
    qint64 done = 0;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceShown;
};

#endif // PROGRESSDISPLAY_H
