#include "requestbody.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace {

constexpr size_t smallestBuffer = size_t(16) * 1024;
constexpr size_t largestPiece = BodyMemory::largestBody;
constexpr size_t nextPiece = size_t(512) * 1024; // fits into the processor's cache

} // namespace

// Raw memory, because a byte array would fill it with zeros before it is read into.
struct RequestBody::Buffer
{
    explicit Buffer(std::shared_ptr<BodyMemory> memory)
        : share(std::move(memory))
    {}
    ~Buffer() { std::free(bytes); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    // One byte more ends what is taken for a text.
    void Resize(size_t newSize)
    {
        bytes = static_cast<char *>(std::realloc(bytes, newSize + 1));
        size = newSize;
    }

    BodyMemory::Share share;
    char *bytes = nullptr;
    size_t size = 0;
};

RequestBody::RequestBody(mg_connection *conn, std::shared_ptr<BodyMemory> memory,
                         ConnectionWatch *connectionWatch)
    : connection(conn)
    , watch(connectionWatch)
    , buffer(std::make_shared<Buffer>(std::move(memory)))
    , announced(mg_get_request_info(conn)->content_length)
    , more(announced != 0)
    , whole(!more)
{}

bool RequestBody::Grow()
{
    const size_t size = std::min(std::max(buffer->size * 4, smallestBuffer), largestPiece);
    if (!buffer->share.GrowTo(size)) {
        return false;
    }
    buffer->Resize(size);
    return buffer->bytes != nullptr;
}

int RequestBody::Read(char *to, size_t count)
{
    const ConnectionWatch::Waiting waiting(watch);
    const int result = mg_read(connection, to, count);
    received += std::max(result, 0);
    if (announced >= 0) {
        whole = received >= announced;
        more = !whole && result == static_cast<int>(count);
    } else if (result < static_cast<int>(count)) {
        whole = result >= 0;
        more = false;
    }
    return result;
}

RequestBody::Outcome RequestBody::ReadFirst()
{
    while (more && first < largestPiece) {
        if (first == buffer->size && !Grow()) {
            return NoMemory;
        }
        const int count = Read(buffer->bytes + first, buffer->size - first);
        if (count > 0) {
            first += static_cast<size_t>(count);
        } else if (count < 0 && announced < 0) {
            first = 0; // a chunked body whose coding is broken counts as empty
        }
    }
    if (buffer->bytes != nullptr) {
        buffer->bytes[first] = '\0';
    }
    return Taken;
}

QByteArray RequestBody::First() const
{
    return QByteArray::fromRawData(buffer->bytes, static_cast<int>(first));
}

bool RequestBody::ReadNext(QByteArray *piece)
{
    if (!more) {
        return false;
    }
    if (buffer->size > nextPiece) {
        buffer->Resize(nextPiece); // a long upload keeps no more than it needs from others
        buffer->share.ShrinkTo(nextPiece);
    }
    const int count = Read(buffer->bytes, buffer->size);
    *piece = QByteArray::fromRawData(buffer->bytes, std::max(count, 0));
    return count > 0;
}

// Not over the first piece, which may still be looked at.
void RequestBody::DropRest()
{
    std::array<char, smallestBuffer> dropped;
    while (more && Read(dropped.data(), dropped.size()) > 0) {
    }
}
