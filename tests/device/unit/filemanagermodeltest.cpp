#include "filemanagermodel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "recordingerrorreporter.h"
#include "userfilestest.h"

namespace {

constexpr qint64 pieceSize = 5000000;

class FileManagerModelTest : public UserFilesTest
{
protected:
    /** A piece with both flags, as "bytes ok last". */
    struct Piece
    {
        QByteArray bytes;
        bool ok;
        bool last;
    };

    Piece Read(const QByteArray &name, qint64 offset, qint64 maxLength = pieceSize)
    {
        Piece piece = {QByteArray(), false, false};
        piece.bytes =
            model.ReadFileChunk(ClientPath(name), &piece.ok, offset, maxLength, &piece.last);
        return piece;
    }

    static void ExpectPiece(const Piece &piece, const QByteArray &bytes, bool last)
    {
        EXPECT_TRUE(piece.ok);
        EXPECT_TRUE(piece.bytes == bytes) << piece.bytes.size() << " bytes";
        EXPECT_EQ(piece.last, last);
    }

    static void ExpectFailure(const Piece &piece)
    {
        EXPECT_FALSE(piece.ok);
        EXPECT_TRUE(piece.last);
        EXPECT_EQ(piece.bytes, QByteArray());
    }

    static QByteArray Bytes(int size)
    {
        QByteArray bytes(size, Qt::Uninitialized);
        for (int index = 0; index < size; ++index) {
            bytes[index] = static_cast<char>(index * 7 + index / 251);
        }
        return bytes;
    }

