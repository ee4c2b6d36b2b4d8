#include <QThread>
#include <QTimer>
#include <atomic>
#include <limits>
#include <utility>

#include "threadlimit.h"
#include "wiretest.h"

// What prompt serving does and classic serving does not.

namespace {

const bool servesPromptly = qputenv("PARLOWEN_SERVING", "prompt");

const std::string pendingBody = "[\n    \"pending\"\n]\n";
const std::string pending = "/api/syncfiles/v1/pendingfiles";

class PromptTest : public WireTest
{
protected:
    std::string AskPending() { return AskBody(Request("GET", pending)); }
};

// The head of a request whose body is still to come.
std::string Head(const std::string &method, const std::string &uri, size_t length)
{
    return method + " " + uri +
           " HTTP/1.1\r\nHost: device\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n";
}

std::string WithHeader(std::string request, const std::string &header)
{
    return request.insert(request.find("\r\n") + 2, header + "\r\n");
}

const std::string refused =
    ErrorReply("403 Forbidden", "Requests from other web pages are not allowed");

} // namespace

TEST_F(PromptTest, AnActiveWorkOrderThatIsNestedTooDeeplyToBeEchoedIsRefused)
{
    std::string body(500, '[');
    for (int element = 0; element < 10'000; ++element) {
        body += "1,";
    }
    body += "1" + std::string(500, ']');
    const std::string reply = WithoutDate(Ask(Request("PUT", "/api/workflow/v1/active", body)));
    EXPECT_EQ(reply, ErrorReply("413 Request Entity Too Large",
                                "The request is nested too deeply to be answered"));
}

// The parser would keep memory for ever.
TEST_F(PromptTest, ABodyThatHasAKeyTwiceIsRefused)
{
    const std::string body = R"({"activeWorkOrderId": "1", "x": {"key": [1], "key": 2}})";
    EXPECT_EQ(WithoutDate(Ask(Request("PUT", "/api/workflow/v1/active", body))),
              ErrorReply("400 Bad Request", "An object of the request has a key twice"));
}

TEST_F(PromptTest, ABodyThatDoesNotCountMayHaveAKeyTwice)
{
    const std::string body = R"({"key": [1], "key": 2})";
    EXPECT_EQ(Ask(Request("GET", "/info", body)).substr(0, 15), "HTTP/1.1 200 OK");
}

// The thread of the model

TEST_F(PromptTest, NoTimerRuns)
{
    EXPECT_FALSE(server.findChild<QTimer *>()->isActive());
    EXPECT_EQ(AskPending(), pendingBody);
    EXPECT_FALSE(server.findChild<QTimer *>()->isActive());
}

TEST_F(PromptTest, EventsOfTheApplicationComeFirst)
{
    QStringList order;
    host.script.assetInfo = [&] {
        order << "request";
        return QJsonObject();
    };
    std::promise<void> sent;
    auto answer = std::async(std::launch::async, [&] {
        RawClient client;
        client.Send(Request("GET", "/info"));
        sent.set_value();
        return client.ReceiveAll();
    });
    sent.get_future().wait();
    // The request waits as an event of low priority while this thread does not turn its loop.
    QThread::msleep(50);
    QMetaObject::invokeMethod(
        &server, [&] { order << "application"; }, Qt::QueuedConnection);
    WhileServing([&] { return answer.get(); });
    EXPECT_EQ(order.first(), "application");
}

TEST_F(PromptTest, ACallThatRunsAnEventLoopOfItsOwnIsFollowedNotInterrupted)
{
    QStringList order;
    host.script.assetInfo = [&] {
        order << "begin";
        QEventLoop nested;
        QTimer::singleShot(100, &nested, &QEventLoop::quit);
        nested.exec();
        order << "end";
        return QJsonObject();
    };
    WhileServing([] {
        auto second =
            std::async(std::launch::async, [] { return Exchange(Request("GET", "/info")); });
        Exchange(Request("GET", "/info"));
        return second.get();
    });
    EXPECT_EQ(order, (QStringList{"begin", "end", "begin", "end"}));
}

TEST_F(PromptTest, ABodyThatIsHalfSentKeepsNobodyOut)
{
    const std::string answer = WhileServing([&] {
        RawClient slow;
        slow.Send(Head("POST", "/api/v1/techinfo", 100) + "{");
        return Exchange(Request("GET", pending));
    });
    EXPECT_EQ(BodyOf(answer), pendingBody);
    EXPECT_TRUE(host.calls.isEmpty());
}

