#ifndef DATACHUNK_H
#define DATACHUNK_H

#include <QByteArray>
#include <utility>

/**
 * One piece of a request or response body.
 *
 * Bodies travel between the HTTP threads and the main thread as a sequence of chunks, of which
 * exactly the last one says so. A chunk is created with `new`; whoever takes its pointer from a
 * queue owns it and deletes it.
 *
 * Not synchronised: a chunk is touched by one thread at a time, and the queue that carries its
 * pointer is the point of hand-over.
 */
class DataChunk
{
public:
    /** Keeps the bytes (implicitly shared, not copied) and whether the body ends with them. */
    DataChunk(QByteArray bytes, bool isLast)
        : data(std::move(bytes))
        , lastChunk(isLast)
    {}

    /** The bytes held; valid as long as the chunk. Empty is allowed. */
    const QByteArray &Data() const { return data; }

    /** True when no further chunk of the same body follows. */
    bool LastChunk() const { return lastChunk; }

private:
    QByteArray data;
    bool lastChunk;
};

#endif
