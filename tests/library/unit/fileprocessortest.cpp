#include "restserverfileprocessor.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

#include "debuglogcapture.h"
#include "fakehost.h"
#include "openfiles.h"

namespace {

using Calls = std::vector<std::string>;

constexpr char emptyHostCall[] = "StorageModel.IsStorageAvailable()";

class FileProcessorTest : public testing::Test
{
protected:
    FileProcessorTest()
    {
        host.storage.directories[9] = directory.path();
        processor.Construct(&host);
    }

    QString Target() const { return directory.filePath(QStringLiteral("a.bin")); }
    QString OtherTarget() const { return directory.filePath(QStringLiteral("b.bin")); }

    QByteArray Body(const QByteArray &content) const { return BodyFor(Target(), content); }

    static QByteArray BodyFor(const QString &target, const QByteArray &content)
    {
        return "--b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\n{\"fileUri\": \"" +
               target.toUtf8() + "\", \"fileSize\": 3}\r\n--b\r\nX: y\r\n\r\n" + content +
               "\r\n--b--\r\n";
    }

    bool Upload(const QByteArray &bytes, bool lastChunk = true)
    {
        DataChunk chunk(bytes, lastChunk);
        return processor.ProcessFileUploadRequest(&chunk);
    }

    // Leaves a file with the content behind that the next upload is to close.
    void BreakOffUpload(const QByteArray &content)
    {
        const QByteArray body = Body(content + "rest");
        EXPECT_FALSE(Upload(body.left(body.indexOf("rest"))));
        EXPECT_EQ(DescriptorsOf(Target()).size(), 1U) << "the file was closed";
    }

    void Queue(const QByteArray &bytes, bool lastChunk)
    {
        host.fakeRestServer.requestChunks.push_back(new DataChunk(bytes, lastChunk));
    }

