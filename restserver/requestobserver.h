#ifndef REQUESTOBSERVER_H
#define REQUESTOBSERVER_H

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

/** One request and what became of it. */
struct RequestRecord
{
    QDateTime time;          ///< when the request came, in UTC
    QByteArray client;       ///< address and port
    QByteArray method;       ///< as it was sent
    QByteArray uri;          ///< decoded, without its query; control characters as "\x1b"
    int status = 0;          ///< as sent on the wire; 0: nothing was sent
    qint64 received = 0;     ///< bytes of the request's body
    qint64 sent = 0;         ///< bytes of the answer's body
    qint64 microseconds = 0; ///< from the call of the route to the answer's last byte
    QString error;           ///< "errorMessage" or error text of the answer; empty: a success
    QStringList reports;     ///< what was reported to the host, and the library's own reasons
    QByteArray answer;       ///< JSON or error text, its first 4 KiB
};

/** How far the body of a transfer has moved. */
struct TransferProgress
{
    quint64 id = 0;      ///< the same for one transfer, another for the next
    QByteArray client;   ///< address and port
    QByteArray uri;      ///< as in `RequestRecord`
    bool upload = false; ///< or a download
    qint64 moved = 0;    ///< bytes of the body so far
    qint64 total = -1;   ///< bytes of the whole body; -1: not known
};

/**
 * Is told what the server does. All calls come on the thread of the model, in turns of its event
 * loop and, for what was served last, in `RestServerModel::Stop`; never after that. It may call
 * `Stop`, and is then told nothing more.
 */
class IRequestObserver
{
public:
    /** Once for each request that reached a route, after its answer. */
    virtual void RequestServed(const RequestRecord &record) = 0;

    /** While a transfer runs, at most four times a second for each. Prompt serving only. */
    virtual void TransferMoved(const TransferProgress &) {}

protected:
    ~IRequestObserver() = default;
};

#endif
