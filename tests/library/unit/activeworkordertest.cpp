#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler active = &RestServerRequestProcessor::ProcessWorkflowActiveRequest;

std::string ActiveBody(const std::string &id)
{
    return "{\n    \"activeWorkOrderId\": \"" + id + "\"\n}\n";
}

class ActiveWorkOrderTest : public ProcessorTest
{
protected:
    ActiveWorkOrderTest()
    {
        host.jobs.Add(QStringLiteral("W"));
        x = host.jobs.Add(QStringLiteral("X"));
    }

    RestServerResponseObject *Put(const QByteArray &body)
    {
        return Answer(active, Method::Put, "/api/workflow/v1/active", body);
    }

    FakeJob *x;
};

TEST_F(ActiveWorkOrderTest, GetNamesTheActiveJob)
{
    host.jobs.active = x;
    ExpectResponse(Answer(active, Method::Get), 200, ActiveBody("X"));
}

TEST_F(ActiveWorkOrderTest, GetWithoutAnActiveJobGivesAnEmptyId)
{
    ExpectResponse(Answer(active, Method::Get), 200, ActiveBody(""));
}

TEST_F(ActiveWorkOrderTest, AChangeInAnotherModeRunsTheCommandOnly)
{
    host.jobs.active = host.jobs.jobs.front().get();
    host.mode.mode = 1;
    ExpectResponse(Put("{\"activeWorkOrderId\":\"X\"}"), 200, ActiveBody("X"));
    EXPECT_EQ(host.log.Calls(), Calls({"JobModel.ActiveJob()", "JobModel.SetActiveJob(X)",
                                       "ModeModel.CurrentMode()", "Command(40).Execute()"}));
    EXPECT_EQ(host.jobs.active, x);
}

TEST_F(ActiveWorkOrderTest, AChangeInModeTwoRunsTheViewHooksFirst)
{
    host.jobs.active = host.jobs.jobs.front().get();
    host.mode.mode = 2;
    ExpectResponse(Put("{\"activeWorkOrderId\":\"X\"}"), 200, ActiveBody("X"));
    EXPECT_EQ(host.log.Calls(),
              Calls({"JobModel.ActiveJob()", "JobModel.SetActiveJob(X)", "ModeModel.CurrentMode()",
                     "RootModel.ResetJobView()", "JobPanelModel.SetJobPanelOpen(false)",
                     "Command(40).Execute()"}));
}

TEST_F(ActiveWorkOrderTest, AFirstActiveJobIsAChange)
{
    ExpectResponse(Put("{\"activeWorkOrderId\":\"X\"}"), 200, ActiveBody("X"));
    EXPECT_EQ(host.log.Calls().back(), "Command(40).Execute()");
}

TEST_F(ActiveWorkOrderTest, TheActiveJobIsSetAgainWithoutHooks)
{
    host.jobs.active = x;
    host.mode.mode = 2;
    ExpectResponse(Put("{\"activeWorkOrderId\":\"X\"}"), 200, ActiveBody("X"));
    EXPECT_EQ(host.log.Calls(), Calls({"JobModel.ActiveJob()", "JobModel.SetActiveJob(X)"}));
}

TEST_F(ActiveWorkOrderTest, AJobWithAnEmptyIdIsNoChangeFromNone)
{
    host.jobs.Add(QString());
    ExpectResponse(Put("{\"activeWorkOrderId\":\"\"}"), 200, ActiveBody(""));
    EXPECT_EQ(host.log.Calls(), Calls({"JobModel.ActiveJob()", "JobModel.SetActiveJob()"}));
}

TEST_F(ActiveWorkOrderTest, OfTwoJobsWithOneIdTheFirstIsTaken)
{
    host.jobs.Add(QStringLiteral("X"));
    ExpectResponse(Put("{\"activeWorkOrderId\":\"X\"}"), 200, ActiveBody("X"));
    EXPECT_EQ(host.jobs.active, x);
}

TEST_F(ActiveWorkOrderTest, JobsAreFetchedAnewAtEveryStep)
{
    int fetches = 0;
    host.jobs.onJobs = [&] {
        if (++fetches == 5) { // the list of two grows under the search
            host.jobs.Add(QStringLiteral("Y"));
        }
    };
    ExpectResponse(Put("{\"activeWorkOrderId\":\"Y\"}"), 200, ActiveBody("Y"));
    ASSERT_EQ(host.jobs.jobs.size(), 3U);
    EXPECT_EQ(host.jobs.active, host.jobs.jobs.back().get());
}

TEST_F(ActiveWorkOrderTest, TheAnswerRepeatsThePostedDocument)
{
    ExpectResponse(Put("{\"note\":1,\"activeWorkOrderId\":\"X\"}"), 200,
                   "{\n"
                   "    \"activeWorkOrderId\": \"X\",\n"
                   "    \"note\": 1\n"
                   "}\n");
}

TEST_F(ActiveWorkOrderTest, ANumberIsReadAsItsDecimalText)
{
    host.jobs.Add(QStringLiteral("17"));
    ExpectResponse(Put("{\"activeWorkOrderId\": 17}"), 200,
                   "{\n    \"activeWorkOrderId\": 17\n}\n");
    EXPECT_EQ(host.jobs.active->WorkOrderId(), QStringLiteral("17"));
}

struct UnknownCase
{
    const char *name;
    const char *body;
};

class UnknownActiveWorkOrderTest : public ActiveWorkOrderTest,
                                   public testing::WithParamInterface<UnknownCase>
{};

TEST_P(UnknownActiveWorkOrderTest, IsNotFoundAndChangesAndLogsNothing)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Put(GetParam().body), 404, ErrorBody("WorkOrder not found"));
    EXPECT_EQ(host.log.Calls(), Calls());
    EXPECT_EQ(debugLog.Lines(), Calls());
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, UnknownActiveWorkOrderTest,
    testing::Values(UnknownCase{"EmptyBody", ""}, UnknownCase{"NoJson", "json"},
                    UnknownCase{"CutOff", "{\"activeWorkOrderId\": \"X\""},
                    UnknownCase{"NoMember", "{}"},
                    UnknownCase{"MemberInOtherCase", "{\"ActiveWorkOrderId\": \"X\"}"},
                    UnknownCase{"Array", "[{\"activeWorkOrderId\": \"X\"}]"},
                    UnknownCase{"IdInOtherCase", "{\"activeWorkOrderId\": \"x\"}"},
                    UnknownCase{"OtherId", "{\"activeWorkOrderId\": \"Y\"}"},
                    UnknownCase{"Null", "{\"activeWorkOrderId\": null}"},
                    UnknownCase{"ListOfIds", "{\"activeWorkOrderId\": [\"X\"]}"}),
    CaseName());

TEST_F(ActiveWorkOrderTest, OtherMethodsAreRefusedWithTheTextAsErrorString)
{
    ExpectRefused(active, {Method::Get, Method::Put}, "/", 405, ErrorBody(""),
                  "Method not allowed");
}

} // namespace
