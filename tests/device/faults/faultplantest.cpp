#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <faultplan.h>
#include <gtest/gtest.h>

#include "fakehost.h"

namespace {

bool Accepts(const QString &text)
{
    QString error;
    return Fault::Parse(text, &error).has_value();
}

QString Refusal(const QString &text)
{
    QString error;
    EXPECT_FALSE(Fault::Parse(text, &error)) << text.toStdString();
    return error;
}

TEST(FaultPlanParse, TakesEveryFault)
{
    for (const char *text :
         {"slow-call=11000", "storage-away", "no-space", "write-fails=0", "read-fails=5000000",
          "delete-refused", "store-fails", "busy", "http-500", "drop-after=0", "stall-after=1",
          "throttle=1", "corrupt-download", "late-answer"}) {
        EXPECT_TRUE(Accepts(QString::fromLatin1(text))) << text;
    }
}

TEST(FaultPlanParse, AnUnknownNameIsRefusedWithTheNamesThatExist)
{
    const QString error = Refusal(QStringLiteral("meteorite"));
    EXPECT_TRUE(error.contains(QStringLiteral("\"meteorite\"")));
    EXPECT_TRUE(error.contains(Fault::Names()));
}

TEST(FaultPlanParse, AMissingValueIsRefused)
{
    EXPECT_EQ(
        Refusal(QStringLiteral("slow-call")),
        QStringLiteral("the fault slow-call takes a number from 0 to 60000, not \"slow-call\""));
}

TEST(FaultPlanParse, AValueThatIsNoNumberIsRefused)
{
    for (const char *text : {"slow-call=", "slow-call=x", "slow-call=-1", "slow-call=1.5"}) {
        Refusal(QString::fromLatin1(text));
    }
}

TEST(FaultPlanParse, AValueThatNobodyAskedForIsRefused)
{
    EXPECT_EQ(Refusal(QStringLiteral("no-space=1")),
              QStringLiteral("the fault no-space takes no value, not \"no-space=1\""));
}

TEST(FaultPlanParse, AValueBeyondItsBoundsIsRefused)
{
    EXPECT_TRUE(Accepts(QStringLiteral("slow-call=60000")));
    EXPECT_EQ(Refusal(QStringLiteral("slow-call=60001")),
              QStringLiteral("the fault slow-call takes a number from 0 to 60000, not "
                             "\"slow-call=60001\""));
    Refusal(QStringLiteral("slow-call=4000000000"));
    Refusal(QStringLiteral("write-fails=99999999999999999999"));
}

TEST(FaultPlanParse, ACountFollowsAStar)
{
    QString error;
    const std::optional<Fault> plain = Fault::Parse(QStringLiteral("no-space*3"), &error);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->count, 3);
    const std::optional<Fault> valued = Fault::Parse(QStringLiteral("read-fails=7*2"), &error);
    ASSERT_TRUE(valued);
    EXPECT_EQ(valued->value, 7);
    EXPECT_EQ(valued->count, 2);
}

TEST(FaultPlanParse, ACountThatIsNoneIsRefused)
{
    for (const char *text : {"no-space*", "no-space*0", "no-space*-1", "no-space*x",
                             "no-space*1000001", "no-space*1*1"}) {
        Refusal(QString::fromLatin1(text));
    }
}

TEST(FaultPlanDescriptions, EveryFaultCanBeAskedForAsItIsDescribed)
{
    const QVector<FaultDescription> all = Fault::All();
    ASSERT_FALSE(all.isEmpty());
    for (const FaultDescription &each : all) {
        const QString value =
            each.unit.isEmpty() ? QString() : QStringLiteral("=%1").arg(each.most);
        QString error;
        const std::optional<Fault> fault = Fault::Parse(each.name + value, &error);
        ASSERT_TRUE(fault) << error.toStdString();
        EXPECT_EQ(fault->kind, each.kind);
        EXPECT_FALSE(each.place.isEmpty());
    }
}

TEST(FaultPlanParse, ACountMayStandInForAValue)
{
    QString error;
    for (const char *text : {"busy=3", "busy*3", "http-500=3"}) {
        const std::optional<Fault> fault = Fault::Parse(QString::fromLatin1(text), &error);
        ASSERT_TRUE(fault) << text;
        EXPECT_EQ(fault->count, 3) << text;
    }
    EXPECT_EQ(Refusal(QStringLiteral("busy=3*2")),
              QStringLiteral("the fault busy takes one count from 1 to 1000000, not \"busy=3*2\""));
    Refusal(QStringLiteral("busy=0"));
}

