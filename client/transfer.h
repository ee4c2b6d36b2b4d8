#ifndef TRANSFER_H
#define TRANSFER_H

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>

#include "headwatch.h"

class QIODevice;
class QNetworkReply;

/** What a device answers: it has done what it was asked, or another request keeps it busy. */
constexpr int statusDone = 200;
constexpr int statusBusy = 408;

/** One request on its way and the answer to it. */
class Transfer
{
public:
    struct Answer
    {
        int status = 0;
        QByteArray body;               ///< empty when it went to the sink
        bool closesConnection = false; ///< it came to its end, and says that it is the last one
    };

    /** Where the body of a success goes as it arrives. Nothing of it is written beyond `announced`
     * bytes: the transfer ends there, and the sink has one byte more than was announced. */
    struct Sink
    {
        QIODevice *device = nullptr; ///< its object name is what the user knows it by
        qint64 announced = 0;
    };

    /** The longest body that is kept of a success: a longer one is cut off after one byte more. */
    static constexpr int longestDocument = 16 << 20;

    /** Called with the bytes of the body that have passed so far. Must not throw. */
    using Progress = std::function<void(qint64 done)>;

    /**
     * @param startedReply deleted with the transfer
     * @param bodySink without a device the body is in the answer, bounded: 16 MiB of a success and
     * 64 KiB of an error page, of which the rest is not waited for
     * @param progressOfBody told of the sink's bytes, or without a sink of the bytes sent; may be
     * empty without a sink
     *
     * The progress and the device of the sink must live as long as the transfer.
     */
    Transfer(QNetworkReply *startedReply, const Sink &bodySink, const Progress &progressOfBody);
    ~Transfer();
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    /**
     * Runs the event loop until the answer is whole; call it once. Throws a `ClientError`:
     * `CannotConnect` when there was no connection, `TransferCorrupt` when it broke off,
     * `LocalFailure` when the sink does not take the bytes; `Interrupted` when a signal came.
     */
    Answer Await();

private:
    void Take();
    void Keep(const QByteArray &bytes);
    void WriteToSink(const QByteArray &bytes);
    void StopReading();
    void GiveUpHead();
    void TellSent(qint64 sent);

    std::unique_ptr<QNetworkReply> reply;
    const Sink sink;
    const Progress &progress;
    Answer answer;
    QString distrust;   ///< why the certificate is not trusted
    qint64 arrived = 0; // of the body, wherever it went
    qint64 received = 0;
    bool bytesPassed = false; ///< in either direction
    bool sinkFailed = false;
    bool enough = false; ///< the rest is of no use
    bool headTooLong = false;
    HeadWatch headWatch;
};

#endif // TRANSFER_H
