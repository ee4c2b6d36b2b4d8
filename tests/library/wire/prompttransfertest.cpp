#include <QDir>
#include <QFileInfo>
#include <sstream>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include "restserverfiledownloadcontext.h"
#include "wiretest.h"

// How files move when serving promptly.

namespace {

const bool servesPromptly = qputenv("PARLOWEN_SERVING", "prompt");

constexpr char uploads[] = "/api/filemgr/v2/userfiles";
const std::string stored = "{\n}\n";
const std::string failed = ErrorBody("Upload failed");
const std::string pending = "/api/syncfiles/v1/pendingfiles";

class PromptTransferTest : public WireTest
{
protected:
    PromptTransferTest() { Clear(); }
    ~PromptTransferTest() override { Clear(); }

    std::string Upload(const QString &path, const std::string &content)
    {
        return AskBody(Request("POST", uploads, UploadBody(path, content)));
    }

    void Write(const QString &name, const std::string &content)
    {
        QFile file(host.Path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content.data(), static_cast<qint64>(content.size()));
    }

    // All names in the folder, hidden ones too.
    QStringList Names() const
    {
        return QDir(host.directory.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    // What a client gets of a file when something happens before its second piece is read.
    std::string DownloadWhile(const std::function<void()> &happens)
    {
        Write("file", RandomBytes(12000000));
        const auto read = host.script.readFileChunk;
        host.script.readFileChunk = [happens, read](QString path, bool *ok, qint64 offset,
                                                    qint64 maxLength, bool *lastChunk) {
            if (offset == RestServerFileDownloadContext::pieceSize) {
                happens();
            }
            return read(path, ok, offset, maxLength, lastChunk);
        };
        return AskBody(Request("GET", uploads + host.Path("file").toStdString()));
    }

    // An upload of which half has come.
    std::unique_ptr<RawClient> HalfUpload(const QString &path, const std::string &content)
    {
        const std::string request = Request("POST", uploads, UploadBody(path, content));
        auto client = std::make_unique<RawClient>();
        client->Send(request.substr(0, request.size() / 2));
        return client;
    }

private:
    void Clear()
    {
        for (const QString &name : Names()) {
            QDir(host.Path(name)).removeRecursively();
            QFile::remove(host.Path(name));
        }
    }
};

// Whether a client takes the body for one that came to its end.
bool HasEnd(const std::string &chunks)
{
    return chunks.find("\r\n0\r\n\r\n") != std::string::npos;
}

// A form with so many empty parts behind the first two.
std::string FormWithParts(const QString &target, int parts)
{
    std::string body = UploadBody(target, "content");
    body.resize(body.rfind("--\r\n"));
    for (int part = 2; part < parts; ++part) {
        body += "\r\n\r\nlast\r\n--frontier";
    }
    return body + "--\r\n";
}

} // namespace

TEST_F(PromptTransferTest, NothingIsSeenOfHalfAnUpload)
{
    const std::string next = WhileServing([&] {
        const auto client = HalfUpload(host.Path("file"), RandomBytes(12000000));
        return Exchange(Request("GET", pending));
    });
    EXPECT_EQ(BodyOf(next), "[\n    \"pending\"\n]\n");
    EXPECT_EQ(Names(), QStringList());
}

TEST_F(PromptTransferTest, AnUploadThatBreaksOffLeavesTheOldFile)
{
    Write("file", "old");
    WhileServing([&] {
        HalfUpload(host.Path("file"), RandomBytes(12000000))->Vanish();
        return Exchange(Request("GET", pending));
    });
    server.Stop(); // ends the thread of the upload
    EXPECT_EQ(FileContent(host.Path("file")), "old");
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_F(PromptTransferTest, ABodyThatLacksItsLastBytesStoresNothing)
{
    const std::string body = UploadBody(host.Path("file"), "content");
    const std::string reply = WhileServing([&] {
        RawClient client;
        client.Send("POST /api/filemgr/v2/userfiles HTTP/1.1\r\nHost: device\r\nContent-Length: " +
                    std::to_string(body.size() + 1) + "\r\n\r\n" + body);
        client.EndSending();
        return client.ReceiveAll();
    });
    EXPECT_EQ(BodyOf(reply), failed);
    EXPECT_EQ(Names(), QStringList());
}

TEST_F(PromptTransferTest, AChunkedUploadThatJustFillsABufferIsStored)
{
    const std::string form = UploadBody(host.Path("file"), "x");
    for (const size_t length : {16384, 65536, 262144, 1048576, 5000000}) {
        std::string body = form;
        body.insert(body.rfind('x'), length - form.size(), 'x');
        std::ostringstream request;
        request << "POST " << uploads << " HTTP/1.1\r\nHost: device\r\n"
                << "Transfer-Encoding: chunked\r\n\r\n"
                << std::hex << body.size() << "\r\n"
                << body << "\r\n0\r\n\r\n";
        EXPECT_EQ(AskBody(request.str()), stored) << body.size();
    }
}

TEST_F(PromptTransferTest, TheNewFileHasTheModeOfTheOldOne)
{
    Write("file", "old");
    chmod(QFile::encodeName(host.Path("file")).constData(), 0640);
    EXPECT_EQ(Upload(host.Path("file"), "new"), stored);
    EXPECT_EQ(FileContent(host.Path("file")), "new");
    struct stat status
    {};
    stat(QFile::encodeName(host.Path("file")).constData(), &status);
    EXPECT_EQ(status.st_mode & 07777, mode_t(0640));
}

TEST_F(PromptTransferTest, ANewFileHasTheModeThatAnyNewFileGets)
{
    Write("other", "");
    EXPECT_EQ(Upload(host.Path("file"), "new"), stored);
    EXPECT_EQ(QFile::permissions(host.Path("file")), QFile::permissions(host.Path("other")));
}

TEST_F(PromptTransferTest, AReadOnlyFileIsRefused)
{
    server.Stop();
    chmod(QFile::encodeName(host.directory.path()).constData(), 0777);
    Write("file", "old");
    chmod(QFile::encodeName(host.Path("file")).constData(), 0444);
    RestServerOptions options = RestServerOptions::Prompt();
    options.prepareWorker = [] {
        setfsuid(65534); // as root this thread might write any file
        return true;
    };
    server.SetOptions(options);
    server.Start();
    EXPECT_EQ(Upload(host.Path("file"), "new"), failed);
    EXPECT_EQ(FileContent(host.Path("file")), "old");
    server.Stop();
    server.SetOptions(RestServerOptions::Prompt());
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_F(PromptTransferTest, ALinkIsFollowed)
{
    Write("target", "old");
    QFile::link(host.Path("target"), host.Path("link"));
    EXPECT_EQ(Upload(host.Path("link"), "new"), stored);
    EXPECT_EQ(FileContent(host.Path("target")), "new");
    EXPECT_TRUE(QFileInfo(host.Path("link")).isSymLink());
}

TEST_F(PromptTransferTest, ALinkToNothingMakesItsTarget)
{
    QFile::link(host.Path("target"), host.Path("link"));
    EXPECT_EQ(Upload(host.Path("link"), "new"), stored);
    EXPECT_EQ(FileContent(host.Path("target")), "new");
    EXPECT_TRUE(QFileInfo(host.Path("link")).isSymLink());
}

TEST_F(PromptTransferTest, ALinkToItselfIsRefused)
{
    QFile::link(host.Path("link"), host.Path("link"));
    EXPECT_EQ(Upload(host.Path("link"), "new"), failed);
}

TEST_F(PromptTransferTest, APipeIsRefusedAndBlocksNobody)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(host.Path("pipe")).constData(), 0666), 0);
    EXPECT_EQ(Upload(host.Path("pipe"), "new"), failed);
}

TEST_F(PromptTransferTest, ADeviceIsRefused)
{
    QFile::link("/dev/null", host.Path("link"));
    EXPECT_EQ(Upload(host.Path("link"), "new"), failed);
}

TEST_F(PromptTransferTest, AFolderIsRefused)
{
    QDir().mkdir(host.Path("folder"));
    EXPECT_EQ(Upload(host.Path("folder"), "new"), failed);
    EXPECT_EQ(Upload(host.Path("folder/"), "new"), failed);
    EXPECT_EQ(Upload(host.Path("folder/.."), "new"), failed);
}

TEST_F(PromptTransferTest, AFolderThatDoesNotExistIsRefused)
{
    EXPECT_EQ(Upload(host.Path("none/file"), "new"), failed);
    EXPECT_EQ(Names(), QStringList());
}

TEST_F(PromptTransferTest, TheLastPartOfSeveralIsTheFile)
{
    EXPECT_EQ(AskBody(Request("POST", uploads, FormWithParts(host.Path("file"), 64))), stored);
    EXPECT_EQ(FileContent(host.Path("file")), "last");
}

TEST_F(PromptTransferTest, MoreThan64PartsFail)
{
    Write("file", "old");
    EXPECT_EQ(AskBody(Request("POST", uploads, FormWithParts(host.Path("file"), 65))), failed);
    EXPECT_EQ(FileContent(host.Path("file")), "old");
}

TEST_F(PromptTransferTest, AFirstPartOfOneMebibyteIsTaken)
{
    std::string body = UploadBody(host.Path("file"), "content");
    const size_t brace = body.find('{');
    const size_t length = body.find("\r\n--frontier\r\n", brace) - brace;
    body.insert(brace, 1024 * 1024 - length, ' ');
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), stored);
}

