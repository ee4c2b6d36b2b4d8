#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler list = &RestServerRequestProcessor::ProcessWorkflowListRequest;
constexpr Handler workOrders = &RestServerRequestProcessor::ProcessWorkflowWorkordersRequest;

class WorkOrderListTest : public ProcessorTest
{};

QDateTime Moment(Qt::TimeSpec spec)
{
    return QDateTime(QDate(2024, 2, 29), QTime(15, 4, 5, 678), spec);
}

TEST_F(WorkOrderListTest, WithoutJobsBothArraysAreEmpty)
{
    ExpectResponse(Answer(list, Method::Get), 200,
                   "{\n"
                   "    \"workOrderIds\": [\n"
                   "    ],\n"
                   "    \"workOrderInfo\": [\n"
                   "    ]\n"
                   "}\n");
}

TEST_F(WorkOrderListTest, JobsComeInTheHostsOrder)
{
    host.jobs.Add(QStringLiteral("z"), Moment(Qt::UTC));
    host.jobs.Add(QStringLiteral("a"), QDateTime(QDate(1999, 12, 31), QTime(0, 0), Qt::UTC));
    ExpectResponse(Answer(list, Method::Get), 200,
                   "{\n"
                   "    \"workOrderIds\": [\n"
                   "        \"z\",\n"
                   "        \"a\"\n"
                   "    ],\n"
                   "    \"workOrderInfo\": [\n"
                   "        {\n"
                   "            \"modifiedTime\": \"2024-02-29T15:04:05Z\",\n"
                   "            \"workOrderId\": \"z\"\n"
                   "        },\n"
                   "        {\n"
                   "            \"modifiedTime\": \"1999-12-31T00:00:00Z\",\n"
                   "            \"workOrderId\": \"a\"\n"
                   "        }\n"
                   "    ]\n"
                   "}\n");
}

class ModifiedTimeTest : public WorkOrderListTest
{
protected:
    std::string ModifiedTime(const QDateTime &moment)
    {
        host.jobs.Add(QStringLiteral("a"), moment);
        const std::unique_ptr<RestServerResponseObject> response(Answer(list, Method::Get));
        const QJsonDocument document =
            QJsonDocument::fromJson(response->ResponseDataChunk()->Data());
        return document["workOrderInfo"][0]["modifiedTime"].toString().toStdString();
    }
};

TEST_F(ModifiedTimeTest, LocalTimeIsPrintedAsItIs)
{
    EXPECT_EQ(ModifiedTime(Moment(Qt::LocalTime)), "2024-02-29T15:04:05Z");
}

TEST_F(ModifiedTimeTest, TimeWithAnOffsetIsPrintedAsItIs)
{
    EXPECT_EQ(ModifiedTime(QDateTime(QDate(2024, 2, 29), QTime(15, 4, 5), Qt::OffsetFromUTC, 7200)),
              "2024-02-29T15:04:05Z");
}

TEST_F(ModifiedTimeTest, AnInvalidTimeIsAnEmptyText)
{
    EXPECT_EQ(ModifiedTime(QDateTime()), "");
}

TEST_F(WorkOrderListTest, JobsAreFetchedAnewAtEveryStep)
{
    host.jobs.Add(QStringLiteral("a"), Moment(Qt::UTC));
    host.jobs.Add(QStringLiteral("b"), Moment(Qt::UTC));
    int fetches = 0;
    host.jobs.onJobs = [&] {
        if (++fetches == 3) { // the list shrinks under the loop
            host.jobs.jobs.pop_back();
        }
    };
    const std::unique_ptr<RestServerResponseObject> response(Answer(list, Method::Get));
    const QJsonDocument document = QJsonDocument::fromJson(response->ResponseDataChunk()->Data());
    EXPECT_EQ(document["workOrderIds"].toArray(), QJsonArray({"a"}));
    EXPECT_EQ(document["workOrderInfo"].toArray().size(), 1);
}

