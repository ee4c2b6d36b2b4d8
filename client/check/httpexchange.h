#ifndef HTTPEXCHANGE_H
#define HTTPEXCHANGE_H

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QUrl>

/** A request as it goes to the device; `route` is encoded already and sent as it is. */
struct HttpRequest
{
    QByteArray method;
    QByteArray route;
    QByteArray body;
    QByteArray contentType = "application/json";
};

/** What came back, transfer coding removed. */
struct HttpAnswer
{
    int status = 0;
    QByteArray head;
    QByteArray body;
    QString problem; ///< why it is not a whole answer; empty when it is
    qint64 milliseconds = 0;

    /** The value of a header, empty without it. `name` in lower case. */
    QByteArray Header(const QByteArray &name) const;

    /**
     * The document that came. Null with a problem when it is none, and when an object in it has a
     * key twice, which takes memory for good.
     */
    QJsonDocument Json(QString *whyNone) const;
};

/**
 * One request on a connection of its own. Neither repeats a request nor repairs an answer, as
 * libraries for clients do: what a check reports is what the device sent.
 */
class HttpExchange
{
public:
    struct Target
    {
        QUrl device;
        QSslConfiguration encryption; ///< counts for https
        int timeoutMs = 30'000;       ///< without a byte
    };

    explicit HttpExchange(const Target &target);

    /** Connects; false when nobody answers. */
    bool Connect();

    /** All of a request as it stands on the wire. */
    QByteArray Text(const HttpRequest &request) const;

    void Send(const QByteArray &bytes);

    /** Waits until some of the answer is there, and stops taking more from the network. */
    void ReceiveSome(qint64 bytes);

    /** Bytes; a device that sends more gets a problem in its answer. */
    static constexpr int longestAnswer = 24 * 1024 * 1024;

    /** Waits for the rest of the answer. */
    HttpAnswer Receive(const QByteArray &method);

    /** Closes in the middle. */
    void Abort();

private:
    bool AwaitMore();
    bool ReceiveHead(HttpAnswer &answer);
    void ReceiveBody(HttpAnswer &answer, const QByteArray &method);
    void ReceiveLength(HttpAnswer &answer, qint64 length);
    void ReceiveChunks(HttpAnswer &answer);
    bool TakeChunk(HttpAnswer &answer, bool *last);
    void ReceiveToTheEnd(HttpAnswer &answer);

    const Target &target;
    QSslSocket socket;
    QByteArray received;
    qint64 taken = 0; // bytes, without what `ReceiveSome` took
    QElapsedTimer started;
};

#endif