TEST_F(PromptTransferTest, AFirstPartOfMoreThanOneMebibyteFails)
{
    std::string body = UploadBody(host.Path("file"), "content");
    const size_t brace = body.find('{');
    const size_t length = body.find("\r\n--frontier\r\n", brace) - brace;
    body.insert(brace, 1024 * 1024 - length + 1, ' ');
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), failed);
    EXPECT_EQ(Names(), QStringList());
}

TEST_F(PromptTransferTest, ABodyThatIsNoFormIsRefusedWhateverItsLength)
{
    EXPECT_EQ(AskBody(Request("POST", uploads, std::string(12000000, '-'))), failed);
}

TEST_F(PromptTransferTest, MetadataNestedAThousandLevelsDeepAreRead)
{
    // On the small stack of an HTTP thread this would end the process.
    std::string body = UploadBody(host.Path("file"), "content");
    const std::string deep = "\"deep\": " + std::string(1000, '[') + std::string(1000, ']') + ", ";
    body.insert(body.find('{') + 1, deep);
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), stored);
}

TEST_F(PromptTransferTest, MetadataNestedTooDeepAreRefused)
{
    std::string body = UploadBody(host.Path("file"), "content");
    body.insert(body.find('{'), 2000, '[');
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), failed);
}

TEST_F(PromptTransferTest, MetadataThatHaveAKeyTwiceAreRefused)
{
    std::string body = UploadBody(host.Path("file"), "content");
    body.insert(body.find('{') + 1, R"("key": [1], "key": 2, )");
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), failed);
    EXPECT_EQ(Names(), QStringList());
}

