#ifndef PROMPTREPLY_H
#define PROMPTREPLY_H

#include <civetweb.h>

#include "restserverobjects.h"

/**
 * Writes an answer whose body is whole, the same bytes as `SendWholeReply`. A small one goes out in
 * one piece: the embedded server writes its head in nine, each with a system call and a segment of
 * its own. Returns how many bytes of a body were written.
 */
qint64 SendReplyAtOnce(mg_connection *conn, const RestServerResponseObject &response);

#endif
