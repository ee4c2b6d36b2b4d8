#include "filedigestcache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "storagemodel.h"
#include "userfilestest.h"

namespace {

const QString emptyDigest =
    QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
const QString abcDigest =
    QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
const QString millionDigest =
    QStringLiteral("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");

class FileDigestCacheTest : public UserFilesTest
{
protected:
    FileStatus Status(const QByteArray &name) const
    {
        struct stat status = {};
        EXPECT_EQ(stat(OnDisk(name).constData(), &status), 0);
        return FileStatus::From(status);
    }

    QString Digest(FileDigestCache &cache, const QByteArray &name) const
    {
        const FileDescriptor descriptor(open(OnDisk(name).constData(), O_RDONLY));
        return cache.Digest(descriptor, Status(name));
    }

    /** Writes into the same file and hides that by giving it its former time. */
    void ReplaceUnseen(const QByteArray &name, const QByteArray &content) const
    {
        const FileStatus former = Status(name);
        Write(name, content);
        SetTime(name, former.modifiedSeconds, static_cast<long>(former.modifiedNanoseconds));
        ASSERT_EQ(Status(name), former);
    }

    FileDigestCache digests;
};

TEST_F(FileDigestCacheTest, AFileIsNotReadToItsEndOnceThatIsNotWanted)
{
    Write("file", QByteArray(1'000'000, 'a'));
    int pieces = 0;
    FileDigestCache stopping(1, [&pieces] { return ++pieces < 3; });
    EXPECT_TRUE(Digest(stopping, "file").isNull());
    EXPECT_EQ(pieces, 3);
    EXPECT_TRUE(stopping.Known(Status("file")).isNull());
}

TEST_F(FileDigestCacheTest, TheEmptyFile)
{
    Write("file", "");
    EXPECT_EQ(Digest(digests, "file"), emptyDigest);
}

TEST_F(FileDigestCacheTest, AShortFile)
{
    Write("file", "abc");
    EXPECT_EQ(Digest(digests, "file"), abcDigest);
}

TEST_F(FileDigestCacheTest, AFileOfManyPieces)
{
    Write("file", QByteArray(1000000, 'a'));
    EXPECT_EQ(Digest(digests, "file"), millionDigest);
}

TEST_F(FileDigestCacheTest, AskingAgainReadsNothing)
{
    Write("file", "abc");
    ASSERT_EQ(Digest(digests, "file"), abcDigest);
    ReplaceUnseen("file", "xyz");
    EXPECT_EQ(Digest(digests, "file"), abcDigest);
    const FileDescriptor nothing;
    EXPECT_EQ(digests.Digest(nothing, Status("file")), abcDigest);
}

TEST_F(FileDigestCacheTest, AnotherSizeIsReadAgain)
{
    Write("file", "abcd");
    SetTime("file", 1000);
    ASSERT_NE(Digest(digests, "file"), abcDigest);
    Write("file", "abc");
    SetTime("file", 1000);
    EXPECT_EQ(Digest(digests, "file"), abcDigest);
}

TEST_F(FileDigestCacheTest, ANanosecondLaterItIsReadAgain)
{
    Write("file", "xyz");
    SetTime("file", 1000, 1);
    ASSERT_NE(Digest(digests, "file"), abcDigest);
    Write("file", "abc");
    SetTime("file", 1000, 2);
    EXPECT_EQ(Digest(digests, "file"), abcDigest);
}

TEST_F(FileDigestCacheTest, AnotherFileOfTheSameSizeAndTimeIsRead)
{
    Write("one", "xyz");
    Write("two", "abc");
    SetTime("one", 1000);
    SetTime("two", 1000);
    ASSERT_NE(Digest(digests, "one"), abcDigest);
    EXPECT_EQ(Digest(digests, "two"), abcDigest);
}

TEST_F(FileDigestCacheTest, ARenamedFileIsStillKnown)
{
    Write("one", "abc");
    ASSERT_EQ(Digest(digests, "one"), abcDigest);
    ASSERT_EQ(rename(OnDisk("one").constData(), OnDisk("two").constData()), 0);
    EXPECT_EQ(digests.Known(Status("two")), abcDigest);
}

TEST_F(FileDigestCacheTest, NothingIsKnownBeforeItWasAsked)
{
    Write("file", "abc");
    EXPECT_TRUE(digests.Known(Status("file")).isNull());
}

TEST_F(FileDigestCacheTest, TheDigestAskedForLongestAgoIsForgotten)
{
    FileDigestCache two(2);
    for (const char *name : {"1", "2", "3"}) {
        Write(name, name);
    }
    const QString first = Digest(two, "1");
    Digest(two, "2");
    Digest(two, "1");
    Digest(two, "3");
    EXPECT_EQ(two.Known(Status("1")), first);
    EXPECT_TRUE(two.Known(Status("2")).isNull());
    EXPECT_FALSE(two.Known(Status("3")).isNull());
}

TEST_F(FileDigestCacheTest, AsManyAreKeptAsADeviceTakesFiles)
{
    Write("file", "abc");
    const FileDescriptor descriptor(open(OnDisk("file").constData(), O_RDONLY));
    const auto laterStatus = [&](int seconds) {
        SetTime("file", seconds);
        return Status("file");
    };
    const FileStatus first = laterStatus(0);
    digests.Digest(descriptor, first);
    for (int number = 1; number < StorageModel::defaultFileLimit; ++number) {
        digests.Digest(descriptor, laterStatus(number));
    }
    EXPECT_EQ(digests.Known(first), abcDigest);
}

TEST_F(FileDigestCacheTest, AFileThatChangedMeanwhileIsNotRemembered)
{
    Write("file", "abc");
    SetTime("file", 1000);
    const FileStatus former = Status("file");
    SetTime("file", 2000);
    const FileDescriptor descriptor(open(OnDisk("file").constData(), O_RDONLY));
    EXPECT_EQ(digests.Digest(descriptor, former), abcDigest);
    EXPECT_TRUE(digests.Known(former).isNull());
    EXPECT_TRUE(digests.Known(Status("file")).isNull());
}

TEST_F(FileDigestCacheTest, AReadErrorGivesNoDigestAndIsNotRemembered)
{
    Write("file", "abc");
    const FileDescriptor unreadable(open(OnDisk("file").constData(), O_WRONLY));
    EXPECT_TRUE(digests.Digest(unreadable, Status("file")).isNull());
    EXPECT_EQ(Digest(digests, "file"), abcDigest);
}

} // namespace