    QByteArray Content() const
    {
        QFile file(Target());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    QTemporaryDir directory;
    FakeHost host;
    RestServerFileProcessor processor;
};

TEST_F(FileProcessorTest, TheBoundaryIsTheFirstLine)
{
    const auto length = [this](const QByteArray &data) {
        return processor.FindBoundaryLength(&data);
    };
    EXPECT_EQ(length("--b\r\n--c\r\n"), 3);
    EXPECT_EQ(length("--b\r"), 3);
    EXPECT_EQ(length("--b\n--c\r\n"), 7) << "a line feed alone ends no line";
    EXPECT_EQ(length(QByteArray("\0b\r", 3)), 2);
    EXPECT_EQ(length("\r\n--b\r\n"), 0);
    EXPECT_EQ(length("--b\n"), 0);
    EXPECT_EQ(length(""), 0);
    EXPECT_EQ(processor.FindBoundaryLength(nullptr), 0);
}

TEST_F(FileProcessorTest, APathNeedOnlyBeginWithTheDirectorysText)
{
    host.storage.directories[9] = QStringLiteral("/x/files");
    for (const char *path : {"/x/files/a", "/x/files", "/x/files2/a", "/x/files/../../etc/a"}) {
        EXPECT_TRUE(processor.CheckFilePath(QString::fromUtf8(path))) << path;
    }
    for (const char *path : {"/x/file", "/X/files/a", "/y/x/files/a", "x/files/a", ""}) {
        EXPECT_FALSE(processor.CheckFilePath(QString::fromUtf8(path))) << path;
    }
    EXPECT_EQ(host.log.Calls(), Calls(9, "StorageModel.Directory(9)"));
}

TEST_F(FileProcessorTest, TheDirectorysAbsolutePathCounts)
{
    host.storage.directories[9] = QStringLiteral("files");
    EXPECT_TRUE(processor.CheckFilePath(QDir::currentPath() + QStringLiteral("/files/a")));
    EXPECT_FALSE(processor.CheckFilePath(QStringLiteral("files/a")));
}

class UploadTest : public FileProcessorTest
{};

TEST_F(UploadTest, ANullChunkIsReported)
{
    EXPECT_FALSE(processor.ProcessFileUploadRequest(nullptr));
    EXPECT_EQ(host.log.Calls(),
              Calls({"ErrorReporter.ReportError(Chunk null pointer, restserverfileprocessor)"}));
    EXPECT_EQ(host.errors.reports.at(0).line, 96);
}

TEST_F(UploadTest, WithoutTheGuardedStorageNothingElseIsDone)
{
    host.storage.available = false;
    const DebugLogCapture debugLog;
    EXPECT_FALSE(Upload(Body("abc")));
    EXPECT_EQ(host.log.Calls(), Calls({emptyHostCall}));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(UploadTest, ABodyWithoutAFirstLineIsLoggedAndLeavesTheLastUploadAsItStands)
{
    BreakOffUpload("abc");
    for (const char *body : {"", "\r\n--b\r\n", "--b\n"}) {
        host.log.Clear();
        const DebugLogCapture debugLog;
        EXPECT_FALSE(Upload(body));
        EXPECT_EQ(host.log.Calls(), Calls({emptyHostCall, "StorageModel.BeginStorageAccess()",
                                           "StorageModel.EndStorageAccess()"}));
        EXPECT_EQ(debugLog.Lines(), Calls({"zero boundary length"}));
        EXPECT_EQ(DescriptorsOf(Target()).size(), 1U) << "the file was closed";
    }
}

TEST_F(UploadTest, ABodyWithoutAFirstLineFailsAfterAnUploadThatDidNot)
{
    EXPECT_TRUE(Upload(Body("abc")));
    EXPECT_FALSE(Upload("--b\n"));
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(UploadTest, AWholeUploadIsStoredInsideTheBracket)
{
    EXPECT_TRUE(Upload(Body("abc")));
    EXPECT_EQ(Content(), QByteArray("abc"));
    EXPECT_EQ(host.log.Calls(), Calls({emptyHostCall, "StorageModel.BeginStorageAccess()",
                                       "StorageModel.HasFreeSpace(3)", "StorageModel.Directory(9)",
                                       "StorageModel.EndStorageAccess()"}));
}

TEST_F(UploadTest, AChunkMarkedLastIsParsedAlone)
{
    Queue("untouched", true);
    EXPECT_TRUE(Upload(Body("abc")));
    EXPECT_EQ(host.fakeRestServer.requestChunks.size(), 1);
    delete host.fakeRestServer.requestChunks.front();
}

TEST_F(UploadTest, FurtherChunksAreTakenUpToTheLastAndDeleted)
{
    const QByteArray body = Body("abcdef");
    const QByteArray middle = body.mid(20, 60);
    const QByteArray rest = body.mid(80);
    Queue(middle, false);
    Queue(rest, true);
    Queue("untouched", true);
    EXPECT_TRUE(Upload(body.left(20), false));
    EXPECT_EQ(Content(), QByteArray("abcdef"));
    EXPECT_TRUE(middle.isDetached() && rest.isDetached()) << "a chunk was not deleted";
    EXPECT_EQ(host.fakeRestServer.requestChunks.size(), 1);
    delete host.fakeRestServer.requestChunks.front();
    EXPECT_EQ(host.log.Calls().back(), "StorageModel.EndStorageAccess()");
}

TEST_F(UploadTest, ASecondChunkThatIsEmptyAndLastEndsTheUpload)
{
    Queue("", true);
    EXPECT_TRUE(Upload(Body("abc"), false));
    EXPECT_EQ(host.errors.reports.size(), 0U);
}

TEST_F(UploadTest, EveryPlaceOfTheChunkBorderGivesTheSameFile)
{
    const QByteArray body = Body("a\r\n--x\r\n\r--\n");
    for (int border = 4; border <= body.size(); ++border) {
        SCOPED_TRACE(border);
        QFile::remove(Target());
        Queue(body.mid(border), true);
        EXPECT_TRUE(Upload(body.left(border), false));
        EXPECT_EQ(Content(), QByteArray("a\r\n--x\r\n\r--\n"));
    }
}

TEST_F(UploadTest, AMalformedBodyIsTakenToItsEndAndFails)
{
    Queue("x", false);
    Queue("y", true);
    EXPECT_FALSE(Upload("--b\rx", false));
    EXPECT_EQ(host.fakeRestServer.requestChunks.size(), 0);
    EXPECT_EQ(host.errors.reports.size(), 0U);
    EXPECT_EQ(host.log.Calls(), Calls({emptyHostCall, "StorageModel.BeginStorageAccess()",
                                       "StorageModel.EndStorageAccess()"}));
}

TEST_F(UploadTest, ABodyWithTheMetadataAloneMakesNoFile)
{
    const QByteArray body = Body("abc");
    EXPECT_FALSE(Upload(body.left(body.indexOf("\r\n--b\r\n")) + "\r\n--b--\r\n"));
    EXPECT_EQ(Content(), QByteArray("no file"));
}

TEST_F(UploadTest, ABodyThatBreaksOffLeavesItsFileToTheNextUploadToClose)
{
    BreakOffUpload("abc");
    EXPECT_TRUE(Upload(BodyFor(OtherTarget(), "next")));
    EXPECT_EQ(DescriptorsOf(Target()).size(), 0U);
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(UploadTest, WhatAPieceOfABodyBroughtIsInTheFileWhenItEnds)
{
    const QByteArray content(200000, 'x');
    const QByteArray body = Body(content);
    EXPECT_FALSE(Upload(body.left(body.lastIndexOf('x') + 1)));
    EXPECT_TRUE(Content() == content) << Content().size();
}

TEST_F(UploadTest, AVerdictDoesNotLeakIntoTheNextUpload)
{
    EXPECT_TRUE(Upload(Body("abc")));
    EXPECT_FALSE(Upload("--b\r\n\r\njson\r\n--b--\r\n"));
}

TEST_F(UploadTest, HeadersOfPartsAreNotLookedAt)
{
    EXPECT_TRUE(Upload("--b\r\nContent-Disposition: form-data; filename=\"/etc/x\"\r\n\r\n"
                       "{\"fileUri\": \"" +
                       Target().toUtf8() +
                       "\"}\r\n--b\r\nContent-Disposition: attachment; filename=\"/etc/y\"\r\n\r\n"
                       "abc\r\n--b--\r\n"));
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(UploadTest, TheHandlerOfTheProcessorConstructedLastIsUsed)
{
    FakeHost other;
    other.storage.freeSpace = false;
    RestServerFileProcessor second;
    second.Construct(&other);
    EXPECT_FALSE(Upload(Body("abc")));
    EXPECT_EQ(other.log.Calls().at(0), "StorageModel.HasFreeSpace(3)");
}

TEST_F(UploadTest, TheParsersCallbacksReachTheHandlerAndNeverStopTheParser)
{
    using Processor = RestServerFileProcessor;
    const auto sendPart = [](const QByteArray &bytes) {
        const auto length = static_cast<unsigned int>(bytes.size());
        return Processor::MultipartNotifyPartStart(nullptr) +
               Processor::MultipartReceiveUnusedDataCallback(nullptr, "X", 1) +
               Processor::MultipartNotifyCallback(nullptr) +
               Processor::MultipartReceivePartDataCallback(nullptr, bytes.constData(), length) +
               Processor::MultipartNotifyPartEnd(nullptr);
    };
    EXPECT_EQ(sendPart("{\"fileUri\": \"" + Target().toUtf8() + "\"}"), 0);
    EXPECT_EQ(sendPart("abc"), 0);
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(UploadTest, ShutdownChangesNothing)
{
    processor.Shutdown();
    EXPECT_TRUE(Upload(Body("abc")));
}

class DownloadTest : public FileProcessorTest
{
protected:
    bool Download(const QString &path)
    {
        DataChunk *newChunk = reinterpret_cast<DataChunk *>(this);
        IDownloadContext *newContext = reinterpret_cast<IDownloadContext *>(this);
        const bool ok = processor.ProcessFileDownloadRequest(path, &newChunk, &newContext);
        chunk.reset(newChunk);
        context.reset(newContext);
        return ok;
    }

    Calls Bracketed(const std::string &path) const
    {
        return {"StorageModel.Directory(9)", emptyHostCall, "StorageModel.BeginStorageAccess()",
                "FileManagerModel.ReadFileChunk(" + path + ", 0, 5000000)",
                "StorageModel.EndStorageAccess()"};
    }

    std::unique_ptr<DataChunk> chunk;
    std::unique_ptr<IDownloadContext> context;
};

TEST_F(DownloadTest, ANullChunkIsReportedAndTheContextLeftAlone)
{
    auto *untouched = reinterpret_cast<IDownloadContext *>(this);
    IDownloadContext *newContext = untouched;
    EXPECT_FALSE(processor.ProcessFileDownloadRequest(Target(), nullptr, &newContext));
    EXPECT_EQ(newContext, untouched);
    EXPECT_EQ(host.log.Calls(),
              Calls({"ErrorReporter.ReportError(Chunk null pointer, restserverfileprocessor)"}));
    EXPECT_EQ(host.errors.reports.at(0).line, 169);
}

TEST_F(DownloadTest, APathOutsideIsRefusedBeforeTheStorageIsTouched)
{
    EXPECT_FALSE(Download(QStringLiteral("/etc/a")));
    EXPECT_EQ(chunk, nullptr);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(host.log.Calls(), Calls({"StorageModel.Directory(9)"}));
}

TEST_F(DownloadTest, WithoutTheGuardedStorageNothingIsRead)
{
    host.storage.available = false;
    EXPECT_FALSE(Download(Target()));
    EXPECT_EQ(chunk, nullptr);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(host.log.Calls(), Calls({"StorageModel.Directory(9)", emptyHostCall}));
}

TEST_F(DownloadTest, AFailedReadLeavesTheBracketAndGivesNothing)
{
    host.fileManager.pieces = {{"ignored", false, false}};
    EXPECT_FALSE(Download(Target()));
    EXPECT_EQ(chunk, nullptr);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(host.log.Calls(), Bracketed(Target().toStdString()));
}

TEST_F(DownloadTest, AFileOfOnePieceNeedsNoContext)
{
    host.fileManager.files[Target()] = QByteArray(5000000, 'x');
    EXPECT_TRUE(Download(Target()));
    ASSERT_NE(chunk, nullptr);
    EXPECT_EQ(chunk->Data().size(), 5000000);
    EXPECT_TRUE(chunk->LastChunk());
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(host.log.Calls(), Bracketed(Target().toStdString()));
}

TEST_F(DownloadTest, AnEmptyFileIsOneEmptyPiece)
{
    host.fileManager.files[Target()] = QByteArray();
    EXPECT_TRUE(Download(Target()));
    ASSERT_NE(chunk, nullptr);
    EXPECT_TRUE(chunk->Data().isEmpty());
    EXPECT_TRUE(chunk->LastChunk());
    EXPECT_EQ(context, nullptr);
}

TEST_F(DownloadTest, APieceThatTheHostSaysNothingOfIsTheLast)
{
    host.fileManager.pieces = {{"a", true, std::nullopt}};
    EXPECT_TRUE(Download(Target()));
    ASSERT_NE(chunk, nullptr);
    EXPECT_TRUE(chunk->LastChunk());
    EXPECT_EQ(context, nullptr);
}

TEST_F(DownloadTest, ALongerFileComesWithAContextForTheRest)
{
    host.fileManager.files[Target()] = QByteArray(5000001, 'x');
    EXPECT_TRUE(Download(Target()));
    ASSERT_NE(chunk, nullptr);
    EXPECT_EQ(chunk->Data().size(), 5000000);
    EXPECT_FALSE(chunk->LastChunk());
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(host.log.Calls(), Bracketed(Target().toStdString()));

    host.log.Clear();
    context->SendExtraDownloadContent();
    EXPECT_EQ(host.log.Calls(), Calls({"FileManagerModel.ReadFileChunk(" + Target().toStdString() +
                                       ", 5000000, 5000000)"}));
    const std::unique_ptr<DataChunk> rest(host.fakeRestServer.responseChunks.front());
    EXPECT_EQ(rest->Data(), QByteArray("x"));
    EXPECT_TRUE(rest->LastChunk());
}

} // namespace
