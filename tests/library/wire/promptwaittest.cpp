#include <QThread>
#include <thread>

#include "wiretest.h"

// What prompt serving does with those that take too long. Every test waits for limits of 2 or 10 s.

namespace {

const bool servesPromptly = qputenv("PARLOWEN_SERVING", "prompt");

const std::string pending = "/api/syncfiles/v1/pendingfiles";
const std::string pendingBody = "[\n    \"pending\"\n]\n";

class PromptWaitTest : public WireTest
{
protected:
    // A call of the host that takes longer than its client is willing to wait.
    void SleepInAssetInfo()
    {
        host.script.assetInfo = [this] {
            host.calls << "asset";
            begun.set_value();
            QThread::msleep(10600);
            return QJsonObject{{"late", true}};
        };
    }

    std::promise<void> begun;

    // Sends a byte in every second until the server ends the connection.
    static std::string Drip(RawClient *client)
    {
        auto rest = std::async(std::launch::async, [client] { return client->ReceiveAll(); });
        while (rest.wait_for(std::chrono::seconds(1)) != std::future_status::ready) {
            client->Send("x");
        }
        return rest.get();
    }
};

} // namespace

TEST_F(PromptWaitTest, AnAnswerThatComesTooLateGoesToNobody)
{
    SleepInAssetInfo();
    const auto replies = WhileServing([] {
        const std::string late = Exchange(Request("GET", "/info"));
        return std::make_pair(late, Exchange(Request("GET", pending)));
    });
    EXPECT_EQ(WithoutDate(replies.first),
              ErrorReply("500 Internal Server Error", "{\"errorString\":\"internal timeout\"}"));
    EXPECT_EQ(BodyOf(replies.second), pendingBody);
}

TEST_F(PromptWaitTest, ARequestThatWasNotBegunInTimeIsNeverCarriedOut)
{
    SleepInAssetInfo();
    const std::string refused = WhileServing([this] {
        auto first =
            std::async(std::launch::async, [] { return Exchange(Request("GET", "/info")); });
        begun.get_future().wait();
        const std::string second =
            Exchange(Request("POST", "/api/v1/techinfo", "{\"techId\": \"A_1\"}"));
        first.get();
        return second;
    });
    EXPECT_EQ(WithoutDate(refused),
              ErrorReply("408 Request Time-out", "Request timed out waiting on other requests"));
    EXPECT_EQ(AskBody(Request("GET", pending)), pendingBody);
    EXPECT_EQ(host.calls, QStringList{"asset"});
}

TEST_F(PromptWaitTest, ABodyOfOneByteInASecondIsCutOff)
{
    EXPECT_EQ(WhileServing([] {
                  RawClient client;
                  client.Send("POST /api/v1/techinfo HTTP/1.1\r\nHost: device\r\n"
                              "Content-Length: 1000\r\n\r\n");
                  return Drip(&client);
              }),
              "");
}

TEST_F(PromptWaitTest, AHeadOfOneByteInASecondIsCutOff)
{
    const std::string reply = WhileServing([] {
        RawClient client;
        client.Send("GET /info HTTP/1.1\r\nX: ");
        return Drip(&client);
    });
    // The embedded server has a limit of its own, which may be quicker and answers.
    EXPECT_TRUE(reply.empty() || reply.substr(0, 12) == "HTTP/1.0 400") << reply;
}

TEST_F(PromptWaitTest, AClientThatReadsNothingIsCutOff)
{
    host.script.readFileChunk = [](QString, bool *ok, qint64 offset, qint64 maxLength,
                                   bool *lastChunk) {
        *ok = true;
        *lastChunk = offset >= 100000000;
        return QByteArray(static_cast<int>(maxLength), '.');
    };
    const std::string received = WhileServing([&] {
        RawClient client;
        client.Send(Request("GET", "/api/filemgr/v2/userfiles" + host.Path("f").toStdString()));
        std::this_thread::sleep_for(std::chrono::seconds(13)); // what this test is about
        return client.ReceiveAll();
    });
    EXPECT_EQ(DecodeChunks(BodyOf(received)), "broken");
}

TEST_F(PromptWaitTest, AClientThatIsSlowButNotTooSlowGetsEverything)
{
    const QByteArray content(60000, 'x');
    const std::string body = "{\"techId\": \"A_1\"}" + std::string(60000, ' ');
    EXPECT_EQ(BodyOf(WhileServing([&] {
                  RawClient client;
                  const std::string request = Request("POST", "/api/v1/techinfo", body);
                  for (size_t sent = 0; sent < request.size(); sent += 4000) {
                      client.Send(request.substr(sent, 4000));
                      std::this_thread::sleep_for(std::chrono::seconds(1));
                  }
                  return client.ReceiveAll();
              })),
              "{\n}\n");
}

TEST_F(PromptWaitTest, WhoKeepsSendingAfterTheAnswerIsCutOff)
{
    WhileServing([] {
        RawClient client;
        client.Send("POST /api/syncfiles/v1/pendingfiles HTTP/1.1\r\nHost: device\r\n"
                    "Origin: http://evil\r\nContent-Length: 1000000000\r\n\r\n");
        while (client.Send(std::string(1000, 'x'))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return 0;
    });
    EXPECT_EQ(AskBody(Request("GET", pending)), pendingBody);
}

TEST_F(PromptWaitTest, SlowClientsThatHoldEveryThreadMakeRoomForOthers)
{
    const std::string answer = WhileServing([] {
        std::vector<std::unique_ptr<RawClient>> slow;
        for (int i = 0; i < 110; ++i) {
            slow.push_back(std::make_unique<RawClient>());
            slow.back()->Send("GET /info HTTP/1.1\r\nX: ");
        }
        return Exchange(Request("GET", pending));
    });
    EXPECT_EQ(BodyOf(answer), pendingBody);
}
