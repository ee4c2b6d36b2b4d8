#ifndef TRANSFER_H
#define TRANSFER_H

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>

class QIODevice;
class QNetworkReply;

/** One request on its way and the answer to it. */
class Transfer
{
public:
    struct Answer
    {
        int status = 0;
        QByteArray body; ///< empty when it went to the sink
    };

    /** Called with the bytes of the body that have passed so far. Must not throw. */
    using Progress = std::function<void(qint64 done)>;

    /**
     * @param startedReply deleted with the transfer
     * @param bodySink takes the body of a success as it arrives; null to have it in the answer
     * @param progressOfBody told of the sink's bytes, or without a sink of the bytes sent; may be
     * empty without a sink
     *
     * The last two must live as long as the transfer.
     */
    Transfer(QNetworkReply *startedReply, QIODevice *bodySink, const Progress &progressOfBody);
    ~Transfer();
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    /**
     * Runs the event loop until the answer is whole; call it once. Throws a `ClientError`:
     * `CannotConnect` when there was no connection, `TransferCorrupt` when it broke off,
     * `LocalFailure` when the sink does not take the bytes.
     */
    Answer Await();

private:
    void Take();
    void WriteToSink(const QByteArray &bytes);
    void TellSent(qint64 sent);

    std::unique_ptr<QNetworkReply> reply;
    QIODevice *sink;
    const Progress &progress;
    Answer answer;
    QString distrust; ///< why the certificate is not trusted
    qint64 received = 0;
    bool bytesPassed = false; ///< in either direction
    bool sinkFailed = false;
};

#endif // TRANSFER_H
