#include "filestatus.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

QString Shown(qint64 seconds, qint64 nanoseconds)
{
    FileStatus status;
    status.modifiedSeconds = seconds;
    status.modifiedNanoseconds = nanoseconds;
    return status.ModifiedTime();
}

TEST(FileStatusTest, TheTimeIsUtcAndCutToTheSecond)
{
    EXPECT_EQ(Shown(1715938212, 999999999), QStringLiteral("2024-05-17T09:30:12Z"));
}

TEST(FileStatusTest, ATimeBefore1970IsRoundedDown)
{
    EXPECT_EQ(Shown(-1, 500000000), QStringLiteral("1969-12-31T23:59:59Z"));
}

TEST(FileStatusTest, TheYearKeepsFourDigits)
{
    EXPECT_EQ(Shown(std::numeric_limits<qint64>::max(), 0), QStringLiteral("9999-12-31T23:59:59Z"));
    EXPECT_EQ(Shown(std::numeric_limits<qint64>::min(), 0), QStringLiteral("0001-01-01T00:00:00Z"));
}

TEST(FileStatusTest, EveryMemberCountsInTheComparison)
{
    const FileStatus status = {1, 2, 3, 4};
    EXPECT_EQ(status, (FileStatus{1, 2, 3, 4}));
    EXPECT_NE(status, (FileStatus{0, 2, 3, 4}));
    EXPECT_NE(status, (FileStatus{1, 0, 3, 4}));
    EXPECT_NE(status, (FileStatus{1, 2, 0, 4}));
    EXPECT_NE(status, (FileStatus{1, 2, 3, 0}));
}

} // namespace