TEST(FaultPlanParse, ALateAnswerTakesTenSecondsUnlessToldOtherwise)
{
    QString error;
    EXPECT_EQ(Fault::Parse(QStringLiteral("late-answer"), &error)->value, 10'000);
    EXPECT_EQ(Fault::Parse(QStringLiteral("late-answer=5"), &error)->value, 5);
    Refusal(QStringLiteral("late-answer=60001"));
}

TEST(FaultPlanParse, AThrottleLetsSomethingPass)
{
    Refusal(QStringLiteral("throttle=0"));
    Refusal(QStringLiteral("throttle=1000000001"));
}

TEST(FaultPlanParse, ARouteFollowsTheFirstAtSign)
{
    QString error;
    const std::optional<Fault> fault =
        Fault::Parse(QStringLiteral("drop-after=5*2@/api/a=b*3@c"), &error);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->value, 5);
    EXPECT_EQ(fault->count, 2);
    EXPECT_EQ(fault->route, QByteArray("/api/a=b*3@c"));
}

TEST(FaultPlanParse, ARouteThatIsNoneIsRefused)
{
    EXPECT_EQ(Refusal(QStringLiteral("busy@info")),
              QStringLiteral("the fault busy takes a route that begins with \"/\", not "
                             "\"busy@info\""));
    Refusal(QStringLiteral("busy@"));
}

TEST(FaultPlanParse, FaultsOfTheLineAndThoseWithARouteNeedTheLine)
{
    QString error;
    for (const char *text : {"busy", "late-answer", "no-space@/api"}) {
        EXPECT_TRUE(Fault::Parse(QString::fromLatin1(text), &error)->NeedsTheLine()) << text;
    }
    for (const char *text : {"store-fails", "slow-call=1"}) {
        EXPECT_FALSE(Fault::Parse(QString::fromLatin1(text), &error)->NeedsTheLine()) << text;
    }
}

class FaultPlanTest : public testing::Test
{
protected:
    void WriteControlFile(const QByteArray &content)
    {
        QFile file(controlFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir directory;
    QString controlFile = directory.filePath(QStringLiteral("faults"));
    CallLog log;
    FakeErrorReporter errors{log};
    FaultPlan plan{{{FaultKind::NoSpace}, {FaultKind::SlowCall, 30}}, controlFile, errors};
};

TEST_F(FaultPlanTest, HoldsWhatTheCommandLineSays)
{
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace));
    EXPECT_EQ(plan.Value(FaultKind::SlowCall), 30);
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), std::nullopt);
}

TEST_F(FaultPlanTest, TheControlFileAddsFaults)
{
    WriteControlFile("# on a bad day\n\nstorage-away\nread-fails=7\n");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 7);
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace));
    EXPECT_TRUE(errors.reports.empty());
}

TEST_F(FaultPlanTest, TheControlFilesValueCounts)
{
    WriteControlFile("slow-call=0\n");
    EXPECT_EQ(plan.Value(FaultKind::SlowCall), 0);
}

TEST_F(FaultPlanTest, AChangeOfTheControlFileShowsAtOnce)
{
    WriteControlFile("storage-away\n");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    WriteControlFile("delete-refused\n");
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
    EXPECT_TRUE(plan.Bites(FaultKind::DeleteRefused));
}

TEST_F(FaultPlanTest, WithoutItsControlFileTheCommandLineIsLeft)
{
    WriteControlFile("storage-away\n");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    QFile::remove(controlFile);
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace));
}

TEST_F(FaultPlanTest, ALineThatIsNoFaultIsReportedOnceAndTheOthersCount)
{
    WriteControlFile("nonsense\nstorage-away\n");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    ASSERT_EQ(errors.reports.size(), 1U);
    EXPECT_TRUE(errors.reports.front().message.contains(QStringLiteral("\"nonsense\"")));
    EXPECT_TRUE(errors.reports.front().message.startsWith(controlFile));
}

TEST_F(FaultPlanTest, AFaultWithACountBitesSoOften)
{
    WriteControlFile("storage-away*2\n");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
}

TEST_F(FaultPlanTest, AskingForTheValueUsesUpNothing)
{
    WriteControlFile("read-fails=7*1\n");
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 7);
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 7);
    plan.Count(FaultKind::ReadFails);
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), std::nullopt);
}

TEST_F(FaultPlanTest, OfTwoLinesTheLaterCounts)
{
    WriteControlFile("read-fails=7\nread-fails=9\n");
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 9);
}