TEST_F(PromptTransferTest, UploadsSideBySideEachWriteTheirOwn)
{
    const std::string contents[] = {RandomBytes(11000000), std::string(12000000, '\r'),
                                    std::string(6000000, 'x')};
    const auto replies = WhileServing([&] {
        std::vector<std::future<std::string>> clients;
        for (int i = 0; i < 3; ++i) {
            clients.push_back(std::async(std::launch::async, [&, i] {
                return Exchange(Request("POST", uploads,
                                        UploadBody(host.Path(QString::number(i)), contents[i])));
            }));
        }
        std::vector<std::string> bodies;
        for (auto &client : clients) {
            bodies.push_back(BodyOf(client.get()));
        }
        return bodies;
    });
    EXPECT_EQ(replies, std::vector<std::string>(3, stored));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(FileContent(host.Path(QString::number(i))) == contents[i]) << i;
    }
}

TEST_F(PromptTransferTest, OfTwoUploadsToOneFileTheLastToEndStands)
{
    const std::string first = Request("POST", uploads, UploadBody(host.Path("file"), "first"));
    const auto replies = WhileServing([&] {
        RawClient early;
        early.Send(first.substr(0, first.size() - 1));
        const std::string second =
            Exchange(Request("POST", uploads, UploadBody(host.Path("file"), "second")));
        early.Send(first.substr(first.size() - 1));
        return std::vector<std::string>{BodyOf(second), BodyOf(early.ReceiveAll())};
    });
    EXPECT_EQ(replies, std::vector<std::string>(2, stored));
    EXPECT_EQ(FileContent(host.Path("file")), "first");
}

