#include "bodymemory.h"

#include <algorithm>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <list>
#include <thread>
#include <vector>

#include "answermemory.h"

namespace {

constexpr size_t bodies = 10; // at a time, at most
constexpr size_t whole = BodyMemory::largestBody;
constexpr int mostWhole = 12; // that fit into 64 MiB beside what is always granted

class BodyMemoryTest : public testing::Test
{
protected:
    // Bodies of 5,000,000 bytes, until no further one fits beside the oldest.
    void Fill()
    {
        for (int body = 0; body < mostWhole; ++body) {
            ASSERT_TRUE(shares.emplace_back(memory).GrowTo(whole)) << body;
        }
    }

    // Whether a further body gets its memory once `make` has made room.
    template <typename Make>
    bool GrowsOnce(BodyMemory::Share *share, Make make)
    {
        auto grown = std::async(std::launch::async, [share] { return share->GrowTo(whole); });
        EXPECT_EQ(grown.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        make();
        return grown.get();
    }

    std::shared_ptr<BodyMemory> memory = std::make_shared<BodyMemory>(bodies);
    std::deque<BodyMemory::Share> shares;
};

} // namespace

TEST_F(BodyMemoryTest, ABodyMayHoldFiveMillionBytes)
{
    EXPECT_TRUE(shares.emplace_back(memory).GrowTo(whole));
}

TEST_F(BodyMemoryTest, AllTogetherHoldAtMost64Mebibytes)
{
    Fill();
    EXPECT_TRUE(GrowsOnce(&shares.emplace_back(memory), [this] { shares.pop_front(); }));
}

TEST_F(BodyMemoryTest, SmallBodiesNeverWait)
{
    Fill();
    EXPECT_TRUE(shares.emplace_back(memory).GrowTo(BodyMemory::alwaysGranted));
}

TEST_F(BodyMemoryTest, TheOldestGoesOnWhateverOthersHold)
{
    BodyMemory::Share &oldest = shares.emplace_back(memory);
    for (int body = 0; body < mostWhole; ++body) {
        ASSERT_TRUE(shares.emplace_back(memory).GrowTo(whole)) << body;
    }
    EXPECT_TRUE(oldest.GrowTo(whole));
}

TEST_F(BodyMemoryTest, AWaitEndsWhenABodyShrinks)
{
    Fill();
    EXPECT_TRUE(GrowsOnce(&shares.emplace_back(memory), [this] { shares[1].ShrinkTo(0); }));
}

TEST_F(BodyMemoryTest, ABodyThatShrankMayGrowAgain)
{
    BodyMemory::Share &share = shares.emplace_back(memory);
    ASSERT_TRUE(share.GrowTo(whole));
    share.ShrinkTo(BodyMemory::alwaysGranted);
    EXPECT_TRUE(share.GrowTo(whole));
}

TEST_F(BodyMemoryTest, IsScarceOnceABodyHasWaitedFor2SecondsAndWhileItWaits)
{
    using Clock = std::chrono::steady_clock;
    Fill();
    EXPECT_TRUE(GrowsOnce(&shares.emplace_back(memory), [this] { shares.pop_front(); }));
    const auto begun = Clock::now(); // an earlier wait does not count
    EXPECT_TRUE(GrowsOnce(&shares.emplace_back(memory), [this, begun] {
        while (!memory->IsScarce() && Clock::now() - begun < std::chrono::seconds(60)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_GE(Clock::now() - begun, std::chrono::seconds(2));
        EXPECT_TRUE(memory->IsScarce());
        shares.pop_front();
    }));
    EXPECT_FALSE(memory->IsScarce());
}

TEST_F(BodyMemoryTest, SoManyGoOnWaitingAndOthersAreRefused)
{
    Fill();
    std::vector<std::future<bool>> waits;
    const size_t twoMore = BodyMemory::mostWaiting + 2;
    for (size_t body = 0; body < twoMore; ++body) {
        BodyMemory::Share &share = shares.emplace_back(memory);
        waits.push_back(std::async(std::launch::async, [&share] { return share.GrowTo(whole); }));
    }
    const auto refused = [&waits] {
        return std::count_if(waits.begin(), waits.end(), [](const std::future<bool> &wait) {
            return wait.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
    };
    while (refused() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_FALSE(shares.emplace_back(memory).GrowTo(whole)) << "which waited no more";
    EXPECT_TRUE(shares.front().GrowTo(whole)) << "the oldest";
    EXPECT_LE(refused(), 2) << "the others wait on";
    memory->Stop();
}

TEST_F(BodyMemoryTest, StopEndsAWait)
{
    Fill();
    EXPECT_FALSE(GrowsOnce(&shares.emplace_back(memory), [this] { memory->Stop(); }));
}

TEST_F(BodyMemoryTest, NothingIsGrantedAfterStop)
{
    memory->Stop();
    EXPECT_FALSE(shares.emplace_back(memory).GrowTo(whole));
}

TEST(AnswerMemoryTest, WhoFindsRoomNeedNotWait)
{
    AnswerMemory::Turn turn(std::make_shared<AnswerMemory>());
    EXPECT_TRUE(turn.HasCome());
    EXPECT_FALSE(turn.IsRefused());
}

TEST(AnswerMemoryTest, SoManyWaitForRoomAndOthersAreRefused)
{
    const auto memory = std::make_shared<AnswerMemory>();
    auto all = std::make_unique<AnswerMemory::Share>(memory);
    all->Hold(AnswerMemory::room);
    std::list<AnswerMemory::Turn> turns;
    for (int i = 0; i < AnswerMemory::mostWaiting; ++i) {
        EXPECT_FALSE(turns.emplace_back(memory).HasCome());
        EXPECT_FALSE(turns.back().HasCome()) << "asked again";
    }
    for (int i = 0; i < 2; ++i) {
        AnswerMemory::Turn refused(memory);
        EXPECT_TRUE(refused.HasCome());
        EXPECT_TRUE(refused.IsRefused());
    }
    turns.pop_back(); // its client went away
    EXPECT_FALSE(turns.emplace_back(memory).HasCome());
    all.reset();
    EXPECT_TRUE(turns.front().HasCome());
    EXPECT_FALSE(turns.front().IsRefused());
}

TEST(AnswerMemoryTest, WhoseTurnHasComeWaitsNoMore)
{
    const auto memory = std::make_shared<AnswerMemory>();
    std::list<AnswerMemory::Turn> begun;
    for (int round = 0; round < 2; ++round) {
        auto all = std::make_unique<AnswerMemory::Share>(memory);
        all->Hold(AnswerMemory::room);
        for (int i = 0; i < AnswerMemory::mostWaiting; ++i) {
            EXPECT_FALSE(begun.emplace_back(memory).HasCome());
        }
        all.reset();
        for (AnswerMemory::Turn &turn : begun) {
            EXPECT_TRUE(turn.HasCome());
        }
    }
}

TEST(AnswerMemoryTest, HasNoRoomWhileAnswersHoldIt)
{
    const auto memory = std::make_shared<AnswerMemory>();
    {
        AnswerMemory::Share first(memory);
        AnswerMemory::Share second(memory);
        first.Hold(AnswerMemory::room - 1);
        EXPECT_TRUE(memory->HasRoom());
        second.Hold(1);
        EXPECT_FALSE(memory->HasRoom());
    }
    EXPECT_TRUE(memory->HasRoom());
}
