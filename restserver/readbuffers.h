#ifndef READBUFFERS_H
#define READBUFFERS_H

/**
 * Memory into which the pieces of request bodies are read when serving classically.
 *
 * A read buffer stays allocated for good. What goes back to the kernel after each use are its whole
 * pages, so that a buffer costs address space and one page that the allocator writes to.
 */

constexpr int readSize = 5000000;

/**
 * A buffer of `readSize` bytes, never null: when hardly any address space is left it is the one
 * reserve buffer, so that a request is still answered. The caller holds the HTTP mutex.
 */
char *AllocateReadBuffer();

/**
 * The same for a piece that is likely to be full: to have all pages at once takes the kernel half
 * the time of a fault for each.
 */
char *AllocateReadBufferWithPages();

/** Gives the pages of a read buffer back to the kernel; the buffer stays allocated. */
void ReleaseReadPages(char *buffer);

#endif
