#include "handoff.h"

#include "casename.h"
#include "restserverrequestprocessor.h"

// The way of a request to and from a processor that answers what the test wants. It takes the place
// of the real one, which is not linked here.

namespace {

using Method = RestServerRequestMethod;

// Used by the main thread.
struct FakeRequestProcessor
{
    struct Request
    {
        Uri route;
        Method method;
        QByteArray body; // its first chunk
        bool lastChunk;
    };

    std::vector<Request> requests;
    std::function<RestServerResponseObject *()> answer = [] {
        return new RestServerResponseObject(200, new DataChunk("text", true), QString(), nullptr);
    };
};

FakeRequestProcessor fakeProcessor;

class PipelineTest : public HandOffTest
{
protected:
    PipelineTest() { fakeProcessor = FakeRequestProcessor(); }

    void TickUntilAsked()
    {
        while (fakeProcessor.requests.empty()) {
            model.ServerUpdateTickHandler();
        }
    }
};

// Replies

TEST_F(PipelineTest, AnEmptyBodyIsSentAsAnErrorWithItsCodeAndItsTextInUtf8)
{
    fakeProcessor.answer = [] {
        return new RestServerResponseObject(404, new DataChunk(QByteArray(), true),
                                            QString::fromUtf8("\xc3\xbc"), nullptr);
    };
    mg_connection connection("GET", "/");
    EXPECT_EQ(Exchange(&connection, Uri::Info), 404);
    EXPECT_EQ(connection.replies, Calls({"error 404 %s | \xc3\xbc"}));
}

// Requests

struct MethodCase
{
    const char *name;
    const char *text;
    Method method;
};

class MethodTest : public PipelineTest, public testing::WithParamInterface<MethodCase>
{};

TEST_P(MethodTest, IsReadToTheLetter)
{
    mg_connection connection(GetParam().text, "/");
    EXPECT_EQ(Exchange(&connection, Uri::Info), 200);
    EXPECT_EQ(fakeProcessor.requests.at(0).method, GetParam().method);
}

INSTANTIATE_TEST_SUITE_P(Texts, MethodTest,
                         testing::Values(MethodCase{"Get", "GET", Method::Get},
                                         MethodCase{"Post", "POST", Method::Post},
                                         MethodCase{"Put", "PUT", Method::Put},
                                         MethodCase{"Delete", "DELETE", Method::Delete},
                                         MethodCase{"Patch", "PATCH", Method::Patch},
                                         MethodCase{"LowerCase", "get", Method::Unknown},
                                         MethodCase{"MixedCase", "Get", Method::Unknown},
                                         MethodCase{"Head", "HEAD", Method::Unknown},
                                         MethodCase{"Longer", "GETX", Method::Unknown},
                                         MethodCase{"Shorter", "GE", Method::Unknown},
                                         MethodCase{"Empty", "", Method::Unknown},
                                         MethodCase{"Null", nullptr, Method::Unknown}),
                         CaseName());

// What the upload side receives of a body of a given size.
struct BodyCase
{
    std::string name;
    int size;
    std::vector<int> chunks; // the first in the request, the others on the chunk queue
};

class BodyTest : public PipelineTest, public testing::WithParamInterface<BodyCase>
{
protected:
    struct Received
    {
        QByteArray bytes;
        std::vector<int> sizes;
        bool lastChunk = false;

        void Add(const QByteArray &chunk, bool last)
        {
            bytes += chunk;
            sizes.push_back(chunk.size());
            lastChunk = last;
        }
    };

