#include <QThread>

#include "guardedserver.h"

namespace {

constexpr unsigned long lateSeconds = 11;

/** The first "/info" takes 11 s, a second longer than its client is kept waiting. */
class LateAnswerTest : public GuardedServerTest
{
protected:
    void SetUp() override
    {
        GuardedServerTest::SetUp();
        host.script.assetInfo = [this] {
            QThread::sleep(delay);
            delay = 0;
            return QJsonObject{{QStringLiteral("serial"), QStringLiteral("S1")}};
        };
    }

    void ExpectTimeOutOfFirstRequest()
    {
        EXPECT_NE(AskInfo().find("internal timeout"), std::string::npos);
        AwaitTurn();
    }

    static std::string AskInfo() { return Exchange(Request("GET", "/info")); }
    static std::string AskActive() { return Exchange(Request("GET", "/api/workflow/v1/active")); }
    static bool IsInfo(const std::string &answer) { return answer.find("S1") != std::string::npos; }

    unsigned long delay = lateSeconds;
};

TEST_F(LateAnswerTest, WithoutTheGuardEveryClientGetsTheAnswerOfTheOneBefore)
{
    host.server = server;
    serverGuard.Stop();
    server->Start();
    RunClient([this] {
        ExpectTimeOutOfFirstRequest();
        EXPECT_TRUE(IsInfo(AskActive()));
        EXPECT_FALSE(IsInfo(AskInfo()));
        EXPECT_TRUE(IsInfo(AskActive()));
    });
    server->Stop();
}

TEST_F(LateAnswerTest, WithTheGuardEveryFurtherClientGetsItsOwnAnswer)
{
    RunClient([this] {
        ExpectTimeOutOfFirstRequest();
        EXPECT_FALSE(IsInfo(AskActive()));
        EXPECT_TRUE(IsInfo(AskInfo()));
        EXPECT_FALSE(IsInfo(AskActive()));
    });
}

} // namespace
