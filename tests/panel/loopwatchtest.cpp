#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <gtest/gtest.h>

#include "loopwatch.h"

namespace {

TEST(RecentMaximumTest, IsNothingAtFirst)
{
    EXPECT_EQ(RecentMaximum().At(0), 0);
}

TEST(RecentMaximumTest, IsTheLargestWhateverTheOrder)
{
    RecentMaximum maximum;
    maximum.Note(0, 5);
    maximum.Note(1, 9);
    maximum.Note(2, 3);
    EXPECT_EQ(maximum.At(2), 9);
}

TEST(RecentMaximumTest, IsForgottenAfterTenSeconds)
{
    RecentMaximum maximum;
    maximum.Note(0, 9);
    maximum.Note(5000, 3);
    EXPECT_EQ(maximum.At(10000), 9);
    EXPECT_EQ(maximum.At(10001), 3);
    EXPECT_EQ(maximum.At(15001), 0);
}

TEST(RecentMaximumTest, AYoungerNumberOfTheSameSizeLastsLonger)
{
    RecentMaximum maximum;
    maximum.Note(0, 9);
    maximum.Note(5000, 9);
    EXPECT_EQ(maximum.At(15000), 9);
}

TEST(LoopWatchTest, SeesATurnThatHoldsUpTheLoop)
{
    LoopWatch watch;
    QEventLoop loop;
    QTimer::singleShot(50, &loop, [] { QThread::msleep(200); });
    QTimer::singleShot(300, &loop, &QEventLoop::quit);
    loop.exec();
    EXPECT_GE(watch.LongestTurn(), 200 - 2 * LoopWatch::frameMilliseconds);
}

} // namespace
