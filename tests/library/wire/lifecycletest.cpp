#include "wiretest.h"

#include <QTimer>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

class LifecycleTest : public WireTest
{
protected:
    bool Answers()
    {
        return AskBody(Request("GET", "/api/syncfiles/v1/pendingfiles")) ==
               "[\n    \"pending\"\n]\n";
    }
};

// Listens on the server's port, as any other program might.
class PortHolder
{
public:
    PortHolder()
        : server(::socket(AF_INET, SOCK_STREAM, 0))
    {
        const int on = 1;
        ::setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(8081);
        held = ::bind(server, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
               ::listen(server, 1) == 0;
    }
    ~PortHolder() { ::close(server); }
    bool Held() const { return held; }

private:
    int server;
    bool held;
};

} // namespace

TEST_F(LifecycleTest, StartLogsAndRuns)
{
    server.Stop();
    server.Start();
    EXPECT_TRUE(server.Running());
    EXPECT_EQ(log.Lines().mid(log.Lines().lastIndexOf("Starting REST server...")),
              (QStringList{"Starting REST server...", "REST server started successfully"}));
    EXPECT_TRUE(Answers());
}

TEST_F(LifecycleTest, SecondStartOnlyLogs)
{
    const int lines = log.Lines().size();
    server.Start();
    EXPECT_EQ(log.Lines().mid(lines), QStringList{"Server already running"});
    EXPECT_TRUE(Answers());
}

TEST_F(LifecycleTest, StopClosesThePort)
{
    server.Stop();
    EXPECT_FALSE(server.Running());
    EXPECT_EQ(log.Lines().last(), "Stopping REST server");
    EXPECT_FALSE(RawClient().Connected());
}

TEST_F(LifecycleTest, StopOfAStoppedServerDoesNothing)
{
    server.Stop();
    const int lines = log.Lines().size();
    server.Stop();
    EXPECT_EQ(log.Lines().size(), lines);
}

TEST_F(LifecycleTest, StartAfterStopServesAgain)
{
    server.Stop();
    server.Start();
    EXPECT_TRUE(server.Running());
    EXPECT_TRUE(Answers());
}

TEST_F(LifecycleTest, TimerRunsOnlyWhileStarted)
{
    const QTimer *timer = server.findChild<QTimer *>();
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(timer->interval(), 10);
    EXPECT_EQ(timer->timerType(), Qt::CoarseTimer);
    server.Stop();
    EXPECT_FALSE(timer->isActive());
}

TEST_F(LifecycleTest, TakenPortLeavesTheServerStopped)
{
    server.Stop();
    const PortHolder holder;
    ASSERT_TRUE(holder.Held());
    server.Start();
    EXPECT_FALSE(server.Running());
    EXPECT_EQ(log.Lines().last(), "Failed to start REST server");
    EXPECT_FALSE(server.findChild<QTimer *>()->isActive());
}

TEST_F(LifecycleTest, StartsOnceThePortIsFree)
{
    server.Stop();
    {
        const PortHolder holder;
        server.Start();
    }
    server.Start();
    EXPECT_TRUE(server.Running());
    EXPECT_TRUE(Answers());
}

TEST_F(LifecycleTest, RequestsAtTheSameTimeAreAllAnswered)
{
    const auto answers = WhileServing([] {
        std::vector<std::future<std::string>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::async(std::launch::async, [i] {
                return BodyOf(
                    Exchange(Request("GET", "/api/filemgr/v2/metadata/" + std::to_string(i))));
            }));
        }
        std::vector<std::string> bodies;
        for (auto &client : clients) {
            bodies.push_back(client.get());
        }
        return bodies;
    });
    for (size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i], "{\n    \"name\": \"/" + std::to_string(i) + "\"\n}\n");
    }
}
