#include "sha256.h"

#include <QTemporaryFile>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>

#include "filedescriptor.h"

namespace {

const QString ofNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const QString ofAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Sha256Test, OfNothing)
{
    EXPECT_EQ(Sha256().Text(), ofNothing);
}

TEST(Sha256Test, PiecesCountAsOneText)
{
    Sha256 sum;
    sum.Add("a", 1);
    sum.Add("bc", 2);
    EXPECT_EQ(sum.Text(), ofAbc);
}

TEST(Sha256Test, MoreMayBeAddedAfterTheTextWasTaken)
{
    Sha256 sum;
    sum.Add("ab", 2);
    sum.Text();
    sum.Add("c", 1);
    EXPECT_EQ(sum.Text(), ofAbc);
}

TEST(Sha256Test, ResetBeginsANewSum)
{
    Sha256 sum;
    sum.Add("x", 1);
    sum.Reset();
    EXPECT_EQ(sum.Text(), ofNothing);
}

TEST(Sha256Test, OfAFileIsOfAllItsBytesWhereverItsPositionIs)
{
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    file.write("abc");
    ASSERT_TRUE(file.flush());
    const FileDescriptor descriptor(open(file.fileName().toUtf8().constData(), O_RDONLY));
    EXPECT_EQ(Sha256::OfFile(descriptor), ofAbc);
    EXPECT_EQ(Sha256::OfFile(descriptor), ofAbc);
}

TEST(Sha256Test, OfAFileThatCannotBeReadIsNullWithTheReason)
{
    const FileDescriptor folder(open("/", O_RDONLY | O_DIRECTORY));
    errno = 0;
    EXPECT_TRUE(Sha256::OfFile(folder).isNull());
    EXPECT_EQ(errno, EISDIR);
}

} // namespace
