// Every way to look through a piece, each against the plainest loop. Pieces end where readable
// memory ends and begin where it begins, so that one byte too many ends the test.

#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "multipart_scan.h"

namespace {

using namespace Multipart;

// A few pages between two that cannot be touched.
class FencedPages
{
public:
    FencedPages()
        : pageSize(static_cast<size_t>(sysconf(_SC_PAGESIZE)))
        , size(4 * pageSize)
        , block(mmap(nullptr, size + 2 * pageSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
    {
        EXPECT_EQ(mprotect(Begin(), size, PROT_READ | PROT_WRITE), 0);
    }
    ~FencedPages() { munmap(block, size + 2 * pageSize); }
    FencedPages(const FencedPages &) = delete;
    FencedPages &operator=(const FencedPages &) = delete;

    char *Begin() { return static_cast<char *>(block) + pageSize; }
    char *End() { return Begin() + size; }

private:
    size_t pageSize;
    size_t size;
    void *block;
};

size_t NextCr(const char *piece, size_t from, size_t size)
{
    while (from < size && piece[from] != '\r') {
        ++from;
    }
    return from;
}

template <typename Scan>
class MultipartScanTest : public testing::Test
{
protected:
    // Visits each CR as the parser does: the next search begins behind the one found.
    void ExpectEveryCr(const char *piece, size_t size)
    {
        Scan scan(piece, size);
        for (size_t from = 0; from <= size;) {
            const size_t expected = NextCr(piece, from, size);
            ASSERT_EQ(scan.FindCr(from), expected) << "from " << from << " of " << size;
            from = expected + 1;
        }
    }

    FencedPages pages;
};

#if defined(MULTIPART_HAS_VECTOR_SCAN)
// The one that the parser uses on this processor.
class BestScan
{
public:
    BestScan(const char *bytes, size_t count)
        : plain(bytes, count)
    {
        if (VectorScan::IsSupported()) {
            vector.emplace(bytes, count);
        }
    }

    size_t FindCr(size_t from) { return vector ? vector->FindCr(from) : plain.FindCr(from); }

    static size_t CommonLength(const char *left, const char *right, size_t count)
    {
        return VectorScan::IsSupported() ? VectorScan::CommonLength(left, right, count)
                                         : PlainScan::CommonLength(left, right, count);
    }

private:
    PlainScan plain;
    std::optional<VectorScan> vector;
};

using Scans = testing::Types<PlainScan, BestScan>;
#else
using Scans = testing::Types<PlainScan>;
#endif
TYPED_TEST_SUITE(MultipartScanTest, Scans);

TYPED_TEST(MultipartScanTest, FindsTheOnlyCrAtEveryPlaceOfEverySize)
{
    for (size_t size = 0; size <= 300; ++size) {
        for (char *piece : {this->pages.Begin(), this->pages.End() - size}) {
            std::fill_n(piece, size, 'x');
            this->ExpectEveryCr(piece, size);
            for (size_t place = 0; place < size; ++place) {
                piece[place] = '\r';
                for (size_t from : {size_t(0), place}) {
                    TypeParam scan(piece, size);
                    ASSERT_EQ(scan.FindCr(from), place) << size;
                    ASSERT_EQ(scan.FindCr(place + 1), size) << size;
                }
                piece[place] = 'x';
            }
        }
    }
}

TYPED_TEST(MultipartScanTest, FindsEachOfManyCr)
{
    for (size_t size = 0; size <= 300; ++size) {
        char *piece = this->pages.End() - size;
        for (size_t distance = 1; distance < 150; distance += 7) {
            for (size_t i = 0; i < size; ++i) {
                piece[i] = i % distance == 0 ? '\r' : '\n';
            }
            this->ExpectEveryCr(piece, size);
        }
    }
}

TYPED_TEST(MultipartScanTest, FindsEveryCrOfAPieceOfManyWindows)
{
    const size_t whole = static_cast<size_t>(this->pages.End() - this->pages.Begin());
    for (size_t size = whole; size > whole - 130; --size) {
        char *piece = this->pages.End() - size;
        for (const size_t distance : std::initializer_list<size_t>{1, 2, 63, 64, 65, 3000, 20000}) {
            for (size_t i = 0; i < size; ++i) {
                piece[i] = i % distance == distance - 1 ? '\r' : '\0';
            }
            this->ExpectEveryCr(piece, size);
        }
    }
}

TYPED_TEST(MultipartScanTest, GoesOnBehindBytesThatWereSkipped)
{
    std::mt19937 random(1);
    for (int round = 0; round < 5000; ++round) {
        const size_t size = random() % 1000;
        char *piece = this->pages.End() - size;
        const size_t rarity = 1 + random() % 200;
        std::generate_n(piece, size, [&] { return random() % rarity == 0 ? '\r' : '\x8d'; });
        TypeParam scan(piece, size);
        for (size_t from = 0; from <= size; from += 1 + random() % 100) {
            const size_t expected = NextCr(piece, from, size);
            ASSERT_EQ(scan.FindCr(from), expected);
            from = expected;
        }
    }
}

TYPED_TEST(MultipartScanTest, MeasuresHowFarTwoTextsAgree)
{
    FencedPages others;
    for (size_t size = 0; size <= 100; ++size) {
        char *left = this->pages.End() - size;
        char *right = others.End() - size;
        for (size_t i = 0; i < size; ++i) {
            left[i] = right[i] = static_cast<char>(i * 37);
        }
        EXPECT_EQ(TypeParam::CommonLength(left, right, size), size);
        for (size_t place = 0; place < size; ++place) {
            right[place] = static_cast<char>(right[place] ^ 0x80);
            EXPECT_EQ(TypeParam::CommonLength(left, right, size), place) << size;
            EXPECT_EQ(TypeParam::CommonLength(left, right, place), place) << size;
            right[place] = left[place];
        }
    }
}

} // namespace
