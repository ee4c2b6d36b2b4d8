#include <gtest/gtest.h>

#include <output.h>
#include <progressdisplay.h>

namespace {

constexpr int wide = 200;
constexpr qint64 mebibyte = 1 << 20;

// A job of files of 4 MiB each, of which the test says how the time passes.
class TimedJob
{
public:
    explicit TimedJob(int files)
        : display(output, files, files * size, [this] { return nowMs; })
    {}

    void Begin() { display.Begin("f", size); }

    void Move(qint64 afterMs, qint64 doneBytes)
    {
        nowMs += afterMs;
        display.Update(doneBytes);
    }

    static constexpr qint64 size = 4 * mebibyte;
    const Output output;
    qint64 nowMs = 1'000'000;
    ProgressDisplay display;
};

TEST(ProgressDisplay, RateAndTimeLeftCountFromTheFirstByte)
{
    TimedJob job(1);
    job.Begin();
    job.Move(7000, 0);
    job.Move(2000, mebibyte);
    EXPECT_EQ(job.display.Text(wide),
              "f [#####---------------] 25% of 4.0 MiB, 512.0 KiB/s, 0:06 left");
}

TEST(ProgressDisplay, LostTryAndPauseDoNotCountIntoTheRate)
{
    TimedJob job(1);
    job.Begin();
    job.Move(0, 0);
    job.Move(10'000, 3 * mebibyte);
    job.Move(5000, 0);
    job.Move(2000, mebibyte);
    EXPECT_EQ(job.display.Text(wide),
              "f [#####---------------] 25% of 4.0 MiB, 512.0 KiB/s, 0:06 left");
}

TEST(ProgressDisplay, TryThatFallsBackCountsFromThere)
{
    TimedJob job(1);
    job.Begin();
    job.Move(10'000, 3 * mebibyte);
    job.Move(5000, 1);
    job.Move(2000, mebibyte);
    EXPECT_TRUE(job.display.Text(wide).endsWith("512.0 KiB/s, 0:06 left"));
}

TEST(ProgressDisplay, LostTryAndPauseDoNotCountIntoTheTimeOfTheJob)
{
    TimedJob job(2);
    job.Begin();
    job.Move(0, 0);
    job.Move(100'000, mebibyte);
    job.Move(50'000, 0);
    job.Move(10'000, TimedJob::size);
    job.display.End();
    job.Begin();
    EXPECT_TRUE(job.display.Text(wide).startsWith("1 of 2, 10 s left: f"));
}

TEST(ProgressDisplay, FileThatFailedDoesNotCountIntoTheTimeOfTheJob)
{
    TimedJob job(3);
    job.Begin();
    job.Move(0, 0);
    job.Move(100'000, mebibyte);
    job.Begin();
    job.Move(0, 0);
    job.Move(10'000, TimedJob::size);
    job.display.End();
    job.Begin();
    EXPECT_TRUE(job.display.Text(wide).startsWith("1 of 3, 20 s left: f"));
}

TEST(ProgressDisplay, DescribesPartRateAndTimeLeft)
{
    EXPECT_EQ(ProgressDisplay::Describe(1 << 20, 4 << 20, 2000),
              "25% of 4.0 MiB, 512.0 KiB/s, 0:06 left");
}

TEST(ProgressDisplay, TimeLeftGrowsToHours)
{
    EXPECT_EQ(ProgressDisplay::Describe(1, 3662, 1000), "0% of 3.6 KiB, 1 B/s, 1:01:01 left");
}

TEST(ProgressDisplay, NothingDoneHasNoTimeLeft)
{
    EXPECT_EQ(ProgressDisplay::Describe(0, 10, 1000), "0% of 10 B, 0 B/s");
}

TEST(ProgressDisplay, EmptyFileIsWhole)
{
    EXPECT_EQ(ProgressDisplay::Describe(0, 0, 0), "100% of 0 B, 0 B/s");
}

TEST(ProgressDisplay, CountsBeyondTwoGibibytes)
{
    EXPECT_EQ(ProgressDisplay::Describe(5LL << 30, 10LL << 30, 1000),
              "50% of 10.0 GiB, 5.0 GiB/s, 0:01 left");
}

TEST(ProgressDisplay, BytesBelowAKibibyteHaveNoFraction)
{
    EXPECT_EQ(ProgressDisplay::Bytes(1023), "1023 B");
    EXPECT_EQ(ProgressDisplay::Bytes(1024), "1.0 KiB");
}

TEST(ProgressDisplay, JobTellsFilesAndMinutes)
{
    EXPECT_EQ(ProgressDisplay::DescribeJob(312, 5000, 240), "312 of 5,000, 4 min left");
}

TEST(ProgressDisplay, JobTellsSecondsAtItsEnd)
{
    EXPECT_EQ(ProgressDisplay::DescribeJob(4999, 5000, 59), "4,999 of 5,000, 59 s left");
}

TEST(ProgressDisplay, JobThatHasNotBegunHasNoTimeLeft)
{
    EXPECT_EQ(ProgressDisplay::DescribeJob(0, 5000, -1), "0 of 5,000");
}

TEST(ProgressDisplay, WideLettersTakeTwoColumnsAndAccentsNone)
{
    EXPECT_EQ(ProgressDisplay::Columns(QString::fromUtf8("a\u6e2c")), 3);
    EXPECT_EQ(ProgressDisplay::Columns(QString::fromUtf8("e\u0301")), 1);
}

TEST(ProgressDisplay, HalfAWideLetterIsNotShown)
{
    EXPECT_EQ(ProgressDisplay::LastColumns(QString::fromUtf8("\u6e2c\u6e2c"), 3),
              QString::fromUtf8("\u6e2c"));
}

TEST(ProgressDisplay, NarrowLineLeavesOutTheBarFirst)
{
    EXPECT_EQ(ProgressDisplay::Fit("", "file.bin", 50, "details", 40),
              "file.bin [##########----------] details");
    EXPECT_EQ(ProgressDisplay::Fit("", "file.bin", 50, "details", 20), "file.bin details");
    EXPECT_EQ(ProgressDisplay::Fit("", "file.bin", 50, "details", 13), "file.bin 50%");
    EXPECT_EQ(ProgressDisplay::Fit("", "file.bin", 50, "details", 5), " 50%");
}

} // namespace
