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

TEST(TerminationSignalsTest, BothSignalsCallTheFunctionFromTheEventLoop)
{
    EXPECT_EQ(CallsAfter(SIGINT), 1);
    EXPECT_EQ(CallsAfter(SIGTERM), 1);
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