TEST_F(WorkOrderListTest, JobsAreFetchedAnewForTheDetailsToo)
{
    host.jobs.Add(QStringLiteral("a"), Moment(Qt::UTC));
    int fetches = 0;
    host.jobs.onJobs = [&] {
        if (++fetches == 6) { // the identifiers took three
            host.jobs.Add(QStringLiteral("b"), Moment(Qt::UTC));
        }
    };
    const std::unique_ptr<RestServerResponseObject> response(Answer(list, Method::Get));
    const QJsonDocument document = QJsonDocument::fromJson(response->ResponseDataChunk()->Data());
    EXPECT_EQ(document["workOrderIds"].toArray(), QJsonArray({"a"}));
    EXPECT_EQ(document["workOrderInfo"].toArray().size(), 2);
    EXPECT_EQ(document["workOrderInfo"][1]["workOrderId"], QJsonValue("b"));
}

TEST_F(WorkOrderListTest, OtherMethodsAreRefused)
{
    ExpectRefused(list, {Method::Get}, "/", 405, ErrorBody("Method not allowed"));
}

class BulkUpdateTest : public ProcessorTest
{
protected:
    RestServerResponseObject *Post(const QByteArray &body)
    {
        return Answer(workOrders, Method::Post, "/api/workflow/v1/workorders", body);
    }
};

TEST_F(BulkUpdateTest, HandsTheWholeArrayToTheStoreAndReloads)
{
    ExpectResponse(Post("{\"cdm\": [{\"a\": 1}, 2], \"other\": 3}"), 200, emptyBody);
    EXPECT_EQ(host.log.Calls(),
              Calls({"WorkOrderStore.UpdateWorkOrders([{\"a\":1},2])", "JobModel.RefreshJobs()"}));
}

TEST_F(BulkUpdateTest, AValueThatIsNoArrayIsAnEmptyOne)
{
    for (const char *body : {"{\"cdm\": 5}", "{\"cdm\": null}", "{\"cdm\": {\"a\": 1}}"}) {
        host.log.Clear();
        ExpectResponse(Post(body), 200, emptyBody);
        EXPECT_EQ(host.log.Calls(),
                  Calls({"WorkOrderStore.UpdateWorkOrders([])", "JobModel.RefreshJobs()"}));
    }
}

TEST_F(BulkUpdateTest, AFailureOfTheStoreIsReportedAndNothingReloaded)
{
    host.workOrders.updateResult = false;
    ExpectResponse(Post("{\"cdm\": []}"), 500, ErrorBody("Error in request handler"));
    EXPECT_EQ(host.log.Calls(),
              Calls({"WorkOrderStore.UpdateWorkOrders([])",
                     "ErrorReporter.ReportError(Failed to update jobs on filesystem, "
                     "restserverrequestprocessor)"}));
}

TEST_F(BulkUpdateTest, ABodyThatIsNoJsonIsLoggedAndRefused)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Post("json"), 400, ErrorBody("Method not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls({"Body lengtH:  4", "Got parse error:  \"illegal value\""}));
    EXPECT_EQ(host.log.Calls(), Calls());
}

TEST_F(BulkUpdateTest, AnEmptyBodyIsRefused)
{
    ExpectResponse(Post(""), 400, ErrorBody("Method not allowed"));
}

TEST_F(BulkUpdateTest, AnObjectWithoutTheMemberIsLoggedAndRefused)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Post("{}"), 400, ErrorBody("No cdm property present"));
    ExpectResponse(Post("{\"CDM\": []}"), 400, ErrorBody("No cdm property present"));
    EXPECT_EQ(debugLog.Lines(), Calls({"No cdm object found", "No cdm object found"}));
    EXPECT_EQ(host.log.Calls(), Calls());
}

TEST_F(BulkUpdateTest, AnArrayIsAnObjectWithoutTheMember)
{
    ExpectResponse(Post("[{\"cdm\": []}]"), 400, ErrorBody("No cdm property present"));
    EXPECT_EQ(host.log.Calls(), Calls());
}

TEST_F(BulkUpdateTest, OtherMethodsAreRefused)
{
    ExpectRefused(workOrders, {Method::Post}, "/", 405, ErrorBody("Method not allowed"));
}

} // namespace
