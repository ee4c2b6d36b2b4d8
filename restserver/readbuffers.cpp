#include "readbuffers.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Address space that read buffers leave to everything else in the process.
constexpr size_t roomForOthers = size_t(256) * 1024 * 1024;

// For bodies that are read when that room is all that is left. Guarded by the HTTP mutex.
char reserveBuffer[readSize];

// For the pages that lie wholly in a read buffer. What malloc adds behind it up to the end of its
// last page is the buffer's own.
void AdviseOnPages(char *buffer, int advice)
{
    static const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(buffer);
    const auto end = begin + (buffer == reserveBuffer ? readSize : malloc_usable_size(buffer));
    const auto firstPage = (begin + pageSize - 1) / pageSize * pageSize;
    const auto lastPage = end / pageSize * pageSize;
    if (firstPage < lastPage) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): page arithmetic
        madvise(reinterpret_cast<void *>(firstPage), lastPage - firstPage, advice);
    }
}

// Read buffers stay, and use up the address space of a 32-bit process within some 800 reads. The
// chunk that is made of a body, and the application, must be able to allocate after that.
bool IsRoomLeft()
{
    constexpr size_t size = roomForOthers + readSize;
    void *room = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) {
        return false;
    }
    munmap(room, size);
    return true;
}

} // namespace

char *AllocateReadBuffer()
{
    char *buffer = IsRoomLeft() ? static_cast<char *>(std::malloc(readSize)) : nullptr;
    return buffer != nullptr ? buffer : reserveBuffer;
}

char *AllocateReadBufferWithPages()
{
    char *buffer = AllocateReadBuffer();
#ifdef MADV_POPULATE_WRITE
    AdviseOnPages(buffer, MADV_POPULATE_WRITE);
#endif
    return buffer;
}

void ReleaseReadPages(char *buffer)
{
    AdviseOnPages(buffer, MADV_DONTNEED);
}
