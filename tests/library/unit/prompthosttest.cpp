#include "prompthost.h"

#include <gtest/gtest.h>

#include "fakehost.h"

namespace {

class CountedStorageTest : public testing::Test
{
protected:
    CountedStorageTest()
    {
        host.storage.onBegin = [this] { seen << "begin"; };
        host.storage.onEnd = [this] { seen << "end"; };
    }

    FakeHost host;
    CountedStorage storage{&host};
    QStringList seen;
};

const QStringList once{"begin", "end"};

} // namespace

TEST_F(CountedStorageTest, ABracketReachesTheHost)
{
    storage.BeginStorageAccess();
    EXPECT_EQ(seen, QStringList{"begin"});
    storage.EndStorageAccess();
    EXPECT_EQ(seen, once);
}

TEST_F(CountedStorageTest, BracketsThatOverlapAreOneToTheHost)
{
    storage.BeginStorageAccess();
    storage.BeginStorageAccess();
    storage.EndStorageAccess();
    EXPECT_EQ(seen, QStringList{"begin"});
    storage.EndStorageAccess();
    EXPECT_EQ(seen, once);
}

TEST_F(CountedStorageTest, AnEndWithoutABeginningDoesNotReachTheHost)
{
    storage.EndStorageAccess();
    EXPECT_TRUE(seen.isEmpty());
}

TEST_F(CountedStorageTest, EndAllEndsTheBracketWhoeverIsInIt)
{
    storage.BeginStorageAccess();
    storage.BeginStorageAccess();
    storage.EndAll();
    EXPECT_EQ(seen, once);
}

TEST_F(CountedStorageTest, WhoLeavesAfterEndAllDoesNotReachTheHost)
{
    storage.BeginStorageAccess();
    storage.EndAll();
    storage.EndStorageAccess();
    EXPECT_EQ(seen, once);
}

TEST_F(CountedStorageTest, EndAllWithoutABracketDoesNotReachTheHost)
{
    storage.EndAll();
    EXPECT_TRUE(seen.isEmpty());
}

TEST_F(CountedStorageTest, EndAllFromTheHostsOwnEndIsNoSecondEnd)
{
    host.storage.onEnd = [this] {
        seen << "end";
        storage.EndAll();
    };
    storage.BeginStorageAccess();
    storage.EndStorageAccess();
    EXPECT_EQ(seen, once);
}

TEST_F(CountedStorageTest, TakesTransfersWhileTheBracketIsFresh)
{
    EXPECT_TRUE(storage.TakesTransfers());
    storage.BeginStorageAccess();
    EXPECT_TRUE(storage.TakesTransfers());
}

TEST_F(CountedStorageTest, QuestionsGoToTheHost)
{
    host.storage.available = false;
    host.storage.freeSpace = false;
    EXPECT_FALSE(storage.IsStorageAvailable());
    EXPECT_FALSE(storage.HasFreeSpace(7));
}

TEST(PromptHostTest, NotesWhatIsReportedAndPassesItOn)
{
    FakeHost host;
    PromptHost promptHost(&host);
    promptHost.ErrorReporter()->ReportError("message", "source", 17);
    EXPECT_EQ(promptHost.Reporter().TakeNotes(), QStringList{"message"});
    EXPECT_TRUE(promptHost.Reporter().TakeNotes().isEmpty());
    ASSERT_EQ(host.errors.reports.size(), 1u);
    EXPECT_EQ(host.errors.reports[0].line, 17);
}