TEST_F(FaultPlanTest, AChangeOfTheFileDoesNotGiveBackWhatTheCommandLineHasUsedUp)
{
    FaultPlan counted{{{FaultKind::NoSpace, 0, 1}}, controlFile, errors};
    EXPECT_TRUE(counted.Bites(FaultKind::NoSpace));
    WriteControlFile("storage-away\n");
    EXPECT_FALSE(counted.Bites(FaultKind::NoSpace));
}

TEST_F(FaultPlanTest, AFaultIsSetWhileTheProgramRuns)
{
    plan.Set({FaultKind::ReadFails, 7});
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 7);
}

TEST_F(FaultPlanTest, AFaultThatIsSetAgainCountsAnew)
{
    plan.Set({FaultKind::StoreFails, 0, 1});
    EXPECT_TRUE(plan.Bites(FaultKind::StoreFails));
    plan.Set({FaultKind::StoreFails, 0, 1});
    EXPECT_TRUE(plan.Bites(FaultKind::StoreFails));
}

TEST_F(FaultPlanTest, AFaultOfTheCommandLineCanBeTakenBack)
{
    plan.Clear(FaultKind::NoSpace);
    EXPECT_FALSE(plan.Bites(FaultKind::NoSpace));
    EXPECT_EQ(plan.Value(FaultKind::SlowCall), 30);
}

TEST_F(FaultPlanTest, EachChangeOfThePlanIsCounted)
{
    const int before = plan.Revision();
    plan.Set({FaultKind::WriteFails, 7});
    EXPECT_EQ(plan.Revision(), before + 1);
    plan.Clear(FaultKind::WriteFails);
    EXPECT_EQ(plan.Revision(), before + 2);
}

TEST_F(FaultPlanTest, BitesAreKeptOnceSomebodyAsks)
{
    plan.Bites(FaultKind::NoSpace);
    plan.KeepBites();
    plan.Bites(FaultKind::NoSpace);
    plan.Bites(FaultKind::StorageAway);
    const QVector<FaultPlan::Bite> bites = plan.TakeBites();
    ASSERT_EQ(bites.size(), 1);
    EXPECT_EQ(bites.first().kind, FaultKind::NoSpace);
    EXPECT_LE(qAbs(bites.first().time.msecsTo(QDateTime::currentDateTimeUtc())), 60000);
    EXPECT_TRUE(plan.TakeBites().isEmpty());
}

TEST_F(FaultPlanTest, NoMoreThanAThousandBitesAreKept)
{
    plan.KeepBites();
    for (int i = 0; i < 1001; ++i) {
        plan.Count(FaultKind::NoSpace);
    }
    EXPECT_EQ(plan.TakeBites().size(), 1000);
}

TEST_F(FaultPlanTest, ARouteConcernsThePathsThatBeginWithIt)
{
    WriteControlFile("busy@/api/filemgr\n");
    EXPECT_TRUE(plan.Bites(FaultKind::Busy, "/api/filemgr/v2/userfiles"));
    EXPECT_FALSE(plan.Bites(FaultKind::Busy, "/info"));
}

TEST_F(FaultPlanTest, AFaultMayHaveSeveralRoutesWithCountsOfTheirOwn)
{
    WriteControlFile("busy*1@/info\nbusy*2@/api\n");
    EXPECT_TRUE(plan.Bites(FaultKind::Busy, "/info"));
    EXPECT_FALSE(plan.Bites(FaultKind::Busy, "/info"));
    EXPECT_TRUE(plan.Bites(FaultKind::Busy, "/api/x"));
    EXPECT_TRUE(plan.Bites(FaultKind::Busy, "/api/x"));
    EXPECT_FALSE(plan.Bites(FaultKind::Busy, "/api/x"));
}

TEST_F(FaultPlanTest, WhatTheFileSetsForARouteLeavesTheCommandLineToTheOthers)
{
    WriteControlFile("no-space*1@/api\n");
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace, "/info"));
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace, "/api"));
    EXPECT_TRUE(plan.Bites(FaultKind::NoSpace, "/api"));
}

TEST_F(FaultPlanTest, TheHostIsConcernedWhileARequestOfTheRouteIsUnderWay)
{
    WriteControlFile("storage-away@/api\n");
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
    plan.BeginRequest("/api/x");
    plan.BeginRequest("/api/x");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    plan.EndRequest("/api/x");
    EXPECT_TRUE(plan.Bites(FaultKind::StorageAway));
    plan.EndRequest("/api/x");
    EXPECT_FALSE(plan.Bites(FaultKind::StorageAway));
}

TEST_F(FaultPlanTest, ASlowCallTakesItsTime)
{
    QElapsedTimer elapsed;
    elapsed.start();
    plan.DelayCall();
    EXPECT_GE(elapsed.elapsed(), 30);
}

} // namespace
