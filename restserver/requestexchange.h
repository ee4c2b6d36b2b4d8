#ifndef REQUESTEXCHANGE_H
#define REQUESTEXCHANGE_H

#include <QByteArray>
#include <civetweb.h>

#include "datachunk.h"
#include "restserverobjects.h"
#include "sharedqueue.h"

/**
 * The HTTP thread's side of one exchange: what is read of a request and written of its answer.
 *
 * On the wire both ways of serving are the same: both write through these functions, but for small
 * answers of prompt serving, which have the same bytes.
 */

/** The method of a request by its text, upper and lower case told apart. */
RestServerRequestMethod ParseMethod(const char *text);

/** Writes an answer whose body is whole. Returns how many bytes of a body were written. */
qint64 SendWholeReply(mg_connection *conn, const RestServerResponseObject &response);

/** Writes the header of a download and its first piece. */
void SendFirstPiece(mg_connection *conn, const RestServerResponseObject &response);

/** Writes a further piece of a download. False when the client is gone. */
bool SendPiece(mg_connection *conn, const DataChunk &piece);

/** Writes the end of a download. */
void SendEndOfPieces(mg_connection *conn);

/** True when the answer is a file of which more pieces follow the first one. */
bool IsDownload(const RestServerResponseObject &response);

/** The queues of classic serving, as its HTTP threads use them, one at a time. */
struct RequestQueues
{
    SharedQueue<RestServerRequestObject *> *requests = nullptr;
    SharedQueue<RestServerResponseObject *> *responses = nullptr;
    SharedQueue<DataChunk *> *requestChunks = nullptr;
    SharedQueue<DataChunk *> *responseChunks = nullptr;
};

/**
 * Reads the body and hands the request to the main thread, a long body chunk by chunk. Gives up the
 * rest of a body of which nobody takes a chunk for 10 s. Returns how many bytes were read.
 */
qint64 HandOverRequest(mg_connection *conn, RestServerRequestUri uri, const RequestQueues &queues);

/** Writes the answer, and the further pieces of a download as they are queued. */
qint64 SendReply(mg_connection *conn, const RestServerResponseObject &response,
                 const RequestQueues &queues);

#endif
