#include "timestamp.h"

#include <climits>
#include <gtest/gtest.h>
#include <thread>

namespace {

TEST(TimeStampTest, AFreshMomentHasNotTimedOut)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    EXPECT_FALSE(TimeStamp::CheckTimeout(&start, 100000));
}

TEST(TimeStampTest, TheLongestTimeOutHasNotPassed)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    EXPECT_FALSE(TimeStamp::CheckTimeout(&start, LLONG_MAX));
}

TEST(TimeStampTest, TimeOutsBeyondTheRangeOfNanosecondsHaveNotPassed)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    EXPECT_FALSE(TimeStamp::CheckTimeout(&start, LLONG_MAX / 1000000));
    EXPECT_FALSE(TimeStamp::CheckTimeout(&start, LLONG_MAX / 1000000 + 1));
}

TEST(TimeStampTest, ANegativeTimeOutHasAlwaysPassed)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    EXPECT_TRUE(TimeStamp::CheckTimeout(&start, -1));
    EXPECT_TRUE(TimeStamp::CheckTimeout(&start, LLONG_MIN));
}

TEST(TimeStampTest, ZeroHasPassedAfterAMillisecond)
{
    const auto before = std::chrono::steady_clock::now();
    TimeStamp start = TimeStamp::GetTimeStamp();
    while (!TimeStamp::CheckTimeout(&start, 0)) {
    }
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1));
}

TEST(TimeStampTest, PassesOnlyAfterOneMillisecondMoreThanTheTimeOut)
{
    const auto before = std::chrono::steady_clock::now();
    TimeStamp start = TimeStamp::GetTimeStamp();
    while (!TimeStamp::CheckTimeout(&start, 20)) {
    }
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(21));
}

TEST(TimeStampTest, ACopyMeasuresFromTheSameMoment)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    while (!TimeStamp::CheckTimeout(&start, 1)) {
    }
    TimeStamp copy = start;
    EXPECT_TRUE(TimeStamp::CheckTimeout(&copy, 1));
}

} // namespace