TEST_F(PromptTest, ABodyOverFiveMillionBytesIsReadToItsEndAndItsRestDropped)
{
    std::string body = "{\"techId\": \"A_1\"}";
    body.append(12000000, ' ');
    EXPECT_EQ(AskBody(Request("POST", "/api/v1/techinfo", body)), "{\n}\n");
    EXPECT_EQ(host.calls, QStringList{"tech A_1"});
}

TEST_F(PromptTest, ABrokenChunkedBodyCountsAsEmpty)
{
    EXPECT_EQ(AskBody("POST /api/v1/techinfo HTTP/1.1\r\nHost: device\r\n"
                      "Transfer-Encoding: chunked\r\n\r\nnonsense\r\n"),
              ErrorBody("Method not allowed"));
}

// Web pages

TEST_F(PromptTest, APageOfAnotherHostIsRefused)
{
    EXPECT_EQ(WithoutDate(Ask(WithHeader(Request("GET", pending), "Origin: http://evil"))),
              refused);
}

TEST_F(PromptTest, APageWithoutAnOriginOfItsOwnIsRefused)
{
    EXPECT_EQ(WithoutDate(Ask(WithHeader(Request("GET", pending), "Origin: null"))), refused);
}

TEST_F(PromptTest, APageOfTheDeviceItselfIsServed)
{
    EXPECT_EQ(AskBody(WithHeader(Request("GET", pending), "Origin: http://DEVICE")), pendingBody);
}

TEST_F(PromptTest, AForeignPageIsGivenNoLeaveToChangeSomething)
{
    const std::string preflight =
        WithHeader(WithHeader(Request("OPTIONS", pending), "Origin: http://evil"),
                   "Access-Control-Request-Method: PUT");
    EXPECT_EQ(WithoutDate(Ask(preflight)), refused);
}

class AllowedPageTest : public PromptTest
{
protected:
    void Serve(const QList<QByteArray> &origins)
    {
        server.Stop();
        RestServerOptions options = RestServerOptions::Prompt();
        options.allowedOrigins = origins;
        server.SetOptions(options);
        server.Start();
    }
    ~AllowedPageTest() override
    {
        server.Stop();
        server.SetOptions(RestServerOptions::Prompt());
    }
};

TEST_F(AllowedPageTest, IsServed)
{
    Serve({"http://bench:3000"});
    EXPECT_EQ(AskBody(WithHeader(Request("GET", pending), "Origin: http://bench:3000")),
              pendingBody);
}

