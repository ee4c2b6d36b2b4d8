#include <QJsonObject>
#include <downloadguard.h>
#include <gtest/gtest.h>
#include <restserverguard.h>
#include <vector>

#include "fakerestserver.h"

namespace {

constexpr int waitMs = 100; // stands for the 10 s of the library
constexpr qint64 pieceSize = 10;
const QString path = QStringLiteral("/files/a");

/** One file of 45 bytes; notes every read. */
class OneFile : public IFileManagerModel
{
public:
    virtual ~OneFile() = default;

    QByteArray content = QByteArrayLiteral("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghi");
    std::vector<qint64> offsets;
    std::vector<QString> calls;
    bool readable = true;
    bool emptyPieces = false; ///< breaks the rule that only the last piece may be empty
    int readMs = 0;

    QJsonObject GetUserFiles() override
    {
        calls.push_back(QStringLiteral("list"));
        return {{QStringLiteral("files"), 1}};
    }

    QByteArray ReadFileChunk(QString, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        QThread::msleep(static_cast<unsigned long>(readMs));
        offsets.push_back(offset);
        *ok = readable;
        *lastChunk = !readable || offset + maxLength >= content.size();
        if (emptyPieces || !readable) {
            *lastChunk = false;
            return {};
        }
        return content.mid(static_cast<int>(offset), static_cast<int>(maxLength));
    }

    bool DeleteUserFile(QString filePath) override
    {
        calls.push_back(QStringLiteral("delete ") + filePath);
        return true;
    }
};

class DownloadGuardTest : public testing::Test
{
protected:
    void SetUp() override { serverGuard.Start(); }

    void TearDown() override { serverGuard.Stop(); }

    SharedQueue<DataChunk *> *Queue() { return server.ResponseChunkQueue(); }

    // Reads one piece as the library does.
    QByteArray Read(qint64 offset)
    {
        return guard.ReadFileChunk(path, &ok, offset, pieceSize, &last);
    }

    void Push(const QByteArray &bytes, bool isLast)
    {
        Queue()->push_back(new DataChunk(bytes, isLast));
    }

    // What the library does for a client that takes so many pieces and then none for too long.
    void DownloadThatStallsAfter(int takenPieces)
    {
        RunInTurn([this, takenPieces] {
            Read(0);
            for (int piece = 1; piece <= takenPieces; ++piece) {
                Read(piece * pieceSize);
            }
        });
    }

    // What the serving thread takes, up to the last piece.
    QByteArray TakeRest()
    {
        QByteArray rest;
        for (bool isLast = false; !isLast;) {
            if (!RunUntil([this] { return Queue()->size() > 0; })) {
                ADD_FAILURE() << "no further piece";
                return rest;
            }
            EXPECT_EQ(Queue()->size(), 1);
            const std::unique_ptr<DataChunk> chunk(Queue()->front());
            Queue()->pop_front();
            rest += chunk->Data();
            isLast = chunk->LastChunk();
        }
        return rest;
    }

    OneFile file;
    FakeRestServer server;
    RestServerGuard serverGuard{&server};
    DownloadGuard guard{&file, &serverGuard, waitMs};
    bool ok = false;
    bool last = false;
};

TEST_F(DownloadGuardTest, PassesEveryOperationOn)
{
    EXPECT_EQ(guard.GetUserFiles(), file.GetUserFiles());
    EXPECT_TRUE(guard.DeleteUserFile(path));
    EXPECT_EQ(file.calls.back(), QStringLiteral("delete /files/a"));
    EXPECT_EQ(Read(0), QByteArrayLiteral("0123456789"));
    EXPECT_TRUE(ok);
    EXPECT_FALSE(last);
    EXPECT_EQ(Read(40), QByteArrayLiteral("efghi"));
    EXPECT_TRUE(last);
}

TEST_F(DownloadGuardTest, ADownloadOfOnePieceIsNotTouched)
{
    file.content = QByteArrayLiteral("short");
    RunInTurn([this] { Read(0); });
    RunFor(2 * waitMs);
    EXPECT_EQ(file.offsets.size(), 1U);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, ADownloadThatTheLibraryCompletedIsNotTouched)
{
    RunInTurn([this] {
        for (qint64 offset = 0; offset < 50; offset += pieceSize) {
            Read(offset);
        }
    });
    RunFor(2 * waitMs);
    EXPECT_EQ(file.offsets.size(), 5U);
    EXPECT_EQ(Queue()->size(), 0);
    EXPECT_FALSE(guard.Sending());
}

TEST_F(DownloadGuardTest, GoesOnFromThePieceThatWasNotQueued)
{
    DownloadThatStallsAfter(2);
    EXPECT_EQ(TakeRest(), file.content.mid(20));
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 0);
    EXPECT_FALSE(guard.Sending());
}

