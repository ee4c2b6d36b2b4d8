#include "jobmodel.h"

#include <gtest/gtest.h>

#include "storefolder.h"

namespace {

/** A store and the jobs on it, as after a start of the program. */
struct Opened
{
    explicit Opened(const StoreFolder &folder)
        : open(folder)
        , jobs(open.store, open.fileSystem, folder.State(), open.errors)
    {}

    QString ActiveId() { return jobs.ActiveJob() ? jobs.ActiveJob()->WorkOrderId() : QString(); }

    QStringList Ids()
    {
        QStringList ids;
        for (Job *job : jobs.Jobs()) {
            ids.append(job->WorkOrderId());
        }
        return ids;
    }

    OpenStore open;
    JobModel jobs;
};

class JobModelTest : public testing::Test
{
protected:
    void Store(const QJsonArray &batch)
    {
        ASSERT_TRUE(OpenStore(folder).store.UpdateWorkOrders(batch));
    }

    StoreFolder folder;
};

TEST_F(JobModelTest, AnEmptyStoreHasNoJobsAndNoneIsActive)
{
    Opened opened(folder);
    EXPECT_TRUE(opened.jobs.Jobs().isEmpty());
    EXPECT_EQ(opened.jobs.ActiveJob(), nullptr);
    EXPECT_EQ(opened.open.fileSystem.Steps(), 0);
}

TEST_F(JobModelTest, JobsAreInTheOrderOfTheirIds)
{
    Store({WorkOrder("b", 1), WorkOrder("a", 1), WorkOrder("C", 1)});
    EXPECT_EQ(Opened(folder).Ids(), QStringList({"C", "a", "b"}));
}

TEST_F(JobModelTest, AJobHasTheTimeOfItsWorkOrder)
{
    Store({WorkOrder("a", 1)});
    Opened opened(folder);
    EXPECT_EQ(opened.jobs.Jobs().first()->ModifiedTime(),
              opened.open.store.Entries().at("a").modifiedTime);
    EXPECT_EQ(opened.jobs.Jobs().first()->ModifiedTime().timeSpec(), Qt::UTC);
}

TEST_F(JobModelTest, NewWorkOrdersShowAfterARefresh)
{
    Store({WorkOrder("b", 1)});
    Opened opened(folder);
    ASSERT_TRUE(opened.open.store.UpdateWorkOrders({WorkOrder("a", 1)}));
    EXPECT_EQ(opened.Ids(), QStringList({"b"}));
    opened.jobs.RefreshJobs();
    EXPECT_EQ(opened.Ids(), QStringList({"a", "b"}));
}

TEST_F(JobModelTest, TheActiveJobIsOneOfTheJobsAlsoAfterARefresh)
{
    Store(Batch(1, 3, 1));
    Opened opened(folder);
    opened.jobs.SetActiveJob(opened.jobs.Jobs().at(1));
    EXPECT_EQ(opened.jobs.ActiveJob(), opened.jobs.Jobs().at(1));
    ASSERT_TRUE(opened.open.store.UpdateWorkOrders({WorkOrder("A", 1), WorkOrder("WO-0002", 2)}));
    opened.jobs.RefreshJobs();
    EXPECT_EQ(opened.ActiveId(), "WO-0002");
    EXPECT_EQ(opened.jobs.ActiveJob(), opened.jobs.Jobs().at(2));
}

TEST_F(JobModelTest, TheActiveJobIsBackAfterARestart)
{
    Store({WorkOrder("ä", 1), WorkOrder("b", 1)});
    {
        Opened opened(folder);
        opened.jobs.SetActiveJob(opened.jobs.Jobs().at(1));
    }
    Opened restarted(folder);
    EXPECT_EQ(restarted.ActiveId(), "ä");
    EXPECT_EQ(restarted.open.fileSystem.Steps(), 0);
}

TEST_F(JobModelTest, NoneIsActiveWhenTheWorkOrderIsGone)
{
    Store(Batch(1, 2, 1));
    {
        Opened opened(folder);
        opened.jobs.SetActiveJob(opened.jobs.Jobs().first());
    }
    ASSERT_TRUE(QFile::remove(folder.WorkOrders() + "/WO-0001.json"));
    EXPECT_EQ(Opened(folder).jobs.ActiveJob(), nullptr);
    Store(Batch(1, 1, 2));
    EXPECT_EQ(Opened(folder).jobs.ActiveJob(), nullptr);
}

TEST_F(JobModelTest, NoneCanBeMadeActive)
{
    Store(Batch(1, 2, 1));
    {
        Opened opened(folder);
        opened.jobs.SetActiveJob(opened.jobs.Jobs().first());
        opened.jobs.SetActiveJob(nullptr);
        EXPECT_EQ(opened.jobs.ActiveJob(), nullptr);
    }
    EXPECT_EQ(Opened(folder).jobs.ActiveJob(), nullptr);
}

TEST_F(JobModelTest, MakingTheActiveJobActiveWritesNothing)
{
    Store(Batch(1, 2, 1));
    Opened opened(folder);
    opened.jobs.SetActiveJob(opened.jobs.Jobs().first());
    const int steps = opened.open.fileSystem.Steps();
    EXPECT_GT(steps, 0);
    opened.jobs.SetActiveJob(opened.jobs.Jobs().first());
    EXPECT_EQ(opened.open.fileSystem.Steps(), steps);
    EXPECT_EQ(opened.ActiveId(), "WO-0001");
}

TEST_F(JobModelTest, AChoiceThatCannotBeStoredIsReportedAndTheFormerOneHolds)
{
    Store(Batch(1, 2, 1));
    OpenStore open(folder);
    ScriptedFileSystem full([](int) { return false; });
    JobModel jobs(open.store, full, folder.State(), open.errors);
    jobs.SetActiveJob(jobs.Jobs().first());
    EXPECT_EQ(jobs.ActiveJob(), nullptr);
    EXPECT_EQ(open.errors.messages.size(), 1);
    EXPECT_EQ(Opened(folder).jobs.ActiveJob(), nullptr);
}

TEST_F(JobModelTest, ADamagedRecordOfTheActiveJobIsKeptAsideAndReported)
{
    Store(Batch(1, 1, 1));
    for (const char *content : {"not JSON", "[]", "{}", "{\"activeWorkOrderId\": 5}"}) {
        QFile file(folder.State() + "/active-work-order.json");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        Opened opened(folder);
        EXPECT_EQ(opened.jobs.ActiveJob(), nullptr);
        EXPECT_EQ(opened.open.errors.messages.size(), 1);
    }
}

} // namespace
