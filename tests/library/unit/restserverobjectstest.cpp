#include "restserverobjects.h"

#include <gtest/gtest.h>

#include "casename.h"

namespace {

using Uri = RestServerRequestUri;
using Method = RestServerRequestMethod;

// Whoever keeps bytes beside a chunk can tell by the sharing whether the chunk still lives.
bool ChunkWasDeleted(const QByteArray &bytes)
{
    return bytes.isDetached();
}

class CountingContext : public IDownloadContext
{
public:
    CountingContext(int *deletionCount, int *sendCount)
        : deletions(deletionCount)
        , sends(sendCount)
    {}
    ~CountingContext() override { ++*deletions; }
    void SendExtraDownloadContent() override { ++*sends; }

private:
    int *deletions;
    int *sends;
};

RestServerResponseObject Response(const QByteArray &body, bool lastChunk = true,
                                  IDownloadContext *context = nullptr)
{
    return RestServerResponseObject(200, new DataChunk(body, lastChunk), QString(), context);
}

TEST(EnumeratorTest, RoutesKeepTheirOrder)
{
    const Uri routes[] = {Uri::Info,
                          Uri::WorkflowWorkorders,
                          Uri::WorkflowList,
                          Uri::WorkflowTemplates,
                          Uri::WorkflowActive,
                          Uri::WorkflowWorkorderById,
                          Uri::SyncfilesPendingFiles,
                          Uri::SyncfilesPendingFilesAll,
                          Uri::SyncfilesMetadata,
                          Uri::SyncfilesUserFilesByPath,
                          Uri::SyncfilesUserFiles,
                          Uri::FilemgrUserFiles,
                          Uri::FilemgrUserMetadata,
                          Uri::FilemgrUserFilesByPath,
                          Uri::TechInfo,
                          Uri::Test};
    int expected = 0;
    for (const Uri route : routes) {
        EXPECT_EQ(static_cast<int>(route), expected++);
    }
}

TEST(EnumeratorTest, MethodsKeepTheirNumbers)
{
    EXPECT_EQ(static_cast<int>(Method::Post), 0);
    EXPECT_EQ(static_cast<int>(Method::Get), 1);
    EXPECT_EQ(static_cast<int>(Method::Put), 2);
    EXPECT_EQ(static_cast<int>(Method::Patch), 3);
    EXPECT_EQ(static_cast<int>(Method::Delete), 4);
    EXPECT_EQ(static_cast<int>(Method::Unknown), 5);
}

TEST(EnumeratorTest, NullDataChunkIs911)
{
    EXPECT_EQ(static_cast<int>(ExceptionCodes::NullDataChunk), 911);
}

TEST(DataChunkTest, HoldsBytesAndFlag)
{
    const DataChunk last(QByteArray("abc"), true);
    const DataChunk middle(QByteArray(), false);
    EXPECT_EQ(last.Data(), QByteArray("abc"));
    EXPECT_TRUE(last.LastChunk());
    EXPECT_TRUE(middle.Data().isEmpty());
    EXPECT_FALSE(middle.LastChunk());
}

TEST(DataChunkTest, SharesTheBytesAndReleasesThem)
{
    const QByteArray bytes(100, 'x');
    {
        const DataChunk chunk(bytes, true);
        EXPECT_EQ(chunk.Data().constData(), bytes.constData());
        EXPECT_FALSE(ChunkWasDeleted(bytes));
    }
    EXPECT_TRUE(ChunkWasDeleted(bytes));
}

TEST(RequestObjectTest, KeepsWhatItWasGiven)
{
    auto *chunk = new DataChunk(QByteArray("body"), false);
    const RestServerRequestObject request(Uri::TechInfo, Method::Patch, chunk, "/api/v1/techinfo");
    EXPECT_EQ(request.RequestUri(), Uri::TechInfo);
    EXPECT_EQ(request.RequestMethod(), Method::Patch);
    EXPECT_EQ(request.RequestDataChunk(), chunk);
    EXPECT_EQ(request.FullUri(), QStringLiteral("/api/v1/techinfo"));
}

TEST(RequestObjectTest, KeepsOneCharacterPerByteOfThePath)
{
    const RestServerRequestObject request(Uri::Test, Method::Get, new DataChunk(QByteArray(), true),
                                          "/gr\xc3\xbc\xff");
    EXPECT_EQ(request.FullUri().size(), 6);
    EXPECT_EQ(request.FullUri().toLatin1(), QByteArray("/gr\xc3\xbc\xff"));
}

TEST(RequestObjectTest, ANullPathIsEmpty)
{
    const RestServerRequestObject request(Uri::Test, Method::Get, new DataChunk(QByteArray(), true),
                                          nullptr);
    EXPECT_EQ(request.FullUri(), QString());
}

TEST(RequestObjectTest, ANullChunkThrowsTheCode)
{
    try {
        const RestServerRequestObject request(Uri::Test, Method::Get, nullptr, "/");
        FAIL() << "nothing was thrown";
    } catch (ExceptionCodes code) {
        EXPECT_EQ(code, ExceptionCodes::NullDataChunk);
    }
}

TEST(RequestObjectTest, DeletesItsChunk)
{
    const QByteArray bytes(10, 'x');
    {
        const RestServerRequestObject request(Uri::Test, Method::Get, new DataChunk(bytes, true),
                                              "/");
        EXPECT_FALSE(ChunkWasDeleted(bytes));
    }
    EXPECT_TRUE(ChunkWasDeleted(bytes));
}

TEST(ResponseObjectTest, KeepsWhatItWasGiven)
{
    auto *chunk = new DataChunk(QByteArray("body"), true);
    const RestServerResponseObject response(404, chunk, QStringLiteral("text"), nullptr);
    EXPECT_EQ(response.ResponseCode(), 404);
    EXPECT_EQ(response.ResponseDataChunk(), chunk);
    EXPECT_EQ(response.ErrorString(), QStringLiteral("text"));
}

TEST(ResponseObjectTest, ANullChunkThrowsTheCodeAndLeavesTheContextToTheCaller)
{
    int deletions = 0;
    int sends = 0;
    {
        CountingContext context(&deletions, &sends);
        try {
            const RestServerResponseObject response(200, nullptr, QString(), &context);
            FAIL() << "nothing was thrown";
        } catch (ExceptionCodes code) {
            EXPECT_EQ(code, ExceptionCodes::NullDataChunk);
        }
        EXPECT_EQ(deletions, 0);
    }
    EXPECT_EQ(sends, 0);
}

struct MimeCase
{
    const char *name;
    QByteArray body;
    const char *mimeType;
};

class MimeTest : public testing::TestWithParam<MimeCase>
{};

TEST_P(MimeTest, FollowsFromTheBytes)
{
    EXPECT_STREQ(Response(GetParam().body).HeaderMimeType(), GetParam().mimeType);
}

constexpr char json[] = "application/json; charset=utf-8";
constexpr char binary[] = "application/octet-stream; charset=utf-8";

INSTANTIATE_TEST_SUITE_P(
    Bodies, MimeTest,
    testing::Values(MimeCase{"Object", "{\"a\": 1}", json}, MimeCase{"EmptyObject", "{}", json},
                    MimeCase{"EmptyArray", "[]", json}, MimeCase{"Spaced", " \n[1]\n", json},
                    MimeCase{"Text", "hello", binary}, MimeCase{"BareNumber", "42", binary},
                    MimeCase{"CutObject", "{\"a\": 1", binary},
                    MimeCase{"GarbageAfterObject", "{} x", binary}, MimeCase{"Blank", " ", binary},
                    MimeCase{"ZeroByte", QByteArray("\0", 1), binary}, MimeCase{"Empty", "", ""},
                    MimeCase{"Null", QByteArray(), ""}),
    CaseName());

TEST(ResponseObjectTest, DownloadIsRequiredWithAContextAndMoreToCome)
{
    int deletions = 0;
    int sends = 0;
    EXPECT_TRUE(Response("x", false, new CountingContext(&deletions, &sends)).DownloadRequired());
}

TEST(ResponseObjectTest, DownloadIsNotRequiredWhenTheChunkIsTheLast)
{
    int deletions = 0;
    int sends = 0;
    EXPECT_FALSE(Response("x", true, new CountingContext(&deletions, &sends)).DownloadRequired());
}

TEST(ResponseObjectTest, DownloadIsNotRequiredWithoutAContext)
{
    EXPECT_FALSE(Response("x", false).DownloadRequired());
    EXPECT_FALSE(Response("x", true).DownloadRequired());
}

TEST(ResponseObjectTest, DownloadRunsTheContextOnce)
{
    int deletions = 0;
    int sends = 0;
    RestServerResponseObject response(200, new DataChunk("x", false), QString(),
                                      new CountingContext(&deletions, &sends));
    response.Download();
    EXPECT_EQ(sends, 1);
    EXPECT_EQ(deletions, 0);
}

TEST(ResponseObjectTest, DownloadRunsTheContextAlsoWhenTheChunkIsTheLast)
{
    int deletions = 0;
    int sends = 0;
    RestServerResponseObject response(200, new DataChunk("x", true), QString(),
                                      new CountingContext(&deletions, &sends));
    response.Download();
    EXPECT_EQ(sends, 1);
}

TEST(ResponseObjectTest, DownloadWithoutAContextChangesNothing)
{
    RestServerResponseObject response(200, new DataChunk("x", false), QString(), nullptr);
    response.Download();
    EXPECT_EQ(response.ResponseDataChunk()->Data(), QByteArray("x"));
}

TEST(ResponseObjectTest, DeletesItsChunkAndItsContext)
{
    const QByteArray bytes(10, 'x');
    int deletions = 0;
    int sends = 0;
    {
        const RestServerResponseObject response(200, new DataChunk(bytes, false), QString(),
                                                new CountingContext(&deletions, &sends));
        EXPECT_FALSE(ChunkWasDeleted(bytes));
        EXPECT_EQ(deletions, 0);
    }
    EXPECT_TRUE(ChunkWasDeleted(bytes));
    EXPECT_EQ(deletions, 1);
}

TEST(ResponseObjectTest, AContextThatWasTakenOutlivesTheResponse)
{
    int deletions = 0;
    int sends = 0;
    std::unique_ptr<IDownloadContext> context;
    {
        RestServerResponseObject response(200, new DataChunk("x", false), QString(),
                                          new CountingContext(&deletions, &sends));
        context = response.TakeDownloadContext();
        EXPECT_FALSE(response.DownloadRequired());
        response.Download();
    }
    EXPECT_EQ(deletions, 0);
    EXPECT_EQ(sends, 0);
    context.reset();
    EXPECT_EQ(deletions, 1);
}

} // namespace
