#include "terminationsignals.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <gtest/gtest.h>
#include <unistd.h>

#include "storefolder.h"

namespace {

int CallsAfter(int signal)
{
    int calls = 0;
    QEventLoop loop;
    const TerminationSignals termination([&] {
        ++calls;
        loop.quit();
    });
    kill(getpid(), signal);
    EXPECT_EQ(calls, 0); // only from the event loop
    loop.exec();
    return calls;
}

TEST(TerminationSignalsTest, TheSignalsCallTheFunctionFromTheEventLoop)
{
    EXPECT_EQ(CallsAfter(SIGINT), 1);
    EXPECT_EQ(CallsAfter(SIGTERM), 1);
    EXPECT_EQ(CallsAfter(SIGHUP), 1);
}

TEST(TerminationSignalsTest, AHangupThatIsIgnoredStaysIgnored)
{
    std::signal(SIGHUP, SIG_IGN);
    {
        const TerminationSignals termination([] {});
        kill(getpid(), SIGHUP);
        EXPECT_FALSE(TerminationSignals::IsPending());
    }
    std::signal(SIGHUP, SIG_DFL);
}

TEST(TerminationSignalsTest, ASignalIsPendingUntilTheEventLoopComesToIt)
{
    QEventLoop loop;
    const TerminationSignals termination([&] { loop.quit(); });
    EXPECT_FALSE(TerminationSignals::IsPending());
    kill(getpid(), SIGTERM);
    EXPECT_TRUE(TerminationSignals::IsPending());
    loop.exec();
    EXPECT_FALSE(TerminationSignals::IsPending());
}

TEST(TerminationSignalsTest, ASignalIsSeenEvenWhereItWasIgnored)
{
    std::signal(SIGINT, SIG_IGN);
    EXPECT_EQ(CallsAfter(SIGINT), 1);
    std::signal(SIGINT, SIG_DFL);
}

TEST(TerminationSignalsTest, ASecondSignalEndsTheProcess)
{
    EXPECT_FALSE(FinishesInChild([] {
        QEventLoop loop;
        const TerminationSignals termination([&] { loop.quit(); });
        kill(getpid(), SIGTERM);
        loop.exec();
        kill(getpid(), SIGTERM);
    }));
}

} // namespace
