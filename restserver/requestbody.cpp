#include "requestbody.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sys/mman.h>

namespace {

constexpr size_t smallestBuffer = size_t(16) * 1024;
constexpr size_t largestPiece = BodyMemory::largestBody;
constexpr size_t nextPiece = size_t(512) * 1024; // fits into the processor's cache

} // namespace

// Raw memory, because a byte array would fill it with zeros before it is read into. What is larger
// than the smallest buffer is mapped: a heap, of which each thread may have one, would keep a part.
struct RequestBody::Buffer
{
    explicit Buffer(std::shared_ptr<BodyMemory> memory)
        : share(std::move(memory))
    {}
    ~Buffer() { Release(); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    // One byte more ends what is taken for a text. Without memory all stays as it is.
    bool Resize(size_t newSize)
    {
        void *resized = newSize > smallestBuffer ? Map(newSize + 1) : std::malloc(newSize + 1);
        if (resized == nullptr) {
            return false;
        }
        bytes = static_cast<char *>(resized);
        size = newSize;
        return true;
    }

    BodyMemory::Share share;
    char *bytes = nullptr;
    size_t size = 0;

private:
    bool IsMapped() const { return size > smallestBuffer; }

    void *Map(size_t length)
    {
        void *place = IsMapped() ? mremap(bytes, size + 1, length, MREMAP_MAYMOVE)
                                 : mmap(nullptr, length, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (place == MAP_FAILED) {
            return nullptr;
        }
        if (!IsMapped()) {
            std::copy_n(bytes, size, static_cast<char *>(place));
            std::free(bytes);
        }
        return place;
    }

    void Release()
    {
        if (IsMapped()) {
            munmap(bytes, size + 1);
        } else {
            std::free(bytes);
        }
    }
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
    if (!buffer->share.GrowTo(size) || !buffer->Resize(size)) {
        return false;
    }
    if (size > BodyMemory::alwaysGranted) {
        watch->Holds(WatchedConnection::OfBodies);
    }
    return true;
}

// What follows is read in smaller pieces, and others may use the memory of the large first one.
void RequestBody::Shrink()
{
    if (buffer->size > nextPiece && buffer->Resize(nextPiece)) {
        buffer->share.ShrinkTo(nextPiece);
    }
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
    Shrink();
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
