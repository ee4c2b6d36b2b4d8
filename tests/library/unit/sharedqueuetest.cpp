#include "sharedqueue.h"

#include <atomic>
#include <climits>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

int first = 1;
int second = 2;
int third = 3;

TEST(SharedQueueTest, IsEmptyAtFirst)
{
    SharedQueue<int *> queue;
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, GivesElementsInTheOrderOfThePushes)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    queue.push_back(&second);
    queue.push_back(&third);
    EXPECT_EQ(queue.size(), 3);
    for (int *expected : {&first, &second, &third}) {
        EXPECT_EQ(queue.front(), expected);
        queue.pop_front();
    }
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, FrontLeavesTheElement)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    EXPECT_EQ(queue.front(), &first);
    EXPECT_EQ(queue.front(), &first);
    EXPECT_EQ(queue.size(), 1);
}

TEST(SharedQueueTest, KeepsNullPointersAsElements)
{
    SharedQueue<int *> queue;
    queue.push_back(nullptr);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(queue.front(), nullptr);
}

TEST(SharedQueueTest, FrontWaitsForAnotherThreadsPush)
{
    SharedQueue<int *> queue;
    std::promise<void> started;
    auto taken = std::async(std::launch::async, [&] {
        started.set_value();
        return queue.front();
    });
    started.get_future().wait();
    queue.push_back(&first);
    EXPECT_EQ(taken.get(), &first);
    EXPECT_EQ(queue.size(), 1);
}

TEST(SharedQueueTest, PopFrontWaitsForAnotherThreadsPush)
{
    SharedQueue<int *> queue;
    std::promise<void> started;
    auto popped = std::async(std::launch::async, [&] {
        started.set_value();
        queue.pop_front();
    });
    started.get_future().wait();
    queue.push_back(&first);
    popped.get();
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, FrontWithTimeoutTakesTheElementOff)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    queue.push_back(&second);
    int *taken = nullptr;
    EXPECT_TRUE(queue.FrontWithTimeout(&taken, 10000));
    EXPECT_EQ(taken, &first);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_EQ(queue.front(), &second);
}

TEST(SharedQueueTest, FrontWithTimeoutRefusesANullOutputAndKeepsTheElement)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    EXPECT_FALSE(queue.FrontWithTimeout(nullptr, 10000));
    EXPECT_EQ(queue.size(), 1);
}

TEST(SharedQueueTest, FrontWithTimeoutAnswersANullOutputWithoutWaiting)
{
    SharedQueue<int *> queue;
    EXPECT_FALSE(queue.FrontWithTimeout(nullptr, LLONG_MAX));
}

TEST(SharedQueueTest, FrontWithTimeoutGivesUpOnAnEmptyQueueOnlyAfterTheTime)
{
    SharedQueue<int *> queue;
    int *taken = &first;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(queue.FrontWithTimeout(&taken, 30));
    EXPECT_GT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
    EXPECT_EQ(taken, &first) << "the output was touched";
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, FrontWithTimeoutLeavesAnElementThatComesAfterTheTime)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    int *taken = nullptr;
    EXPECT_FALSE(queue.FrontWithTimeout(&taken, -1));
    EXPECT_EQ(taken, nullptr);
    EXPECT_EQ(queue.size(), 1);
    EXPECT_TRUE(queue.FrontWithTimeout(&taken, 10000));
    EXPECT_EQ(taken, &first);
}

// A thread that is not run for a millisecond may miss its look, so it looks as often as it needs.
TEST(SharedQueueTest, FrontWithTimeoutOfZeroTakesAnElementThatIsThere)
{
    SharedQueue<int *> queue;
    queue.push_back(&first);
    int *taken = nullptr;
    for (int look = 0; look < 100 && taken == nullptr; ++look) {
        queue.FrontWithTimeout(&taken, 0);
    }
    EXPECT_EQ(taken, &first);
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, FrontWithTimeoutOfZeroGivesUpOnAnEmptyQueue)
{
    SharedQueue<int *> queue;
    int *taken = &first;
    EXPECT_FALSE(queue.FrontWithTimeout(&taken, 0));
    EXPECT_EQ(taken, &first) << "the output was touched";
}

TEST(SharedQueueTest, FrontWithTimeoutWaitsForAnotherThreadsPush)
{
    SharedQueue<int *> queue;
    std::promise<void> started;
    auto result = std::async(std::launch::async, [&] {
        started.set_value();
        int *taken = nullptr;
        return queue.FrontWithTimeout(&taken, LLONG_MAX) ? taken : nullptr;
    });
    started.get_future().wait();
    queue.push_back(&first);
    EXPECT_EQ(result.get(), &first);
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, LosesAndRepeatsNothingBetweenManyProducersAndOneConsumer)
{
    constexpr int producers = 4;
    constexpr int perProducer = 2000;
    std::vector<std::atomic<int>> taken(producers * perProducer);
    std::vector<int> values(producers * perProducer);
    SharedQueue<int *> queue;
    std::vector<std::thread> threads;
    for (int producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&, producer] {
            for (int i = 0; i < perProducer; ++i) {
                const int index = producer * perProducer + i;
                values[static_cast<size_t>(index)] = index;
                queue.push_back(&values[static_cast<size_t>(index)]);
            }
        });
    }
    std::vector<int> last(producers, -1);
    bool ordered = true;
    for (int i = 0; i < producers * perProducer; ++i) {
        int *value = nullptr;
        ASSERT_TRUE(queue.FrontWithTimeout(&value, 60000));
        const auto producer = static_cast<size_t>(*value / perProducer);
        ordered = ordered && *value > last[producer];
        last[producer] = *value;
        ++taken[static_cast<size_t>(*value)];
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(ordered);
    EXPECT_TRUE(std::all_of(taken.begin(), taken.end(), [](int count) { return count == 1; }));
    EXPECT_EQ(queue.size(), 0);
}

TEST(SharedQueueTest, DeletesNothingThatItsPointersPointTo)
{
    struct Counted
    {
        explicit Counted(int *deletions)
            : count(deletions)
        {}
        ~Counted() { ++*count; }
        int *count;
    };
    int deletions = 0;
    Counted element(&deletions);
    {
        SharedQueue<Counted *> queue;
        queue.push_back(&element);
        queue.push_back(&element);
        queue.pop_front();
    }
    EXPECT_EQ(deletions, 0);
}

} // namespace
