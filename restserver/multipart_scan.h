#ifndef MULTIPART_SCAN_H
#define MULTIPART_SCAN_H

/**
 * How the multipart parser looks through a piece of a body: where the next CR is, and how far two
 * texts agree. Private to the library.
 *
 * There are two implementations of the same contract: `PlainScan` for any processor and
 * `VectorScan` for those with AVX2. The piece's bytes are the caller's and outlive a scan. Nothing
 * outside of the piece is ever read.
 */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

// MULTIPART_PLAIN_SCAN may be defined to have the plain scan on every processor.
#if defined(__SSE2__) && !defined(MULTIPART_PLAIN_SCAN)
#define MULTIPART_HAS_VECTOR_SCAN
#include <immintrin.h>
#endif

namespace Multipart {

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
     * none. `from` is at most the size, never less than in the call before, and behind the CR that
     * was found last.
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

#if defined(MULTIPART_HAS_VECTOR_SCAN)

#define MULTIPART_AVX2 __attribute__((always_inline, target("avx2,bmi,popcnt")))

/**
 * Searches with vector instructions, a window at a time: first the positions of all its CRs are
 * listed, then each is served from the list. Listing hardly depends on where the CRs are, so the
 * processor has nothing to guess, and a short line costs no search of its own.
 */
class VectorScan
{
public:
    VectorScan(const char *bytes, size_t count)
        : piece(bytes)
        , size(count)
        , listedEnd(0)
        , nextPosition(positions)
    {
        positions[0] = endOfList;
    }
    VectorScan(const VectorScan &) = delete; // it points into itself
    VectorScan &operator=(const VectorScan &) = delete;

    /** As `PlainScan::FindCr`. */
    size_t FindCr(size_t from)
    {
        for (;;) {
            const size_t position = *nextPosition;
            if (position < listedEnd) {
                ++nextPosition;
                if (position >= from) {
                    return position;
                }
            } else if (listedEnd == size) {
                return size;
            } else {
                ListWindow(std::max(listedEnd, from));
            }
        }
    }

    /** As `PlainScan::CommonLength`. */
    static size_t CommonLength(const char *left, const char *right, size_t count)
    {
        size_t done = 0;
        while (count - done > blockSize) {
            const uint64_t equal = EqualBytes(left + done, right + done, stepSize);
            if (equal != allEqual) {
                return done + FirstBit(~equal);
            }
            done += blockSize;
        }
        if (count - done < stepSize) {
            return done + PlainScan::CommonLength(left + done, right + done, count - done);
        }
        const uint64_t equal = EqualBytes(left + done, right + done, count - done - stepSize);
        return equal != allEqual ? std::min(done + FirstBit(~equal), count) : count;
    }

    /** Whether this processor has what the class needs. */
    static bool IsSupported()
    {
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
               __builtin_cpu_supports("popcnt");
    }

private:
    static constexpr size_t windowSize = 1536;
    static constexpr size_t fetchDistance = 2048;
    static constexpr size_t vectorSize = 16;
    static constexpr size_t stepSize = 2 * vectorSize;
    static constexpr size_t blockSize = 64; // as many bytes as a mask has bits
    static constexpr size_t spareRoom = 4;
    static constexpr uint64_t allEqual = ~uint64_t(0);
    static constexpr uint64_t lastBit = uint64_t(1) << (blockSize - 1);
    static constexpr uint32_t endOfList = 0xffffffff; // behind every CR, as no piece is so long

    // A mask has one bit for each byte of a block, set where it is a CR.
    MULTIPART_AVX2 static uint64_t CrMask(const char *block)
    {
        return CrHalfMask(block) | CrHalfMask(block + stepSize) << stepSize;
    }

    MULTIPART_AVX2 static uint64_t CrHalfMask(const char *bytes)
    {
        const __m256i vector = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
        return static_cast<uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(vector, _mm256_set1_epi8(CR))));
    }

    static size_t FirstBit(uint64_t bits) { return static_cast<size_t>(__builtin_ctzll(bits)); }

    static uint64_t Bits(__m128i vector)
    {
        return static_cast<uint32_t>(_mm_movemask_epi8(vector));
    }

    static __m128i Load(const char *bytes)
    {
        return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    }

    // One bit for each equal byte of two steps, of which the second begins at `second`.
    static uint64_t EqualBytes(const char *left, const char *right, size_t second)
    {
        return EqualStep(left, right) | EqualStep(left + second, right + second) << second;
    }

    static uint64_t EqualStep(const char *left, const char *right)
    {
        return Bits(_mm_cmpeq_epi8(Load(left), Load(right))) |
               Bits(_mm_cmpeq_epi8(Load(left + vectorSize), Load(right + vectorSize)))
                   << vectorSize;
    }

    // Not inline, so that the registers are left to the parser's loop.
    __attribute__((noinline, target("avx2,bmi,popcnt"))) void ListWindow(size_t begin)
    {
        listedEnd = begin + std::min(size - begin, windowSize);
        nextPosition = positions;
        uint32_t *place = positions;
        for (; listedEnd - begin >= blockSize; begin += blockSize) {
            // From the next window or, in memory that is fed piece by piece, often the next piece.
            // This reads nothing: the processor may fetch it, and ignores what is not there.
            _mm_prefetch(piece + begin + fetchDistance, _MM_HINT_T0);
            place = AddBlock(place, begin, CrMask(piece + begin));
        }
        if (begin < listedEnd) {
            char rest[blockSize] = {};
            std::memcpy(rest, piece + begin, listedEnd - begin);
            place = AddBlock(place, begin, CrMask(rest));
        }
        *place = endOfList;
    }

    // Whether a block has one CR is not asked, as the answer is hard to foresee: there is room for
    // it in any case. So it is for the next three, where there are two. The next block overwrites
    // what was not needed.
    MULTIPART_AVX2 static uint32_t *AddBlock(uint32_t *place, size_t begin, uint64_t mask)
    {
        uint32_t *end = place + __builtin_popcountll(mask);
        mask = AddFirst(place, begin, mask);
        if (mask != 0) {
            mask = AddFirst(place + 1, begin, mask);
            mask = AddFirst(place + 2, begin, mask);
            mask = AddFirst(place + 3, begin, mask);
            for (place += spareRoom; mask != 0; ++place) {
                mask = AddFirst(place, begin, mask);
            }
        }
        return end;
    }

    // Returns the mask without the bit of the position that was added.
    MULTIPART_AVX2 static uint64_t AddFirst(uint32_t *place, size_t begin, uint64_t mask)
    {
        *place = static_cast<uint32_t>(begin + FirstBit(mask | lastBit));
        return mask & (mask - 1);
    }

    const char *piece;
    size_t size;
    size_t listedEnd;             // what is before it is listed, or was taken
    const uint32_t *nextPosition; // in the list, to be served next
    uint32_t positions[windowSize + spareRoom];
};

#undef MULTIPART_AVX2

#endif

} // namespace Multipart

#endif
