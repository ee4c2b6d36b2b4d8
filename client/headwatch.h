#ifndef HEADWATCH_H
#define HEADWATCH_H

#include <QBasicTimer>
#include <QHash>
#include <QObject>
#include <QtGlobal>
#include <functional>

/**
 * What this process has read from one port of other machines since an instance was made, told for
 * each connection. What waits in the kernel does not count: it is not in our memory.
 */
class BytesRead
{
public:
    explicit BytesRead(int remotePort);

    /** Of the connection that most was read from. Those that were open before, and may be closing,
     * count with what came since. */
    qint64 MostOfOneConnection() const;

private:
    using BySocket = QHash<quint64, qint64>;
    static BySocket UntilNow(int port);

    const int port;
    const BySocket before;
};

/**
 * Looks from time to time how much has been read of an answer whose head has not ended yet. Qt
 * keeps a head of any length and shows it only when it is whole, so the kernel is asked instead.
 */
class HeadWatch : public QObject
{
public:
    /** No head of a device is longer. It is more than Qt holds between the kernel and what it has
     * parsed, so one that has ended was parsed before this much was read. */
    static constexpr qint64 longestHead = 256 << 10;

    /** @param port of the device @param tooLong called once, from the event loop */
    HeadWatch(int port, std::function<void()> tooLong);

    /** The head is there; what follows has bounds of its own. */
    void End();

private:
    void timerEvent(QTimerEvent *event) override;
    void GiveUp();

    const BytesRead read;
    const std::function<void()> giveUp;
    QBasicTimer timer;
    bool ended = false;
};

#endif // HEADWATCH_H