    Received Take()
    {
        TickUntilAsked();
        Received received;
        const FakeRequestProcessor::Request &request = fakeProcessor.requests.at(0);
        received.Add(request.body, request.lastChunk);
        while (!received.lastChunk) {
            const std::unique_ptr<DataChunk> chunk(model.RequestChunkQueue()->front());
            model.RequestChunkQueue()->pop_front();
            received.Add(chunk->Data(), chunk->LastChunk());
        }
        return received;
    }
};

TEST_P(BodyTest, ComesInChunksOfTheReadSize)
{
    mg_connection connection("POST", "/", Pattern(GetParam().size));
    auto result = Send(&connection, Uri::Info);
    const Received received = Take();
    EXPECT_EQ(result.get(), 200);
    EXPECT_EQ(received.sizes, GetParam().chunks);
    EXPECT_TRUE(received.bytes == connection.body);
    EXPECT_EQ(model.RequestChunkQueue()->size(), 0);
    EXPECT_EQ(connection.reads, static_cast<int>(GetParam().chunks.size()));
}

INSTANTIATE_TEST_SUITE_P(Sizes, BodyTest,
                         testing::Values(BodyCase{"None", 0, {0}}, BodyCase{"One", 1, {1}},
                                         BodyCase{"OneLess", 4999999, {4999999}},
                                         BodyCase{"Full", 5000000, {5000000, 0}},
                                         BodyCase{"OneMore", 5000001, {5000000, 1}},
                                         BodyCase{"TwoFull", 10000000, {5000000, 5000000, 0}},
                                         BodyCase{
                                             "Several", 12000000, {5000000, 5000000, 2000000}}),
                         CaseName());

// Routes

struct RouteHandlerCase
{
    const char *name;
    mg_request_handler handler;
    Uri route;
};

class RouteHandlerTest : public PipelineTest, public testing::WithParamInterface<RouteHandlerCase>
{};

TEST_P(RouteHandlerTest, PassesItsRouteAndReturnsTheCode)
{
    fakeProcessor.answer = [] {
        return new RestServerResponseObject(404, new DataChunk("text", true), QString(), nullptr);
    };
    mg_connection connection("GET", "/");
    EXPECT_EQ(TickUntil(std::async(std::launch::async,
                                   [&] { return GetParam().handler(&connection, nullptr); })),
              404);
    ASSERT_EQ(fakeProcessor.requests.size(), 1U);
    EXPECT_EQ(fakeProcessor.requests[0].route, GetParam().route);
}

using Server = RestServerModel;

INSTANTIATE_TEST_SUITE_P(
    All, RouteHandlerTest,
    testing::Values(
        RouteHandlerCase{"Info", Server::InfoHandler, Uri::Info},
        RouteHandlerCase{"WorkflowWorkorders", Server::WorkflowWorkordersHandler,
                         Uri::WorkflowWorkorders},
        RouteHandlerCase{"WorkflowList", Server::WorkflowListHandler, Uri::WorkflowList},
        RouteHandlerCase{"WorkflowTemplates", Server::WorkflowTemplatesHandler,
                         Uri::WorkflowTemplates},
        RouteHandlerCase{"WorkflowActive", Server::WorkflowActiveHandler, Uri::WorkflowActive},
        RouteHandlerCase{"WorkflowWorkorderById", Server::WorkflowWorkorderByIdHandler,
                         Uri::WorkflowWorkorderById},
        RouteHandlerCase{"SyncfilesPendingFiles", Server::SyncfilesPendingFilesHandler,
                         Uri::SyncfilesPendingFiles},
        RouteHandlerCase{"SyncfilesPendingFilesAll", Server::SyncfilesPendingFilesAllHandler,
                         Uri::SyncfilesPendingFilesAll},
        RouteHandlerCase{"SyncfilesMetadata", Server::SyncfilesMetadataHandler,
                         Uri::SyncfilesMetadata},
        RouteHandlerCase{"SyncfilesUserFilesByPath", Server::SyncfilesUserFilesByPathHandler,
                         Uri::SyncfilesUserFilesByPath},
        RouteHandlerCase{"SyncfilesUserFiles", Server::SyncfilesUserFilesHandler,
                         Uri::SyncfilesUserFiles},
        RouteHandlerCase{"FilemgrUserFiles", Server::FilemgrUserFilesHandler,
                         Uri::FilemgrUserFiles},
        RouteHandlerCase{"FilemgrUserMetadata", Server::FilemgrUserMetadataHandler,
                         Uri::FilemgrUserMetadata},
        RouteHandlerCase{"FilemgrUserFilesByPath", Server::FilemgrUserFilesByPathHandler,
                         Uri::FilemgrUserFilesByPath},
        RouteHandlerCase{"TechInfo", Server::TechInfoHandler, Uri::TechInfo},
        RouteHandlerCase{"Test", Server::TestHandler, Uri::Test}),
    CaseName());

// Turns

class TurnTest : public PipelineTest
{
protected:
    TurnTest()
    {
        second.onRead = [this] { secondIsRead.set_value(); };
    }

