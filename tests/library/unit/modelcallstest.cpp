#include "modelcalls.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QStringList>
#include <QTimer>
#include <future>
#include <gtest/gtest.h>

// The test's thread is the thread of the model; waits are made on others.

namespace {

class ModelCallsTest : public testing::Test
{
protected:
    // Turns the event loop until the wait of another thread is over.
    static ModelCalls::Outcome TurnUntil(std::future<ModelCalls::Outcome> wait)
    {
        while (wait.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            QCoreApplication::processEvents();
        }
        return wait.get();
    }

    std::future<ModelCalls::Outcome> Wait(ModelCalls::Ticket call)
    {
        return std::async(std::launch::async, [kept = calls, call] { return kept->Wait(call); });
    }

    void PostNoting(const QString &name)
    {
        calls->Post([this, name] { order << name; });
    }

    std::shared_ptr<ModelCalls> calls = ModelCalls::Create();
    QStringList order;
};

} // namespace

TEST_F(ModelCallsTest, RunInTheOrderInWhichTheyWerePosted)
{
    PostNoting("first");
    PostNoting("second");
    EXPECT_EQ(TurnUntil(Wait(calls->Post([this] { order << "third"; }))), ModelCalls::Done);
    EXPECT_EQ(order, (QStringList{"first", "second", "third"}));
}

TEST_F(ModelCallsTest, OneRunsInATurnOfTheEventLoop)
{
    PostNoting("first");
    PostNoting("second");
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(order, QStringList{"first"});
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(order, (QStringList{"first", "second"}));
}

TEST_F(ModelCallsTest, EventsOfTheApplicationGoFirst)
{
    PostNoting("call");
    QMetaObject::invokeMethod(
        qApp, [this] { order << "application"; }, Qt::QueuedConnection);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(order, (QStringList{"application", "call"}));
}

TEST_F(ModelCallsTest, NoneBeginsInAnEventLoopOfAnother)
{
    calls->Post([this] {
        order << "begin";
        PostNoting("second");
        for (int turn = 0; turn < 3; ++turn) {
            QCoreApplication::sendPostedEvents();
        }
        EXPECT_TRUE(calls->Running());
        order << "end";
    });
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(order, (QStringList{"begin", "end"}));
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(order, (QStringList{"begin", "end", "second"}));
    EXPECT_FALSE(calls->Running());
}

TEST_F(ModelCallsTest, ACallThatMayNotBeginIsPassedByOthers)
{
    bool free = false;
    calls->Post([this] { order << "waiting"; }, [&free] { return free; });
    PostNoting("other");
    calls->Post([&] { free = true; });
    for (int turn = 0; turn < 3; ++turn) {
        QCoreApplication::sendPostedEvents();
    }
    EXPECT_EQ(order, (QStringList{"other", "waiting"}));
}

TEST_F(ModelCallsTest, NothingTurnsTheLoopWhileNoCallMayBegin)
{
    int asked = 0;
    calls->Post([] {}, [&asked] { return ++asked < 0; });
    for (int turn = 0; turn < 5; ++turn) {
        QCoreApplication::sendPostedEvents();
    }
    EXPECT_EQ(asked, 1);
}

TEST_F(ModelCallsTest, StopFailsACallThatWaits)
{
    auto wait = Wait(calls->Post([this] { order << "run"; }));
    calls->Stop();
    EXPECT_EQ(wait.get(), ModelCalls::Stopped);
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(order.isEmpty());
}

TEST_F(ModelCallsTest, StopFailsEveryCallAfterIt)
{
    calls->Stop();
    EXPECT_EQ(calls->Run([this] { order << "run"; }), ModelCalls::Stopped);
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(order.isEmpty());
}

TEST_F(ModelCallsTest, StopFromInsideACallFailsThatCall)
{
    EXPECT_EQ(TurnUntil(Wait(calls->Post([this] {
                  calls->Stop();
                  order << "goes on";
              }))),
              ModelCalls::Stopped);
    EXPECT_EQ(order, QStringList{"goes on"});
}

TEST_F(ModelCallsTest, WhatACallHoldsIsReleasedWhenItHasRun)
{
    const auto held = std::make_shared<int>();
    const ModelCalls::Ticket call = calls->Post([held] {});
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ModelCallsTest, WhatAStoppedCallHoldsIsReleased)
{
    const auto held = std::make_shared<int>();
    calls->Post([held] {});
    calls->Stop();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ModelCallsTest, TheCallsMayGoInTheMiddleOfACall)
{
    calls->Post([this] {
        calls->Stop();
        calls.reset();
        order << "goes on";
    });
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(order, QStringList{"goes on"});
}

TEST_F(ModelCallsTest, AnEventOnItsWayFindsNoCallsAndDoesNothing)
{
    PostNoting("run");
    calls->Stop();
    calls.reset();
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(order.isEmpty());
}
