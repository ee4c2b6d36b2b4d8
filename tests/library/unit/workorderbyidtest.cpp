#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler byUri = &RestServerRequestProcessor::ProcessWorkflowWorkorderByIdGenericRequest;

QJsonObject Object(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

class WorkOrderByIdTest : public ProcessorTest
{};

TEST_F(WorkOrderByIdTest, GetGivesTheDocumentInItsWrapper)
{
    host.workOrders.documents[QStringLiteral("abc")] = Object("{\"z\": 1, \"tests\": []}");
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 200,
                   "{\n"
                   "    \"cdm\": {\n"
                   "        \"tests\": [\n"
                   "        ],\n"
                   "        \"z\": 1\n"
                   "    },\n"
                   "    \"cdmVersion\": \"2.1\"\n"
                   "}\n");
    EXPECT_EQ(host.log.Calls(), Calls({"WorkOrderStore.GetWorkOrder(abc)"}));
}

TEST_F(WorkOrderByIdTest, GetLeavesTheImagesOut)
{
    const QJsonObject stored =
        Object("{\"tests\": [{\"results\": {\"data\": {\"imageData\": \"x\", \"v\": 1}}}]}");
    host.workOrders.documents[QStringLiteral("abc")] = stored;
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 200,
                   "{\n"
                   "    \"cdm\": {\n"
                   "        \"tests\": [\n"
                   "            {\n"
                   "                \"results\": {\n"
                   "                    \"data\": {\n"
                   "                        \"v\": 1\n"
                   "                    }\n"
                   "                }\n"
                   "            }\n"
                   "        ]\n"
                   "    },\n"
                   "    \"cdmVersion\": \"2.1\"\n"
                   "}\n");
    EXPECT_EQ(host.workOrders.documents.value(QStringLiteral("abc")), stored);
}

TEST_F(WorkOrderByIdTest, AnUnknownIdIsNotFound)
{
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 404,
                   ErrorBody("Job not found"));
}

TEST_F(WorkOrderByIdTest, AStoreThatLeavesTheFlagAloneHasNotFoundIt)
{
    host.workOrders.onGet = [](bool *) { return QJsonObject{{"z", 1}}; };
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 404,
                   ErrorBody("Job not found"));
}

TEST_F(WorkOrderByIdTest, ADocumentThatIsNotFoundIsNotGiven)
{
    host.workOrders.onGet = [](bool *found) {
        *found = false;
        return QJsonObject{{"z", 1}};
    };
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 404,
                   ErrorBody("Job not found"));
}

TEST_F(WorkOrderByIdTest, AnEmptyDocumentThatIsFoundIsGiven)
{
    host.workOrders.documents[QStringLiteral("abc")] = QJsonObject();
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/abc"), 200,
                   "{\n"
                   "    \"cdm\": {\n"
                   "        \"tests\": [\n"
                   "        ]\n"
                   "    },\n"
                   "    \"cdmVersion\": \"2.1\"\n"
                   "}\n");
}

TEST_F(WorkOrderByIdTest, TheIdGoesToTheStoreAsItStands)
{
    ExpectResponse(Answer(byUri, Method::Get, "/api/workflow/v1/workorder/a b?c#%20..\xc3\xbc"),
                   404, ErrorBody("Job not found"));
    EXPECT_EQ(host.log.Calls(),
              Calls({"WorkOrderStore.GetWorkOrder(a b?c#%20..\xc3\x83\xc2\xbc)"}));
}

TEST_F(WorkOrderByIdTest, OtherMethodsAreRefused)
{
    ExpectRefused(byUri, {Method::Get}, "/api/workflow/v1/workorder/abc", 405,
                  ErrorBody("Method not allowed"));
}

struct InvalidUriCase
{
    const char *name;
    const char *uri;
};

class InvalidWorkOrderUriTest : public ProcessorTest,
                                public testing::WithParamInterface<InvalidUriCase>
{};

TEST_P(InvalidWorkOrderUriTest, IsNotFoundWithTheMessageSpeltSo)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byUri, Method::Get, GetParam().uri), 404, ErrorBody("Inavlid URI"));
    ExpectResponse(Answer(byUri, Method::Post, GetParam().uri), 404, ErrorBody("Inavlid URI"));
    EXPECT_EQ(host.log.Calls(), Calls());
    EXPECT_EQ(debugLog.Lines(), Calls());
}

INSTANTIATE_TEST_SUITE_P(
    Uris, InvalidWorkOrderUriTest,
    testing::Values(
        InvalidUriCase{"NoId", "/api/workflow/v1/workorder/"},
        InvalidUriCase{"MoreThanAnId", "/api/workflow/v1/workorder/a/b"},
        InvalidUriCase{"AttachmentWithoutId", "/api/workflow/v1/workorder//attachment"},
        InvalidUriCase{"SlashAfterAttachment", "/api/workflow/v1/workorder/a/attachment/"},
        InvalidUriCase{"MoreThanAnIdBeforeAttachment", "/api/workflow/v1/workorder/a/b/attachment"},
        InvalidUriCase{"AttachmentInOtherCase", "/api/workflow/v1/workorder/a/Attachment"},
        InvalidUriCase{"OtherCase", "/api/workflow/v1/Workorder/a"},
        InvalidUriCase{"WithTheHost", "http://device/api/workflow/v1/workorder/a"},
        InvalidUriCase{"TwoSlashesInFront", "//api/workflow/v1/workorder/a"},
        InvalidUriCase{"Empty", ""}),
    CaseName());

class AttachmentTest : public ProcessorTest
{
protected:
    static constexpr char uri[] = "/api/workflow/v1/workorder/abc/attachment";
};