TEST_F(DownloadGuardTest, SendsAPieceOnlyWhenTheOneBeforeWasTaken)
{
    Push(QByteArrayLiteral("earlier"), false);
    DownloadThatStallsAfter(2);
    RunFor(2 * waitMs);
    EXPECT_EQ(Queue()->size(), 1);
    EXPECT_TRUE(guard.Sending());
    EXPECT_EQ(TakeRest(), QByteArrayLiteral("earlier") + file.content.mid(20));
}

TEST_F(DownloadGuardTest, ALastPieceThatWasNotQueuedIsSentAgain)
{
    RunInTurn([this] {
        Read(0);
        Read(40);
        QThread::msleep(waitMs + 20);
    });
    EXPECT_EQ(TakeRest(), QByteArrayLiteral("efghi"));
}

TEST_F(DownloadGuardTest, ALastPieceThatWasSentTwiceIsRemovedByTheNextDownload)
{
    RunInTurn([this] {
        Read(0);
        Read(40);
        QThread::msleep(waitMs + 20);
    });
    ASSERT_TRUE(RunUntil([this] { return Queue()->size() == 1; }));
    Read(0);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, TheNextDownloadEndsTheOneBefore)
{
    Push(QByteArrayLiteral("earlier"), false);
    DownloadThatStallsAfter(1);
    RunFor(30);
    EXPECT_TRUE(guard.Sending());
    file.content = QByteArrayLiteral("short");
    RunInTurn([this] { Read(0); });
    EXPECT_FALSE(guard.Sending());
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 1); // the piece from before, for the serving thread to clear
}

TEST_F(DownloadGuardTest, AnotherCallOfTheLibraryEndsTheDownloadBefore)
{
    for (const auto &call : std::vector<std::function<void()>>{
             [this] { guard.GetUserFiles(); }, [this] { guard.DeleteUserFile(path); }}) {
        DownloadThatStallsAfter(1);
        call();
        EXPECT_FALSE(guard.Sending());
    }
}

TEST_F(DownloadGuardTest, AFirstPieceThatCannotBeReadIsNoDownload)
{
    file.readable = false;
    RunInTurn([this] { Read(0); });
    RunFor(50);
    EXPECT_FALSE(ok);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, AnEmptyFirstPieceIsNoDownload)
{
    file.emptyPieces = true;
    RunInTurn([this] { Read(0); });
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, AnEmptyPieceOnTheWayIsTheLast)
{
    DownloadThatStallsAfter(1);
    file.emptyPieces = true;
    EXPECT_EQ(TakeRest(), QByteArray());
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, AFirstPieceThatComesTooLateIsRefused)
{
    RestServerGuard impatient(&server, 50);
    DownloadGuard lateGuard(&file, &impatient, waitMs);
    impatient.Start();
    file.readMs = 80;
    RunInTurn([&] { lateGuard.ReadFileChunk(path, &ok, 0, pieceSize, &last); });
    EXPECT_FALSE(ok);
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, StoppingTheServerEndsTheDownload)
{
    Push(QByteArrayLiteral("earlier"), false);
    DownloadThatStallsAfter(1);
    RunFor(30);
    ASSERT_TRUE(guard.Sending());
    serverGuard.Stop();
    EXPECT_FALSE(guard.Sending());
    RunFor(50);
    EXPECT_EQ(Queue()->size(), 0);
}

TEST_F(DownloadGuardTest, ALongTurnWhileItSendsDoesNotRestartTheServer)
{
    RestServerGuard impatient(&server, 4 * waitMs);
    DownloadGuard sendingGuard(&file, &impatient, waitMs);
    impatient.Start();
    const int starts = server.starts;
    Push(QByteArrayLiteral("earlier"), false);
    RunInTurn([&] { sendingGuard.ReadFileChunk(path, &ok, 0, pieceSize, &last); });
    ASSERT_TRUE(RunUntil([&] { return sendingGuard.Sending(); }));
    RunInTurn([] { QThread::msleep(5 * waitMs); });
    RunFor(20);
    EXPECT_EQ(server.starts, starts);
}

} // namespace
