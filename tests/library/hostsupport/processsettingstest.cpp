#include "processsettings.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <vector>

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST(ProcessSettingsTest, LargeBlocksGoBackToTheKernelHoweverOftenTheyWereFreed)
{
    constexpr size_t large = size_t(5) * 1024 * 1024;
    ProcessSettings::ReturnLargeBlocks();
    for (int round = 0; round < 3; ++round) {
        const auto before = mallinfo2().hblks;
        void *block = std::malloc(large);
        std::memset(block, 1, large);
        EXPECT_EQ(mallinfo2().hblks, before + 1) << round; // mapped on its own
        std::free(block);
        EXPECT_EQ(mallinfo2().hblks, before) << round;
    }
}

#endif
