#include "wiretest.h"

#include <QDir>

namespace {

constexpr char downloadHeader[] =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: no-cache, no-store, must-revalidate, private, max-age=0\r\n"
    "Expires: 0\r\n"
    "Pragma: no-cache\r\n"
    "Content-Type: application/octet-stream; charset=utf-8\r\n"
    "Transfer-Encoding: chunked\r\n"
    "Date: *\r\n"
    "Connection: close\r\n\r\n";

class TransferTest : public WireTest
{
protected:
    std::string Download(const QString &path)
    {
        return Ask(Request("GET", "/api/filemgr/v2/userfiles" + path.toStdString()));
    }
};

// Every size with a meaning for the pieces of 5,000,000 bytes, as file and as whole body.
class TransferSizeTest : public TransferTest, public ::testing::WithParamInterface<size_t>
{};

} // namespace

INSTANTIATE_TEST_SUITE_P(Bytes, TransferSizeTest,
                         ::testing::Values(1, 4999999, 5000000, 5000001, 12000000),
                         ::testing::PrintToStringParamName());

TEST_P(TransferSizeTest, FileIsStoredAndComesBack)
{
    const std::string content = RandomBytes(GetParam());
    const QString path = host.Path("file");
    EXPECT_EQ(AskBody(Request("POST", "/api/filemgr/v2/userfiles", UploadBody(path, content))),
              "{\n}\n");
    EXPECT_TRUE(FileContent(path) == content);
    const std::string body = BodyOf(Download(path));
    EXPECT_TRUE((content.size() > 5000000 ? DecodeChunks(body) : body) == content);
    EXPECT_TRUE(AskBody(Request("GET", "/api/syncfiles/v1/userfiles" + path.toStdString())) ==
                content);
}

TEST_P(TransferSizeTest, BodyOfThisSizeIsTakenWhole)
{
    const QString path = host.Path("file");
    const size_t frame = UploadBody(path, "").size() + std::to_string(GetParam()).size() - 1;
    if (GetParam() <= frame) { // too small for an upload: refused, and nothing is waited for
        EXPECT_EQ(
            AskBody(Request("POST", "/api/syncfiles/v1/userfiles", std::string(GetParam(), '-'))),
            ErrorBody("Upload failed"));
        return;
    }
    const std::string content = RandomBytes(GetParam() - frame);
    std::string body = UploadBody(path, content);
    body.append(GetParam() - body.size(), '\n'); // the epilogue is ignored
    ASSERT_EQ(body.size(), GetParam());
    EXPECT_EQ(AskBody(Request("POST", "/api/syncfiles/v1/userfiles", body)), "{\n}\n");
    EXPECT_TRUE(FileContent(path) == content);
}

TEST_F(TransferTest, BodyOfNoBytesIsAnswered)
{
    EXPECT_EQ(AskBody(Request("POST", "/api/syncfiles/v1/userfiles")), ErrorBody("Upload failed"));
}

TEST_F(TransferTest, EmptyFileIsStored)
{
    EXPECT_EQ(
        AskBody(Request("POST", "/api/filemgr/v2/userfiles", UploadBody(host.Path("empty"), ""))),
        "{\n}\n");
    EXPECT_EQ(FileContent(host.Path("empty")), "");
}

TEST_F(TransferTest, BodyInChunkedCodingIsStored)
{
    const std::string body = UploadBody(host.Path("file"), "content");
    char size[16];
    snprintf(size, sizeof size, "%zx", body.size());
    const std::string request = "POST /api/filemgr/v2/userfiles HTTP/1.1\r\nHost: device\r\n"
                                "Transfer-Encoding: chunked\r\n\r\n" +
                                std::string(size) + "\r\n" + body + "\r\n0\r\n\r\n";
    EXPECT_EQ(AskBody(request), "{\n}\n");
    EXPECT_EQ(FileContent(host.Path("file")), "content");
}

