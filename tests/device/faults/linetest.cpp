#include <bytepace.h>
#include <filedescriptor.h>
#include <gtest/gtest.h>
#include <linestream.h>
#include <requesthead.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(RequestHead, HasTheMethodAndThePathWithoutItsQuery)
{
    const RequestHead head = RequestHead::Parse("PUT /api/a%20b?x=/y HTTP/1.1\r\nHost: d\r\n\r\n");
    EXPECT_EQ(head.method, QByteArray("PUT"));
    EXPECT_EQ(head.path, QByteArray("/api/a b"));
}

TEST(RequestHead, LeavesTheHostOut)
{
    EXPECT_EQ(RequestHead::Parse("GET http://device:80/info HTTP/1.1\r\n").path, "/info");
    EXPECT_EQ(RequestHead::Parse("GET http://device HTTP/1.1\r\n").path, "/");
}

TEST(RequestHead, IsEmptyForWhatIsNoRequest)
{
    for (const char *text : {"", "GET", "GET /info", "GET /info x HTTP/1.1\r\n", "\r\n\r\n"}) {
        EXPECT_TRUE(RequestHead::Parse(text).method.isEmpty()) << text;
    }
}

TEST(RequestHead, KnowsTheContentOfAUserFileFromEverythingElse)
{
    const auto isDownload = [](const char *method, const char *path) {
        return RequestHead{method, path}.IsDownload();
    };
    EXPECT_TRUE(isDownload("GET", "/api/filemgr/v2/userfiles/a"));
    EXPECT_TRUE(isDownload("GET", "/api/syncfiles/v1/userfiles/a/b"));
    EXPECT_FALSE(isDownload("PUT", "/api/syncfiles/v1/userfiles/a"));
    EXPECT_FALSE(isDownload("GET", "/api/filemgr/v2/userfiles"));
    EXPECT_FALSE(isDownload("GET", "/api/filemgr/v2/metadata/userfiles/a"));
}

class BytePaceTest : public testing::Test
{
protected:
    const BytePace::Time start{};
    BytePace pace{1000, start};
};

TEST_F(BytePaceTest, LetsNothingPassBeforeATwentiethOfASecond)
{
    EXPECT_EQ(pace.Allowance(start), 0);
    EXPECT_EQ(pace.Allowance(start + milliseconds(49)), 0);
    EXPECT_EQ(pace.Allowance(start + milliseconds(60)), 60);
}

TEST_F(BytePaceTest, CountsWhatHasPassed)
{
    pace.Count(950);
    EXPECT_EQ(pace.Allowance(start + seconds(1)), 50);
    pace.Count(50);
    EXPECT_EQ(pace.Allowance(start + seconds(1)), 0);
}

TEST_F(BytePaceTest, IsDueWhenSomethingMayPass)
{
    for (int second = 0; second < 5; ++second) {
        EXPECT_GT(pace.Allowance(pace.Due()), 0);
        pace.Count(pace.Allowance(pace.Due()));
    }
}

TEST_F(BytePaceTest, LetsSingleBytesPassAtTheSlowestPace)
{
    const BytePace slow(1, start);
    EXPECT_EQ(slow.Allowance(start + milliseconds(900)), 0);
    EXPECT_EQ(slow.Allowance(start + milliseconds(1100)), 1);
}

/** A stream between two pairs of sockets. */
class LineStreamTest : public testing::Test
{
protected:
    LineStreamTest()
    {
        Connect(&sender, &source);
        Connect(&sink, &receiver);
        stream = std::make_unique<LineStream>(source.Number(), sink.Number());
    }

    static void Connect(FileDescriptor *one, FileDescriptor *other)
    {
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        *one = FileDescriptor(ends[0]);
        *other = FileDescriptor(ends[1]);
    }

    void Pass(const QByteArray &bytes)
    {
        ASSERT_EQ(write(sender.Number(), bytes.constData(), static_cast<std::size_t>(bytes.size())),
                  bytes.size());
        stream->Receive();
        stream->Send(now);
    }

    QByteArray Received() const
    {
        QByteArray bytes(4096, '\0');
        const ssize_t count =
            read(receiver.Number(), bytes.data(), static_cast<std::size_t>(bytes.size()));
        return bytes.left(static_cast<int>(std::max<ssize_t>(count, 0)));
    }

    FileDescriptor sender;
    FileDescriptor source;
    FileDescriptor sink;
    FileDescriptor receiver;
    std::unique_ptr<LineStream> stream;
    LineStream::Time now{};
};

TEST_F(LineStreamTest, KeepsAHeadUntilItIsWhole)
{
    Pass("HTTP/1.1 200 OK\r\n");
    EXPECT_FALSE(stream->HasHead());
    EXPECT_EQ(Received(), QByteArray());
    Pass("\r\nbody");
    EXPECT_TRUE(stream->HasHead());
    EXPECT_EQ(Received(), QByteArray("HTTP/1.1 200 OK\r\n\r\nbody"));
}

TEST_F(LineStreamTest, PassesWhatNeverBecomesAHead)
{
    Pass("nonsense");
    sender = FileDescriptor();
    stream->Receive();
    stream->Send(now);
    EXPECT_TRUE(stream->HasEnded());
    EXPECT_EQ(Received(), QByteArray("nonsense"));
}

TEST_F(LineStreamTest, CountsTheBodyAloneTowardsItsLimit)
{
    stream->SetLimit(3);
    Pass("head\r\n\r\nabc");
    EXPECT_FALSE(stream->IsAtLimit());
    Pass("d");
    EXPECT_TRUE(stream->IsAtLimit());
    EXPECT_EQ(Received(), QByteArray("head\r\n\r\nabc"));
    EXPECT_FALSE(stream->CanSend(now));
    stream->SetLimit(std::nullopt);
    stream->Send(now);
    EXPECT_EQ(Received(), QByteArray("d"));
}

TEST_F(LineStreamTest, WaitsForItsPace)
{
    stream->SetPace(BytePace(100, now));
    Pass("head\r\n\r\nabcdefghij");
    EXPECT_EQ(Received(), QByteArray("head\r\n\r\n"));
    ASSERT_TRUE(stream->Due(now));
    stream->Send(*stream->Due(now));
    EXPECT_EQ(Received(), QByteArray("abcde"));
}

TEST_F(LineStreamTest, DiscardsWhatComes)
{
    stream->Discard();
    Pass("head\r\n\r\nbody");
    EXPECT_TRUE(stream->IsEmpty());
    EXPECT_EQ(Received(), QByteArray());
}

TEST_F(LineStreamTest, SendsAMessageInsteadOfItsSource)
{
    stream->SetLimit(0);
    Pass("head\r\n\r\nbody");
    stream->Replace("other\r\n\r\nanswer");
    stream->Send(now);
    EXPECT_EQ(Received(), QByteArray("head\r\n\r\nother\r\n\r\nanswer"));
    EXPECT_TRUE(stream->HasEnded());
}

TEST_F(LineStreamTest, TellsThatItsSinkIsGone)
{
    receiver = FileDescriptor();
    Pass("head\r\n\r\n");
    EXPECT_TRUE(stream->CannotSend());
}

} // namespace