TEST_F(AllowedPageTest, IsGivenLeaveToChangeSomething)
{
    Serve({"http://bench:3000"});
    const std::string preflight =
        WithHeader(WithHeader(Request("OPTIONS", pending), "Origin: http://bench:3000"),
                   "Access-Control-Request-Method: PUT");
    const std::string answer = Ask(preflight);
    EXPECT_EQ(answer.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_NE(answer.find("Access-Control-Allow-Methods: *\r\n"), std::string::npos);
}

TEST_F(AllowedPageTest, OthersAreStillRefused)
{
    Serve({"http://bench:3000"});
    EXPECT_EQ(WithoutDate(Ask(WithHeader(Request("GET", pending), "Origin: http://bench"))),
              refused);
}

TEST_F(AllowedPageTest, AStarStandsForAnyPage)
{
    Serve({"*"});
    EXPECT_EQ(AskBody(WithHeader(Request("GET", pending), "Origin: http://evil")), pendingBody);
}

// Stop

TEST_F(PromptTest, StopFromAHostCallReturns)
{
    host.script.assetInfo = [this] {
        server.Stop();
        return QJsonObject();
    };
    EXPECT_EQ(Ask(Request("GET", "/info")), "");
    EXPECT_FALSE(server.Running());
    EXPECT_FALSE(RawClient().Connected());
}

TEST_F(PromptTest, StopAndStartFromAHostCallServesOn)
{
    host.script.assetInfo = [this] {
        server.Stop();
        server.Start();
        return QJsonObject();
    };
    EXPECT_EQ(Ask(Request("GET", "/info")), "");
    EXPECT_EQ(AskPending(), pendingBody);
}

TEST_F(PromptTest, StopWaitsForNoClient)
{
    RawClient idle;
    RawClient halfHead;
    halfHead.Send("GET /info HT");
    RawClient halfBody;
    halfBody.Send(Head("POST", "/api/v1/techinfo", 100) + "{");
    EXPECT_EQ(AskPending(), pendingBody);
    server.Stop();
    EXPECT_EQ(idle.ReceiveAll(), "");
    EXPECT_EQ(halfHead.ReceiveAll(), "");
    EXPECT_EQ(halfBody.ReceiveAll(), "");
}

TEST_F(PromptTest, StopEndsTheStorageAccessOfAnUpload)
{
    int depth = 0;
    std::promise<void> entered;
    host.script.storageEntered = [&] {
        ++depth;
        entered.set_value();
    };
    host.script.storageLeft = [&] { --depth; };
    WhileServing([&] {
        auto client = std::make_shared<RawClient>();
        client->Send(Head("POST", "/api/filemgr/v2/userfiles", 9000000) +
                     UploadBody(host.Path("file"), std::string(8000000, 'x')).substr(0, 6000000));
        entered.get_future().wait();
        return client;
    });
    EXPECT_EQ(depth, 1);
    server.Stop();
    EXPECT_EQ(depth, 0);
    EXPECT_EQ(FileContent(host.Path("file")), "no file");
}

TEST_F(PromptTest, TheHostMayStartAgainWhenItsStorageIsLeft)
{
    std::promise<void> entered;
    host.script.storageEntered = [&] { entered.set_value(); };
    bool again = false;
    host.script.storageLeft = [&] {
        if (!std::exchange(again, true)) {
            server.Stop();
            server.Start();
        }
    };
    WhileServing([&] {
        auto client = std::make_shared<RawClient>();
        client->Send(Head("POST", "/api/filemgr/v2/userfiles", 9000000) +
                     UploadBody(host.Path("file"), std::string(8000000, 'x')).substr(0, 6000000));
        entered.get_future().wait();
        return client;
    });
    server.Stop();
    EXPECT_TRUE(server.Running());
    EXPECT_EQ(AskPending(), pendingBody);
}

TEST_F(PromptTest, TheDestructorStops)
{
    server.Stop();
    {
        RestServerModel other;
        other.SetOptions(RestServerOptions::Prompt());
        other.Construct(&host);
        other.Start();
        EXPECT_TRUE(other.Running());
    }
    EXPECT_FALSE(RawClient().Connected());
}

TEST_F(PromptTest, AStartThatIsRefusedSaysWhy)
{
    server.Stop();
    RestServerOptions options = RestServerOptions::Prompt();
    options.listeningPorts = "192.0.2.1:8081"; // an address that no machine has
    server.SetOptions(options);
    server.Start();
    server.SetOptions(RestServerOptions::Prompt());
    EXPECT_FALSE(server.Running());
    EXPECT_TRUE(log.Lines().last().startsWith(
        "The REST server cannot listen on 192.0.2.1:8081: cannot bind to"));
}

TEST_F(PromptTest, AStartThatGetsTooFewThreadsIsRefusedAndSaysSo)
{
    server.Stop();
    int all = 0;
    {
        const ThreadLimit none(std::numeric_limits<int>::max());
        server.Start();
        ASSERT_TRUE(server.Running());
        all = ThreadLimit::Asked();
        server.Stop();
    }
    ASSERT_GT(all, 50);
    for (const int number : {1, 2, all / 2, all - 2, all - 1}) {
        const ThreadLimit few(number);
        server.Start();
        EXPECT_FALSE(server.Running()) << number;
        EXPECT_FALSE(RawClient().Connected()) << number;
        EXPECT_TRUE(log.Lines().last().contains("thread")) << number;
        EXPECT_TRUE(log.Lines().last().startsWith("The REST server cannot listen on ")) << number;
    }
    server.Start();
    EXPECT_EQ(AskPending(), pendingBody);
}

// HTTP threads

TEST_F(PromptTest, EveryThreadIsPreparedOnceBeforeItServes)
{
    server.Stop();
    std::atomic<int> prepared{0};
    RestServerOptions options = RestServerOptions::Prompt();
    options.prepareWorker = [&] {
        ++prepared;
        return true;
    };
    server.SetOptions(options);
    server.Start();
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(AskPending(), pendingBody);
    }
    server.Stop();
    server.SetOptions(RestServerOptions::Prompt());
    EXPECT_GE(prepared, 1);
    EXPECT_LE(prepared, 100);
}

TEST_F(PromptTest, AThreadThatCannotBePreparedServesNothing)
{
    server.Stop();
    RestServerOptions options = RestServerOptions::Prompt();
    options.prepareWorker = [] { return false; };
    server.SetOptions(options);
    server.Start();
    EXPECT_EQ(WithoutDate(Ask(Request("GET", "/info"))),
              ErrorReply("503 Service Unavailable", "The device cannot serve requests"));
    server.Stop();
    server.SetOptions(RestServerOptions::Prompt());
}