    // Nothing tells that a thread waits for its turn. One that does not is given the time to show.
    void ExpectTheSecondIsKeptOut()
    {
        secondResult = Send(&second, Uri::Test);
        EXPECT_EQ(secondIsRead.get_future().wait_for(std::chrono::milliseconds(100)),
                  std::future_status::timeout);
    }

    void ExpectBothAreAnswered(std::future<int> firstResult)
    {
        EXPECT_EQ(TickUntil(std::move(firstResult)), 200);
        EXPECT_EQ(TickUntil(std::move(secondResult)), 200);
        EXPECT_EQ(second.sent, QByteArray("text"));
    }

    std::promise<void> secondIsRead;
    mg_connection second{"GET", "/second"};
    std::future<int> secondResult;
};

TEST_F(TurnTest, NoRequestIsReadWhileAnotherIs)
{
    std::promise<void> inside;
    std::promise<void> release;
    mg_connection first("GET", "/first");
    first.onRead = [&] {
        inside.set_value();
        release.get_future().wait();
    };
    auto firstResult = Send(&first, Uri::Test);
    inside.get_future().wait();
    ExpectTheSecondIsKeptOut();
    release.set_value();
    ExpectBothAreAnswered(std::move(firstResult));
    EXPECT_EQ(first.sent, QByteArray("text"));
}

TEST_F(TurnTest, NoRequestIsReadWhileAnotherWaitsForItsAnswer)
{
    mg_connection first("POST", "/first", Pattern(5000000));
    auto firstResult = Send(&first, Uri::Test);
    const std::unique_ptr<DataChunk> rest(model.RequestChunkQueue()->front());
    model.RequestChunkQueue()->pop_front(); // its body is read
    ExpectTheSecondIsKeptOut();
    ExpectBothAreAnswered(std::move(firstResult));
    EXPECT_EQ(first.sent, QByteArray("text"));
}

TEST_F(TurnTest, NoRequestIsReadWhileAReplyIsWritten)
{
    struct SilentContext : IDownloadContext
    {
        void SendExtraDownloadContent() override {}
    };
    const auto answerOfTheSecond = fakeProcessor.answer;
    fakeProcessor.answer = [] {
        return new RestServerResponseObject(200, new DataChunk("piece", false), QString(),
                                            new SilentContext);
    };
    mg_connection first("GET", "/first");
    auto firstResult = Send(&first, Uri::Test);
    TickUntilAsked();
    fakeProcessor.answer = answerOfTheSecond;
    ExpectTheSecondIsKeptOut();
    EXPECT_NE(firstResult.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    model.ResponseChunkQueue()->push_back(new DataChunk("last", true));
    ExpectBothAreAnswered(std::move(firstResult));
    EXPECT_EQ(first.sent, QByteArray("piecelast"));
}

} // namespace

RestServerRequestProcessor::RestServerRequestProcessor()
    : fileProcessor(nullptr)
    , applicationModel(nullptr)
{}

void RestServerRequestProcessor::Construct(IApplicationModel *model)
{
    applicationModel = model;
}

void RestServerRequestProcessor::Shutdown() {}

RestServerResponseObject *
RestServerRequestProcessor::ProcessRequest(RestServerRequestObject *request)
{
    const DataChunk &chunk = *request->RequestDataChunk();
    fakeProcessor.requests.push_back(
        {request->RequestUri(), request->RequestMethod(), chunk.Data(), chunk.LastChunk()});
    return fakeProcessor.answer();
}