    RecordingErrorReporter errors;
    UserFileDirectory directory{root};
    FileManagerModel model{directory, errors};
};

TEST_F(FileManagerModelTest, AnEmptyDirectoryHasAnEmptyList)
{
    EXPECT_EQ(model.GetUserFiles(), (QJsonObject{{"files", QJsonArray()}}));
}

TEST_F(FileManagerModelTest, TheListHasPathSizeAndTimeInTheOrderOfThePaths)
{
    MakeFolder("b");
    Write("b/ä.txt", "12");
    Write("a.txt", "");
    SetTime("b/ä.txt", 1715938212, 999999999);
    SetTime("a.txt", 0);
    const QJsonArray files = {
        QJsonObject{
            {"path", Path("/a.txt")}, {"size", 0}, {"modifiedTime", "1970-01-01T00:00:00Z"}},
        QJsonObject{
            {"path", Path("/b/ä.txt")}, {"size", 2}, {"modifiedTime", "2024-05-17T09:30:12Z"}}};
    EXPECT_EQ(model.GetUserFiles(), (QJsonObject{{"files", files}}));
}

TEST_F(FileManagerModelTest, TheListHasTheSizeOfAFileAbove4GiB)
{
    Write("sparse", "");
    ASSERT_EQ(truncate(OnDisk("sparse").constData(), 5000000000), 0);
    const QJsonValue size =
        model.GetUserFiles().value("files").toArray().first().toObject().value("size");
    EXPECT_EQ(size.toDouble(), 5000000000.0);
}

TEST_F(FileManagerModelTest, AnEmptyFileIsOneEmptyLastPiece)
{
    Write("file", "");
    ExpectPiece(Read("file", 0), "", true);
}

TEST_F(FileManagerModelTest, AFileOfOneByteIsTheLastPiece)
{
    Write("file", "x");
    ExpectPiece(Read("file", 0), "x", true);
}

TEST_F(FileManagerModelTest, AFileOneByteShorterThanAPieceIsTheLastPiece)
{
    const QByteArray bytes = Bytes(4999999);
    Write("file", bytes);
    ExpectPiece(Read("file", 0), bytes, true);
}

TEST_F(FileManagerModelTest, AFileOfExactlyOnePieceIsTheLastPiece)
{
    const QByteArray bytes = Bytes(5000000);
    Write("file", bytes);
    ExpectPiece(Read("file", 0), bytes, true);
}

TEST_F(FileManagerModelTest, OneByteMoreThanAPieceIsAPieceOfItsOwn)
{
    const QByteArray bytes = Bytes(5000001);
    Write("file", bytes);
    ExpectPiece(Read("file", 0), bytes.left(5000000), false);
    ExpectPiece(Read("file", pieceSize), bytes.right(1), true);
}

TEST_F(FileManagerModelTest, TwelveMillionBytesAreThreePieces)
{
    const QByteArray bytes = Bytes(12000000);
    Write("file", bytes);
    ExpectPiece(Read("file", 0), bytes.left(5000000), false);
    ExpectPiece(Read("file", pieceSize), bytes.mid(5000000, 5000000), false);
    ExpectPiece(Read("file", 2 * pieceSize), bytes.mid(10000000), true);
}

TEST_F(FileManagerModelTest, ReadsBeyond4GiB)
{
    Write("sparse", "");
    ASSERT_EQ(truncate(OnDisk("sparse").constData(), 5000000000), 0);
    ExpectPiece(Read("sparse", 4999999990, 5), QByteArray(5, '\0'), false);
    ExpectPiece(Read("sparse", 4999999990, 11), QByteArray(10, '\0'), true);
}

TEST_F(FileManagerModelTest, TheEndItselfAndBeyondAreAnEmptyLastPiece)
{
    Write("file", "12345");
    ExpectPiece(Read("file", 5), "", true);
    ExpectPiece(Read("file", 6), "", true);
    ExpectPiece(Read("file", std::numeric_limits<qint64>::max()), "", true);
}

TEST_F(FileManagerModelTest, AFileThatShrinksDuringADownloadEnds)
{
    Write("file", Bytes(12000000));
    EXPECT_FALSE(Read("file", 0).last);
    ASSERT_EQ(truncate(OnDisk("file").constData(), 6000000), 0);
    EXPECT_TRUE(Read("file", pieceSize).last);
    ASSERT_EQ(truncate(OnDisk("file").constData(), 100), 0);
    ExpectPiece(Read("file", pieceSize), "", true);
}

TEST_F(FileManagerModelTest, AFileThatGrowsDuringADownloadIsSentWithWhatWasAdded)
{
    Write("file", Bytes(6000000));
    EXPECT_FALSE(Read("file", 0).last);
    Write("file", Bytes(11000000));
    EXPECT_FALSE(Read("file", pieceSize).last);
    EXPECT_EQ(Read("file", 2 * pieceSize).bytes.size(), 1000000);
}

TEST_F(FileManagerModelTest, AFileThatIsDeletedDuringADownloadEndsIt)
{
    Write("file", Bytes(6000000));
    EXPECT_FALSE(Read("file", 0).last);
    EXPECT_TRUE(model.DeleteUserFile(ClientPath("file")));
    ExpectFailure(Read("file", pieceSize));
}

TEST_F(FileManagerModelTest, AMissingFileFails)
{
    ExpectFailure(Read("missing", 0));
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(FileManagerModelTest, AnImpossibleRequestFailsAndEndsTheStream)
{
    Write("file", "12345");
    ExpectFailure(Read("file", -1));
    ExpectFailure(Read("file", 0, 0));
    ExpectFailure(Read("file", 0, -1));
}

TEST_F(FileManagerModelTest, AReadErrorFailsEndsTheStreamAndIsReported)
{
    // The loopback interface has no speed: the file can be opened, but reading it fails.
    const UserFileDirectory unreadable(QStringLiteral("/sys/class/net/lo"));
    FileManagerModel failing(unreadable, errors);
    bool ok = true;
    bool last = false;
    EXPECT_EQ(failing.ReadFileChunk("/sys/class/net/lo/speed", &ok, 0, pieceSize, &last), "");
    EXPECT_FALSE(ok);
    EXPECT_TRUE(last);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("/sys/class/net/lo/speed"));
}

TEST_F(FileManagerModelTest, APathInUtf8IsReadAndDeleted)
{
    Write("Prüfung 1.csv", "content");
    ExpectPiece(Read("Prüfung 1.csv", 0), "content", true);
    EXPECT_TRUE(model.DeleteUserFile(ClientPath("Prüfung 1.csv")));
    EXPECT_FALSE(Exists("Prüfung 1.csv"));
}

TEST_F(FileManagerModelTest, DeletesOneFileAndTheSecondTimeRefuses)
{
    Write("a.txt", "");
    Write("b.txt", "");
    EXPECT_TRUE(model.DeleteUserFile(ClientPath("a.txt")));
    EXPECT_FALSE(Exists("a.txt"));
    EXPECT_TRUE(Exists("b.txt"));
    EXPECT_FALSE(model.DeleteUserFile(ClientPath("a.txt")));
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(FileManagerModelTest, DoesNotDeleteAnEmptyFolder)
{
    MakeFolder("folder");
    EXPECT_FALSE(model.DeleteUserFile(ClientPath("folder")));
    EXPECT_FALSE(model.DeleteUserFile(ClientPath("folder/")));
    EXPECT_TRUE(Exists("folder"));
}

TEST_F(FileManagerModelTest, AFileThatCannotBeDeletedIsReported)
{
    // The kernel's own files are removed by nobody.
    const UserFileDirectory kernel(QStringLiteral("/proc/self"));
    FileManagerModel failing(kernel, errors);
    EXPECT_FALSE(failing.DeleteUserFile("/proc/self/status"));
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("/proc/self/status"));
}

} // namespace