TEST_F(TransferTest, NamesWithBlanksPercentSignsAndOtherLetters)
{
    const QString path = host.Path(QString::fromUtf8("gr\u00fc\u00dfe 100% \u6e2c.txt"));
    EXPECT_EQ(AskBody(Request("POST", "/api/filemgr/v2/userfiles", UploadBody(path, "hello"))),
              "{\n}\n");
    EXPECT_EQ(FileContent(path), "hello");
    const std::string encoded = path.toUtf8().toPercentEncoding("/").toStdString();
    EXPECT_EQ(AskBody(Request("GET", "/api/syncfiles/v1/userfiles" + encoded)), "hello");
}

TEST_F(TransferTest, DownloadOfOnePieceHasALength)
{
    QFile file(host.Path("file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("text");
    file.close();
    EXPECT_EQ(WithoutDate(Download(file.fileName())),
              OkHeader("application/octet-stream; charset=utf-8", 4) + "text");
}

TEST_F(TransferTest, DownloadOfSeveralPiecesIsChunkedPieceByPiece)
{
    const QByteArrayList pieces{"first!", "second", "last"};
    host.script.readFileChunk = [&](QString, bool *ok, qint64 offset, qint64, bool *lastChunk) {
        const int piece = static_cast<int>(offset / 5000000);
        *ok = true;
        *lastChunk = piece == 2;
        return pieces.at(piece);
    };
    EXPECT_EQ(WithoutDate(Download(host.Path("file"))),
              downloadHeader + std::string("6\r\nfirst!\r\n6\r\nsecond\r\n4\r\nlast\r\n0\r\n\r\n"));
}

TEST_F(TransferTest, LaterReadThatFailsSendsWhatItGave)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64, bool *lastChunk) {
        *ok = offset == 0;
        *lastChunk = offset != 0;
        return QByteArray(offset == 0 ? "first!" : "rest");
    };
    EXPECT_EQ(DecodeChunks(BodyOf(Download(host.Path("file")))), "first!rest");
}

TEST_F(TransferTest, PathOutsideTheUserFilesIsRefused)
{
    EXPECT_EQ(BodyOf(Download("/etc/passwd")), ErrorBody("File read failure"));
}

TEST_F(TransferTest, EmptyFirstPieceThatIsNotTheLastIsAnsweredAsAnEmptyBody)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64, bool *lastChunk) {
        *ok = true;
        *lastChunk = offset != 0;
        return QByteArray();
    };
    EXPECT_EQ(WithoutDate(Download(host.Path("file"))), ErrorReply("200 OK", ""));
    EXPECT_EQ(AskBody(Request("GET", "/api/syncfiles/v1/pendingfiles")), "[\n    \"pending\"\n]\n");
}

TEST_F(TransferTest, NextRequestIsAnsweredAfterAClientVanishedInAnUpload)
{
    const std::string request = Request("POST", "/api/filemgr/v2/userfiles",
                                        UploadBody(host.Path("file"), RandomBytes(12000000)));
    for (const size_t sent :
         {size_t(50), size_t(300), size_t(1000000), size_t(6000000), request.size() - 1}) {
        const std::string next = WhileServing([&] {
            RawClient client;
            client.Send(request.substr(0, sent));
            client.Vanish();
            return Exchange(Request("GET", "/api/syncfiles/v1/pendingfiles"));
        });
        EXPECT_EQ(BodyOf(next), "[\n    \"pending\"\n]\n") << sent;
    }
}

TEST_F(TransferTest, NextRequestIsAnsweredAfterAClientVanishedInADownload)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64 maxLength,
                                   bool *lastChunk) {
        *ok = true;
        *lastChunk = offset >= 40000000;
        return QByteArray(static_cast<int>(maxLength), '.');
    };
    const std::string next = WhileServing([&] {
        RawClient client;
        client.Send(Request("GET", "/api/filemgr/v2/userfiles" + host.Path("f").toStdString()));
        client.Receive(1000);
        client.Vanish();
        return Exchange(Request("GET", "/api/syncfiles/v1/pendingfiles"));
    });
    EXPECT_EQ(BodyOf(next), "[\n    \"pending\"\n]\n");
}
