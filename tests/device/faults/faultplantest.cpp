#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <faultplan.h>
#include <gtest/gtest.h>

#include "fakehost.h"

namespace {

bool Accepts(const QString &text)
{
    FaultPlan::Faults faults;
    QString error;
    return FaultPlan::Parse(text, &faults, &error);
}

QString Refusal(const QString &text)
{
    FaultPlan::Faults faults;
    QString error;
    EXPECT_FALSE(FaultPlan::Parse(text, &faults, &error));
    EXPECT_TRUE(faults.isEmpty());
    return error;
}

TEST(FaultPlanParse, TakesEveryFault)
{
    for (const char *text : {"slow-call=11000", "storage-away", "no-space", "write-fails=0",
                             "read-fails=5000000", "delete-refused", "store-fails"}) {
        EXPECT_TRUE(Accepts(QString::fromLatin1(text))) << text;
    }
}

TEST(FaultPlanParse, AnUnknownNameIsRefusedWithTheNamesThatExist)
{
    const QString error = Refusal(QStringLiteral("meteorite"));
    EXPECT_TRUE(error.contains(QStringLiteral("\"meteorite\"")));
    EXPECT_TRUE(error.contains(FaultPlan::Names()));
}

TEST(FaultPlanParse, AMissingValueIsRefused)
{
    EXPECT_EQ(Refusal(QStringLiteral("slow-call")),
              QStringLiteral("the fault slow-call takes a number of 0 or more, not \"slow-call\""));
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
    FaultPlan plan{
        {QStringLiteral("no-space"), QStringLiteral("slow-call=30")}, controlFile, errors};
};

TEST_F(FaultPlanTest, HoldsWhatTheCommandLineSays)
{
    EXPECT_TRUE(plan.IsSet(Fault::NoSpace));
    EXPECT_EQ(plan.Value(Fault::SlowCall), 30);
    EXPECT_FALSE(plan.IsSet(Fault::StorageAway));
    EXPECT_EQ(plan.Value(Fault::ReadFails), std::nullopt);
}

TEST_F(FaultPlanTest, TheControlFileAddsFaults)
{
    WriteControlFile("# on a bad day\n\nstorage-away\nread-fails=7\n");
    EXPECT_TRUE(plan.IsSet(Fault::StorageAway));
    EXPECT_EQ(plan.Value(Fault::ReadFails), 7);
    EXPECT_TRUE(plan.IsSet(Fault::NoSpace));
    EXPECT_TRUE(errors.reports.empty());
}

TEST_F(FaultPlanTest, TheControlFilesValueCounts)
{
    WriteControlFile("slow-call=0\n");
    EXPECT_EQ(plan.Value(Fault::SlowCall), 0);
}

TEST_F(FaultPlanTest, AChangeOfTheControlFileShowsAtOnce)
{
    WriteControlFile("storage-away\n");
    EXPECT_TRUE(plan.IsSet(Fault::StorageAway));
    WriteControlFile("delete-refused\n");
    EXPECT_FALSE(plan.IsSet(Fault::StorageAway));
    EXPECT_TRUE(plan.IsSet(Fault::DeleteRefused));
}

TEST_F(FaultPlanTest, WithoutItsControlFileTheCommandLineIsLeft)
{
    WriteControlFile("storage-away\n");
    EXPECT_TRUE(plan.IsSet(Fault::StorageAway));
    QFile::remove(controlFile);
    EXPECT_FALSE(plan.IsSet(Fault::StorageAway));
    EXPECT_TRUE(plan.IsSet(Fault::NoSpace));
}

TEST_F(FaultPlanTest, ALineThatIsNoFaultIsReportedOnceAndTheOthersCount)
{
    WriteControlFile("nonsense\nstorage-away\n");
    EXPECT_TRUE(plan.IsSet(Fault::StorageAway));
    EXPECT_TRUE(plan.IsSet(Fault::StorageAway));
    ASSERT_EQ(errors.reports.size(), 1U);
    EXPECT_TRUE(errors.reports.front().message.contains(QStringLiteral("\"nonsense\"")));
    EXPECT_TRUE(errors.reports.front().message.startsWith(controlFile));
}

TEST_F(FaultPlanTest, ASlowCallTakesItsTime)
{
    QElapsedTimer elapsed;
    elapsed.start();
    plan.DelayCall();
    EXPECT_GE(elapsed.elapsed(), 30);
}

} // namespace
