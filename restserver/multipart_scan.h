#ifndef MULTIPART_SCAN_H
#define MULTIPART_SCAN_H

/**
 * How the multipart parser looks through a piece of a body: where the next CR is, and how far two
 * texts agree. Private to the library.
 *
 * There are two implementations of the same contract, `PlainScan` for any processor and, where the
 * compiler offers SSE2, `VectorScan`. `Scan` is the one that is used. Nothing outside of the piece
 * is ever read.
 */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace multipart {

constexpr char CR = 13;
constexpr char LF = 10;

/** Searches with the C library's functions. */
class PlainScan
{
public:
    PlainScan(const char *bytes, size_t count)
        : piece(bytes)
        , size(count)
    {}

    /**
     * The position of the first CR at or behind `from`, or the size of the piece when there is
     * none. `from` is at most the size and never less than in the call before.
     */
    size_t FindCr(size_t from)
    {
        if (from == size || piece[from] == CR) {
            return from;
        }
        const void *found = std::memchr(piece + from, CR, size - from);
        return found != nullptr ? static_cast<size_t>(static_cast<const char *>(found) - piece)
                                : size;
    }

    /** How many of the first `count` bytes of the two texts agree before the first difference. */
    static size_t CommonLength(const char *left, const char *right, size_t count)
    {
        return static_cast<size_t>(std::mismatch(left, left + count, right).first - left);
    }

private:
    const char *piece;
    size_t size;
};

#if defined(__SSE2__)

/**
 * Searches with inline vector instructions: a block of 64 bytes becomes a mask of its CRs, and each
 * of them is served from there. Text with short lines costs no function call for a line that way.
 * Where CRs are rare the C library's search is faster, so it goes on after two blocks without one.
 */
class VectorScan
{
public:
    VectorScan(const char *bytes, size_t count)
        : piece(bytes)
        , size(count)
        , blockStart(size_t(0) - blockSize)
        , mask(0)
    {}

    /** As `PlainScan::FindCr`. */
    size_t FindCr(size_t from)
    {
        const size_t offset = from - blockStart;
        if (offset < blockSize) {
            const uint64_t rest = mask >> offset;
            if (rest != 0) {
                return from + FirstBit(rest);
            }
            from = blockStart + blockSize;
        }
        return FindBehindBlock(from);
    }

    /** As `PlainScan::CommonLength`. */
    static size_t CommonLength(const char *left, const char *right, size_t count)
    {
        size_t done = 0;
        for (; count - done >= vectorSize; done += vectorSize) {
            const uint64_t equal = Equal(Load(left + done), Load(right + done));
            if (equal != allEqual) {
                return done + FirstBit(~equal);
            }
        }
        return done + PlainScan::CommonLength(left + done, right + done, count - done);
    }

private:
    static constexpr size_t blockSize = 64;
    static constexpr size_t vectorSize = 16;
    static constexpr uint64_t allEqual = 0xffff;

    static size_t FirstBit(uint64_t bits) { return static_cast<size_t>(__builtin_ctzll(bits)); }

    static __m128i Load(const char *bytes)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    }

    static uint64_t Equal(__m128i left, __m128i right)
    {
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(left, right)));
    }

    static uint64_t MaskOf(const char *block)
    {
        const __m128i cr = _mm_set1_epi8(CR);
        return Equal(Load(block), cr) | Equal(Load(block + vectorSize), cr) << vectorSize |
               Equal(Load(block + 2 * vectorSize), cr) << (2 * vectorSize) |
               Equal(Load(block + 3 * vectorSize), cr) << (3 * vectorSize);
    }

    // The last block is shorter: it is seen through the end of the whole block that ends with it.
    uint64_t MaskOfRest(size_t start) const
    {
        const size_t count = size - start;
        if (size >= blockSize) {
            return MaskOf(piece + size - blockSize) >> (blockSize - count);
        }
        char block[blockSize] = {};
        std::memcpy(block, piece + start, count);
        return MaskOf(block);
    }

    void TakeBlock(size_t start)
    {
        blockStart = start;
        mask = size - start >= blockSize ? MaskOf(piece + start) : MaskOfRest(start);
    }

    size_t FindBehindBlock(size_t from)
    {
        for (int blocks = 0; blocks < 2; ++blocks) {
            if (from >= size) {
                return size;
            }
            TakeBlock(from);
            if (mask != 0) {
                return from + FirstBit(mask);
            }
            from += blockSize;
        }
        return from < size ? FindFar(from) : size;
    }

    size_t FindFar(size_t from)
    {
        const void *found = std::memchr(piece + from, CR, size - from);
        if (found == nullptr) {
            return size;
        }
        TakeBlock(static_cast<size_t>(static_cast<const char *>(found) - piece));
        return blockStart;
    }

    const char *piece;
    size_t size;
    size_t blockStart; // of the block behind `mask`; before the piece while there is none
    uint64_t mask;     // one bit for each byte of the block, set where it is a CR
};

#endif

// MULTIPART_PLAIN_SCAN may be defined to have the plain scan on every processor.
#if defined(__SSE2__) && !defined(MULTIPART_PLAIN_SCAN)
using Scan = VectorScan;
#else
using Scan = PlainScan;
#endif

} // namespace multipart

#endif
