#include <QCoreApplication>
#include <future>
#include <gtest/gtest.h>

#include "bodymemory.h"
#include "fakehost.h"
#include "promptupload.h"

// What waits for 10 s at most. Each test waits that long.

namespace {

// The test's thread is the thread of the model, which turns its loop when a test says so.
class LongCallTest : public testing::Test
{
protected:
    std::future<ModelCalls::Outcome> Wait(ModelCalls::Ticket call)
    {
        return std::async(std::launch::async, [kept = calls, call] { return kept->Wait(call); });
    }

    std::shared_ptr<ModelCalls> calls = ModelCalls::Create();
};

} // namespace

TEST_F(LongCallTest, ACallThatIsNotBegunInTimeNeverRuns)
{
    bool ran = false;
    EXPECT_EQ(Wait(calls->Post([&ran] { ran = true; })).get(), ModelCalls::NotBegun);
    QCoreApplication::sendPostedEvents();
    EXPECT_FALSE(ran);
}

TEST_F(LongCallTest, ACallThatIsNotToBeWithdrawnRunsLater)
{
    bool ran = false;
    const ModelCalls::Ticket call = calls->Post([&ran] { ran = true; });
    EXPECT_EQ(calls->WaitWithoutWithdrawing(call), ModelCalls::NotBegun);
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(ran);
}

TEST_F(LongCallTest, ACallThatRunsTooLongOutlivesWhoWaits)
{
    const auto result = std::make_shared<int>(0);
    std::future<ModelCalls::Outcome> wait;
    const ModelCalls::Ticket call = calls->Post([&wait, result] {
        EXPECT_EQ(wait.get(), ModelCalls::TooLong);
        *result = 1;
    });
    wait = Wait(call);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(*result, 1);
}

TEST_F(LongCallTest, TheTimeOfACallCountsFromItsBeginning)
{
    std::future<ModelCalls::Outcome> first;
    const ModelCalls::Ticket call = calls->Post([&first] { first.get(); });
    first = Wait(call);
    QCoreApplication::sendPostedEvents(); // 10 s
    std::future<ModelCalls::Outcome> second = Wait(calls->Post([] {}));
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(second.get(), ModelCalls::Done);
}

TEST(LongWaitTest, ABodyThatGetsNoMemoryIsRefused)
{
    const auto memory = std::make_shared<BodyMemory>(10);
    std::deque<BodyMemory::Share> shares;
    for (int body = 0; body < 12; ++body) {
        ASSERT_TRUE(shares.emplace_back(memory).GrowTo(BodyMemory::largestBody));
    }
    EXPECT_FALSE(shares.emplace_back(memory).GrowTo(BodyMemory::largestBody));
}

TEST(LongWaitTest, AStorageThatWasEnteredLongAgoTakesTransfersOnceItWasLeft)
{
    FakeHost host;
    CountedStorage storage(&host);
    storage.BeginStorageAccess();
    const auto begun = std::chrono::steady_clock::now();
    while (storage.TakesTransfers()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
    storage.EndStorageAccess();
    EXPECT_TRUE(storage.TakesTransfers());
}

// One slow upload would otherwise keep all others out for as long as it likes.
TEST(LongWaitTest, AnUploadWaitsFiveSecondsForAStorageThatIsNotLeft)
{
    FakeHost host;
    const auto promptHost = std::make_shared<PromptHost>(&host);
    promptHost->Storage().BeginStorageAccess();
    while (promptHost->Storage().TakesTransfers()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ForwardedHost upload(ModelCalls::Create(), promptHost);
    const auto begun = std::chrono::steady_clock::now();
    auto entered = std::async(std::launch::async, [&upload] { return upload.Enter(); });
    while (entered.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(entered.get());
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
}
