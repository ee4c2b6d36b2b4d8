#ifndef MULTIPART_SCAN_H
#define MULTIPART_SCAN_H

/**
 * How the multipart parser looks through a piece of a body: where the next CR is, and how far two
 * texts agree. Private to the library.
 *
 * There are two implementations of the same contract, `PlainScan` for any processor and, where the
 * compiler offers SSE2, `VectorScan`, which uses AVX2 where the processor has it. `Scan` is the one
 * that is used. Nothing outside of the piece is ever read.
 */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
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

#if defined(__SSE2__)

/**
 * Searches with vector instructions, a window at a time: first the positions of all its CRs are
 * listed, then each is served from the list. Listing hardly depends on where the CRs are, so the
 * processor has nothing to guess, and a short line costs no search of its own.
 */
class VectorScan
{
public:
    /** Lists the positions of the CRs from `begin` up to `end`. Returns how many there are. */
    using Lister = size_t (*)(const char *piece, size_t begin, size_t end, uint32_t *list);

    VectorScan(const char *bytes, size_t count, Lister lister = BestLister())
        : piece(bytes)
        , size(count)
        , listCrs(lister)
        , windowEnd(0)
        , next(list)
    {
        list[0] = endOfList;
    }

    /** As `PlainScan::FindCr`. */
    size_t FindCr(size_t from)
    {
        for (;;) {
            const size_t position = *next;
            if (position < windowEnd) {
                ++next;
                if (position >= from) {
                    return position;
                }
            } else if (windowEnd == size) {
                return size;
            } else {
                TakeWindow(std::max(windowEnd, from));
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

    /** The lister for every processor that has SSE2. */
    static size_t ListWithSse2(const char *piece, size_t begin, size_t end, uint32_t *list)
    {
        return List<Sse2>(piece, begin, end, list);
    }

    /** The lister for processors that have AVX2. */
    __attribute__((target("avx2,bmi,popcnt"))) static size_t
    ListWithAvx2(const char *piece, size_t begin, size_t end, uint32_t *list)
    {
        return List<Avx2>(piece, begin, end, list);
    }

    /** The fastest lister that this processor can run. */
    static Lister BestLister()
    {
#if !defined(MULTIPART_SSE2_SCAN)
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
            __builtin_cpu_supports("popcnt")) {
            return &ListWithAvx2;
        }
#endif
        return &ListWithSse2;
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
    struct Sse2
    {
        static uint64_t Mask(const char *block)
        {
            return Part(block, 0) | Part(block, 1) | Part(block, 2) | Part(block, 3);
        }
        static uint64_t Part(const char *block, size_t number)
        {
            const __m128i bytes = Load(block + number * vectorSize);
            return Bits(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(CR))) << (number * vectorSize);
        }
        static size_t Count(uint64_t mask) // without an instruction for it
        {
            mask -= (mask >> 1) & 0x5555555555555555u;
            mask = (mask & 0x3333333333333333u) + ((mask >> 2) & 0x3333333333333333u);
            return (((mask + (mask >> 4)) & 0x0f0f0f0f0f0f0f0fu) * 0x0101010101010101u) >> 56;
        }
    };

    struct Avx2
    {
        __attribute__((target("avx2,bmi,popcnt"))) static uint64_t Mask(const char *block)
        {
            return Part(block) | Part(block + 2 * vectorSize) << (2 * vectorSize);
        }
        __attribute__((target("avx2,bmi,popcnt"))) static uint64_t Part(const char *bytes)
        {
            const __m256i vector = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
            return static_cast<uint32_t>(
                _mm256_movemask_epi8(_mm256_cmpeq_epi8(vector, _mm256_set1_epi8(CR))));
        }
        __attribute__((target("avx2,bmi,popcnt"))) static size_t Count(uint64_t mask)
        {
            return static_cast<size_t>(__builtin_popcountll(mask));
        }
    };

    static size_t FirstBit(uint64_t bits)
    {
        return static_cast<size_t>(__builtin_ctzll(bits));
    }

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
    __attribute__((noinline)) void TakeWindow(size_t begin)
    {
        windowEnd = begin + std::min(size - begin, windowSize);
        next = list;
        list[listCrs(piece, begin, windowEnd, list)] = endOfList;
    }

    template <typename Instructions>
    __attribute__((always_inline)) static size_t List(const char *piece, size_t begin, size_t end,
                                                      uint32_t *list)
    {
        uint32_t *free = list;
        for (; end - begin >= blockSize; begin += blockSize) {
            // From the next window or, in memory that is fed piece by piece, often the next piece.
            // This reads nothing: the processor may fetch it, and ignores what is not there.
            _mm_prefetch(piece + begin + fetchDistance, _MM_HINT_T0);
            free = Add<Instructions>(free, begin, Instructions::Mask(piece + begin));
        }
        if (begin < end) {
            char rest[blockSize] = {};
            std::memcpy(rest, piece + begin, end - begin);
            free = Add<Instructions>(free, begin, Instructions::Mask(rest));
        }
        return static_cast<size_t>(free - list);
    }

    // Whether a block has one CR is not asked, as the answer is hard to foresee: there is room for
    // it in any case. So it is for the next three, where there are two. The next block overwrites
    // what was not needed.
    template <typename Instructions>
    __attribute__((always_inline)) static uint32_t *Add(uint32_t *free, size_t begin, uint64_t mask)
    {
        uint32_t *end = free + Instructions::Count(mask);
        mask = AddFirst(free, begin, mask);
        if (mask != 0) {
            mask = AddFirst(free + 1, begin, mask);
            mask = AddFirst(free + 2, begin, mask);
            mask = AddFirst(free + 3, begin, mask);
            for (free += spareRoom; mask != 0; ++free) {
                mask = AddFirst(free, begin, mask);
            }
        }
        return end;
    }

    // Returns the mask without the bit of the position that was added.
    __attribute__((always_inline)) static uint64_t AddFirst(uint32_t *place, size_t begin,
                                                            uint64_t mask)
    {
        *place = static_cast<uint32_t>(begin + FirstBit(mask | lastBit));
        return mask & (mask - 1);
    }

    const char *piece;
    size_t size;
    Lister listCrs;
    size_t windowEnd;     // what is before it is listed, or was taken
    const uint32_t *next; // in the list, to be served next
    uint32_t list[windowSize + spareRoom];
};

#endif

// MULTIPART_PLAIN_SCAN may be defined to have the plain scan on every processor, and
// MULTIPART_SSE2_SCAN to have no more than SSE2 used.
#if defined(__SSE2__) && !defined(MULTIPART_PLAIN_SCAN)
using Scan = VectorScan;
#else
using Scan = PlainScan;
#endif

} // namespace multipart

#endif
