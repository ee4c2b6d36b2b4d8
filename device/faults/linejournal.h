#ifndef LINEJOURNAL_H
#define LINEJOURNAL_H

#include <QHash>
#include <QObject>
#include <QVector>
#include <mutex>
#include <optional>

#include "requestobserver.h"

/**
 * Stands between the server and whoever is told of requests while a line is in front of the server:
 * gives each request its real client back, and adds what happened to it on the line. A request is
 * passed on when its connection has ended, since only then that is known.
 *
 * The observer is called in the thread that made this object, which needs an event loop. The
 * connections are those of the thread of the line, each known by its port towards the server.
 */
class LineJournal : public QObject, public IRequestObserver
{
    Q_OBJECT

public:
    /** Keeps the reference; the observer outlives this object. */
    explicit LineJournal(IRequestObserver &requestObserver);

    // Of the server.
    void RequestServed(const RequestRecord &record) override;
    void TransferMoved(const TransferProgress &progress) override;

    // Of the line, from its thread.
    void Begin(int port, const QByteArray &client);
    void Note(int port, const QString &reason);

    /** What the client sees instead of what the server did; no status: that of the server. */
    void SetOutcome(int port, std::optional<int> status, const QString &error);

    /** The server never sees this request. */
    void AnsweredItself(int port, const RequestRecord &record);

    void End(int port);

    /** Passes on what is known of ended connections. */
    void Deliver();

private:
    struct Connection
    {
        QByteArray client;
        QStringList reasons;
        std::optional<int> status;
        QString error;
        bool hasEnded = false;
        std::optional<RequestRecord> record;
    };

    // With the mutex held.
    void Complete(int port);

    IRequestObserver &observer;

    std::mutex mutex; // for all below
    // Each stays until its request was served and it has ended; requests that reach no route are
    // never served, so theirs stay until another connection has their port.
    QHash<int, Connection> connections;
    QVector<RequestRecord> complete;
};

#endif