TEST_F(AttachmentTest, IsNeverAllowedForAJobThatExists)
{
    host.jobs.Add(QStringLiteral("x"));
    host.jobs.Add(QStringLiteral("abc"));
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byUri, Method::Post, uri), 405, ErrorBody("Not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls({"Job Id:  \"abc\""}));
}

TEST_F(AttachmentTest, IsNotFoundForAnUnknownJob)
{
    host.jobs.Add(QStringLiteral("ABC"));
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(byUri, Method::Post, uri), 404, ErrorBody("Job not found"));
    EXPECT_EQ(debugLog.Lines(), Calls({"Job Id:  \"abc\"", "Didn't find a job, job id:  \"abc\""}));
}

TEST_F(AttachmentTest, AnIdBeyondAsciiIsComparedByteForCharacterAndNotFound)
{
    host.jobs.Add(QString::fromUtf8("\xC3\xBC"));
    ExpectResponse(Answer(byUri, Method::Post, "/api/workflow/v1/workorder/\xC3\xBC/attachment"),
                   404, ErrorBody("Job not found"));
}

TEST_F(AttachmentTest, FetchesTheJobsAnewAtEveryStep)
{
    host.jobs.Add(QStringLiteral("x"));
    int fetches = 0;
    host.jobs.onJobs = [&] {
        if (++fetches == 3) { // the list grows under the search
            host.jobs.Add(QStringLiteral("abc"));
        }
    };
    ExpectResponse(Answer(byUri, Method::Post, uri), 405, ErrorBody("Not allowed"));
}

TEST_F(AttachmentTest, OtherMethodsAreRefusedAfterTheIdIsLogged)
{
    host.jobs.Add(QStringLiteral("abc"));
    const DebugLogCapture debugLog;
    ExpectRefused(byUri, {Method::Post}, uri, 405, ErrorBody("Method not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls(5, "Job Id:  \"abc\""));
}

TEST_F(WorkOrderByIdTest, BothHandlersReportANullRequest)
{
    ExpectResponse(processor.ProcessWorkflowWorkorderByIdRequest(nullptr, QStringLiteral("a")), 500,
                   ErrorBody("Error in request handler"));
    ExpectResponse(
        processor.ProcessWorkflowWorkorderAttachmentByIdRequest(nullptr, QStringLiteral("a")), 500,
        ErrorBody("Error in request handler"));
    const std::string report =
        "ErrorReporter.ReportError(Null request provided, returning HTTP error, "
        "restserverrequestprocessor)";
    EXPECT_EQ(host.log.Calls(), Calls({report, report}));
}

struct StripCase
{
    const char *name;
    const char *document;
    const char *stripped;
};

class StripCdmImageTest : public ProcessorTest, public testing::WithParamInterface<StripCase>
{};

TEST_P(StripCdmImageTest, RemovesTheImagesOfResultDataOnly)
{
    EXPECT_EQ(processor.StripCdmImage(Object(GetParam().document)), Object(GetParam().stripped));
}

INSTANTIATE_TEST_SUITE_P(
    Documents, StripCdmImageTest,
    testing::Values(
        StripCase{"Image",
                  "{\"tests\": [{\"results\": {\"data\": {\"imageData\": [1], \"v\": 1}}}]}",
                  "{\"tests\": [{\"results\": {\"data\": {\"v\": 1}}}]}"},
        StripCase{"ImageAlone", "{\"tests\": [{\"results\": {\"data\": {\"imageData\": \"x\"}}}]}",
                  "{\"tests\": [{\"results\": {\"data\": {}}}]}"},
        StripCase{"EveryTest",
                  "{\"tests\": [{\"results\": {\"data\": {\"imageData\": 1}}}, {\"n\": 1}, "
                  "{\"results\": {\"data\": {\"imageData\": 2}, \"r\": 2}, \"s\": 3}]}",
                  "{\"tests\": [{\"results\": {\"data\": {}}}, {\"n\": 1}, "
                  "{\"results\": {\"data\": {}, \"r\": 2}, \"s\": 3}]}"},
        StripCase{"ImagesElsewhere",
                  "{\"imageData\": 1, \"tests\": [{\"imageData\": 2, \"data\": {\"imageData\": 3}, "
                  "\"results\": {\"imageData\": 4, \"data\": {\"d\": {\"imageData\": 5}}}}]}",
                  "{\"imageData\": 1, \"tests\": [{\"imageData\": 2, \"data\": {\"imageData\": 3}, "
                  "\"results\": {\"imageData\": 4, \"data\": {\"d\": {\"imageData\": 5}}}}]}"},
        StripCase{"NoTests", "{\"a\": 1}", "{\"a\": 1, \"tests\": []}"},
        StripCase{"EmptyDocument", "{}", "{\"tests\": []}"},
        StripCase{"TestsNoArray", "{\"tests\": {\"results\": 1}}", "{\"tests\": []}"},
        StripCase{"TestNoObject", "{\"tests\": [1, \"a\", null, [2]]}",
                  "{\"tests\": [1, \"a\", null, [2]]}"},
        StripCase{"NoResults", "{\"tests\": [{\"a\": 1}]}", "{\"tests\": [{\"a\": 1}]}"},
        StripCase{"ResultsNoObject", "{\"tests\": [{\"results\": [1]}, {\"results\": null}]}",
                  "{\"tests\": [{\"results\": [1]}, {\"results\": null}]}"},
        StripCase{"NoData", "{\"tests\": [{\"results\": {\"imageData\": 1}}]}",
                  "{\"tests\": [{\"results\": {\"imageData\": 1}}]}"},
        StripCase{"DataNoObject", "{\"tests\": [{\"results\": {\"data\": 5}}]}",
                  "{\"tests\": [{\"results\": {\"data\": {}}}]}"}),
    CaseName());

} // namespace
