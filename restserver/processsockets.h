#ifndef PROCESSSOCKETS_H
#define PROCESSSOCKETS_H

#include <QByteArray>
#include <QVector>
#include <sys/types.h>

/**
 * The TCP sockets of this process that belong to a server of its own, found by their addresses: the
 * embedded server does not hand out its descriptors.
 *
 * A descriptor found here may be closed, and its number used again, by whoever owns it at any
 * moment. It is therefore only looked at; to act on a socket a duplicate is made and compared
 * first.
 */

/** One socket as it was found. */
struct ProcessSocket
{
    int descriptor = -1;
    ino_t identity = 0; // of the socket, whatever number it goes by
    int localPort = 0;
    QByteArray peer; // address and port, as `PeerName` writes them; empty: it listens
};

/** The listening TCP sockets of the process. */
QVector<ProcessSocket> ListeningSockets();

/** The sockets that were accepted on one of the ports. */
QVector<ProcessSocket> AcceptedSockets(const QVector<int> &localPorts);

/** How a peer is written: "192.0.2.1:40000". */
QByteArray PeerName(const QByteArray &address, int port);

/** Bytes that came and bytes that the peer has confirmed, together; -1 when that is not known. */
qint64 MovedBytes(const ProcessSocket &socket);

/** Whether bytes have come that the server did not read yet. */
bool HasUnreadBytes(const ProcessSocket &socket);

/** Shuts the socket down in both directions, if its descriptor still stands for it. */
void ShutDown(const ProcessSocket &socket);

#endif
