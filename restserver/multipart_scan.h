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
 * Searches with inline vector instructions: the block of 64 bytes around a CR becomes a mask of its
 * CRs, and each of them is served from there. That costs no function call for a short line.
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
        }
        // A block that begins here, and not at the end of the one before, makes it predictable
        // which block of a line has its CR. That saves more than the bytes that are looked at twice
        // cost.
        return FindBlock(from);
    }

    /** As `PlainScan::CommonLength`. */
    static size_t CommonLength(const char *left, const char *right, size_t count)
    {
        if (count < stepSize) {
            return PlainScan::CommonLength(left, right, count);
        }
        const size_t lastStep = count - stepSize;
        for (size_t done = 0;; done = std::min(done + stepSize, lastStep)) {
            const uint64_t equal = EqualBytes(left + done, right + done);
            if (equal != allEqual) {
                return done + FirstBit(~equal);
            }
            if (done == lastStep) {
                return count;
            }
        }
    }

private:
    static constexpr size_t vectorSize = 16;
    static constexpr size_t blockSize = 4 * vectorSize;
    static constexpr size_t stepSize = 2 * vectorSize;
    static constexpr uint64_t allEqual = 0xffffffff;

    // Where the bytes of a block are CR, vector by vector.
    struct Block
    {
        explicit Block(const char *bytes)
            : first(CrIn(bytes))
            , second(CrIn(bytes + vectorSize))
            , third(CrIn(bytes + 2 * vectorSize))
            , fourth(CrIn(bytes + 3 * vectorSize))
        {}

        bool Any() const
        {
            return Bits(_mm_or_si128(_mm_or_si128(first, second), _mm_or_si128(third, fourth))) !=
                   0;
        }

        uint64_t Mask() const
        {
            return Bits(first) | Bits(second) << vectorSize | Bits(third) << (2 * vectorSize) |
                   Bits(fourth) << (3 * vectorSize);
        }

        __m128i first;
        __m128i second;
        __m128i third;
        __m128i fourth;
    };

    static size_t FirstBit(uint64_t bits) { return static_cast<size_t>(__builtin_ctzll(bits)); }

    static uint64_t Bits(__m128i vector)
    {
        return static_cast<uint32_t>(_mm_movemask_epi8(vector));
    }

    static __m128i Load(const char *bytes)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    }

    static __m128i CrIn(const char *bytes)
    {
        return _mm_cmpeq_epi8(Load(bytes), _mm_set1_epi8(CR));
    }

    static uint64_t EqualBytes(const char *left, const char *right)
    {
        return Bits(_mm_cmpeq_epi8(Load(left), Load(right))) |
               Bits(_mm_cmpeq_epi8(Load(left + vectorSize), Load(right + vectorSize)))
                   << vectorSize;
    }

    size_t FindBlock(size_t from)
    {
        for (; size - from >= blockSize; from += blockSize) {
            const Block block(piece + from);
            if (block.Any()) {
                return TakeBlock(from, block.Mask());
            }
        }
        return from < size ? TakeBlock(from, MaskOfRest(from)) : size;
    }

    size_t TakeBlock(size_t start, uint64_t blockMask)
    {
        blockStart = start;
        mask = blockMask;
        return mask != 0 ? start + FirstBit(mask) : size;
    }

    // The last block is shorter: it is seen through the end of the whole block that ends with it.
    uint64_t MaskOfRest(size_t start) const
    {
        const size_t count = size - start;
        if (size >= blockSize) {
            return Block(piece + size - blockSize).Mask() >> (blockSize - count);
        }
        char bytes[blockSize] = {};
        std::memcpy(bytes, piece + start, count);
        return Block(bytes).Mask();
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
