#include "filedescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>

#include "userfilestest.h"

namespace {

class FileDescriptorTest : public UserFilesTest
{
protected:
    int OpenFile() const { return open(OnDisk("file").constData(), O_RDONLY); }

    static bool IsOpen(int number) { return fcntl(number, F_GETFD) >= 0; }
};

TEST_F(FileDescriptorTest, ClosesAtTheEndOfItsLife)
{
    Write("file", "content");
    const int number = OpenFile();
    {
        const FileDescriptor descriptor(number);
        EXPECT_TRUE(descriptor.IsOpen());
        EXPECT_TRUE(IsOpen(number));
    }
    EXPECT_FALSE(IsOpen(number));
}

TEST_F(FileDescriptorTest, AssignmentClosesTheFormerOneAndTakesTheNewOne)
{
    Write("file", "content");
    const int first = OpenFile();
    const int second = OpenFile();
    FileDescriptor descriptor(first);
    descriptor = FileDescriptor(second);
    EXPECT_FALSE(IsOpen(first));
    EXPECT_TRUE(IsOpen(second));
    EXPECT_EQ(descriptor.Number(), second);
}

TEST_F(FileDescriptorTest, ADescriptorThatWasGivenAwayStaysOpen)
{
    Write("file", "content");
    FileDescriptor descriptor(OpenFile());
    const FileDescriptor owner(descriptor.Release());
    descriptor = FileDescriptor();
    EXPECT_FALSE(descriptor.IsOpen());
    EXPECT_TRUE(IsOpen(owner.Number()));
}

TEST_F(FileDescriptorTest, ReadsFromTheOffsetAndStopsAtTheEnd)
{
    Write("file", "0123456789");
    const FileDescriptor descriptor(OpenFile());
    char buffer[16] = {};
    EXPECT_EQ(descriptor.Read(buffer, 4, 3), 4);
    EXPECT_STREQ(buffer, "3456");
    EXPECT_EQ(descriptor.Read(buffer, 16, 8), 2);
    EXPECT_EQ(descriptor.Read(buffer, 16, 10), 0);
    EXPECT_EQ(descriptor.Read(buffer, 16, 100), 0);
}

TEST_F(FileDescriptorTest, AReadErrorIsNotTheEndOfTheFile)
{
    const FileDescriptor folder(open(root.toUtf8().constData(), O_RDONLY | O_DIRECTORY));
    char buffer[1] = {};
    EXPECT_EQ(folder.Read(buffer, 1, 0), -1);
    EXPECT_EQ(errno, EISDIR);
}

} // namespace