TEST_F(PromptTransferTest, TheHostSeesOneStorageAccessAroundUploadsSideBySide)
{
    QStringList seen;
    std::promise<void> begun;
    host.script.storageEntered = [&] {
        seen << "begin";
        begun.set_value();
    };
    host.script.storageLeft = [&] { seen << "end"; };
    const std::string request =
        Request("POST", uploads, UploadBody(host.Path("file"), std::string(6000000, 'x')));
    WhileServing([&] {
        RawClient early;
        early.Send(request.substr(0, 5500000)); // more than is read before it claims anything
        begun.get_future().wait();
        Exchange(Request("POST", uploads, UploadBody(host.Path("other"), "content")));
        early.Send(request.substr(5500000));
        return early.ReceiveAll();
    });
    EXPECT_EQ(seen, (QStringList{"begin", "end"}));
}

TEST_F(PromptTransferTest, RoomIsAskedForAsTheFileGrows)
{
    qint64 asked = 0;
    host.script.hasFreeSpace = [&](qint64 bytes) { return (asked += bytes) <= 20000000; };
    EXPECT_EQ(Upload(host.Path("small"), std::string(8000000, 'x')), stored);
    asked = 0;
    std::string body = UploadBody(host.Path("large"), std::string(30000000, 'x'));
    body.replace(body.find("30000000"), 8, "0       ");
    EXPECT_EQ(AskBody(Request("POST", uploads, body)), failed);
    EXPECT_EQ(Names(), QStringList{"small"});
}

TEST_F(PromptTransferTest, AFileThatNeverEndsIsVisiblyBroken)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64, bool *lastChunk) {
        *ok = true;
        *lastChunk = false;
        return QByteArray(offset == 0 ? "first!" : "");
    };
    const std::string reply = Ask(Request("GET", uploads + host.Path("file").toStdString()));
    EXPECT_EQ(DecodeChunks(BodyOf(reply)), "broken");
    EXPECT_EQ(BodyOf(reply), "6\r\nfirst!\r\n");
}

TEST_F(PromptTransferTest, AFileThatIsReplacedOnTheWayIsVisiblyBroken)
{
    Write("new", RandomBytes(12000000));
    const std::string body = DownloadWhile(
        [this] { rename(qPrintable(host.Path("new")), qPrintable(host.Path("file"))); });
    EXPECT_FALSE(HasEnd(body));
}

TEST_F(PromptTransferTest, AFileThatIsDeletedOnTheWayIsVisiblyBroken)
{
    EXPECT_FALSE(HasEnd(DownloadWhile([this] { QFile::remove(host.Path("file")); })));
}

TEST_F(PromptTransferTest, AFileThatIsMadeAnewOnTheWayIsVisiblyBroken)
{
    const std::string body = DownloadWhile([this] {
        QFile::remove(host.Path("file"));
        Write("file", RandomBytes(12000000));
    });
    EXPECT_FALSE(HasEnd(body));
}

TEST_F(PromptTransferTest, AFileThatGrowsOnTheWayComesWhole)
{
    const std::string body = DownloadWhile([this] {
        QFile file(host.Path("file"));
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("more");
    });
    EXPECT_TRUE(DecodeChunks(body) == FileContent(host.Path("file")));
}

TEST_F(PromptTransferTest, AClientThatReadsNothingKeepsNobodyOut)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64 maxLength,
                                   bool *lastChunk) {
        *ok = true;
        *lastChunk = offset >= 100000000;
        return QByteArray(static_cast<int>(maxLength), '.');
    };
    const std::string next = WhileServing([&] {
        RawClient asleep;
        asleep.Send(Request("GET", uploads + host.Path("file").toStdString()));
        asleep.Receive(1000);
        return Exchange(Request("GET", pending));
    });
    EXPECT_EQ(BodyOf(next), "[\n    \"pending\"\n]\n");
}
