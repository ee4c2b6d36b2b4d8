#ifndef REQUESTBODY_H
#define REQUESTBODY_H

#include <QByteArray>
#include <civetweb.h>
#include <memory>

#include "bodymemory.h"
#include "connectionwatch.h"

/**
 * The body of one request while it is read, in one buffer that grows as bytes come. Used by the
 * HTTP thread; the buffer lives as long as somebody shares it.
 *
 *     RequestBody body(conn, memory, &watch);
 *     if (body.ReadFirst() == RequestBody::Taken) ...   // up to 5,000,000 bytes
 *     while (body.ReadNext(&piece)) ...                  // what follows, piece by piece
 */
class RequestBody
{
public:
    enum Outcome
    {
        Taken,
        NoMemory ///< other bodies hold what there is, and gave back too little in 10 s
    };

    RequestBody(mg_connection *conn, std::shared_ptr<BodyMemory> memory, ConnectionWatch *watch);

    /** Reads the first 5,000,000 bytes, or what there is. */
    Outcome ReadFirst();

    /** What `ReadFirst` read. Valid while somebody holds `Memory`, and until `ReadNext`. */
    QByteArray First() const;

    /** Reads on, over what was read before. False at the end of the body. */
    bool ReadNext(QByteArray *piece);

    /** Reads the rest of the body and drops it. */
    void DropRest();

    /** True when the body did not end with `First`. */
    bool HasMore() const { return more; }

    /** True when every byte came that the head of the request announced. Known at the end. */
    bool Whole() const { return whole; }

    /** Bytes read so far. */
    qint64 Received() const { return received; }

    /** Bytes announced, or -1. */
    qint64 Announced() const { return announced; }

    /** Keeps the buffer, for who uses it longer than this object lives. */
    std::shared_ptr<const void> Memory() const { return buffer; }

    /** Gives up the buffer to those who hold `Memory`. Only `DropRest` may follow. */
    void Release() { buffer.reset(); }

private:
    struct Buffer;

    bool Grow();
    void Shrink();
    int Read(char *to, size_t count);

    mg_connection *connection;
    ConnectionWatch *watch;
    std::shared_ptr<Buffer> buffer;
    size_t first = 0; // bytes of the first piece
    qint64 received = 0;
    qint64 announced;
    bool more;
    bool whole;
};

#endif
