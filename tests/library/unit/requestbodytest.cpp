#include "requestbody.h"

#include <deque>
#include <future>

#include "handoff.h"

namespace {

constexpr int whole = 5000000;

class RequestBodyTest : public testing::Test
{
protected:
    // A request whose head announces `announced` bytes; -1 stands for a chunked body.
    mg_connection &Connect(const QByteArray &bytes, long long announced)
    {
        mg_connection &connection = connections.emplace_back("POST", "/info", bytes);
        connection.information.content_length = announced;
        return connection;
    }

    mg_connection &Connect(const QByteArray &bytes) { return Connect(bytes, bytes.size()); }

    RequestBody Body(mg_connection *connection) { return RequestBody(connection, memory, &watch); }

    static QByteArray Rest(RequestBody *body)
    {
        QByteArray rest;
        QByteArray piece;
        while (body->ReadNext(&piece)) {
            rest += piece;
        }
        return rest;
    }

    std::deque<mg_connection> connections;
    ConnectionWatch watch{100};
    std::shared_ptr<BodyMemory> memory = std::make_shared<BodyMemory>(100);
};

} // namespace

TEST_F(RequestBodyTest, ARequestWithoutABodyIsNotRead)
{
    mg_connection &connection = Connect(QByteArray());
    RequestBody body = Body(&connection);
    EXPECT_EQ(body.ReadFirst(), RequestBody::Taken);
    EXPECT_EQ(body.First(), "");
    EXPECT_TRUE(body.Whole());
    EXPECT_FALSE(body.HasMore());
    EXPECT_EQ(connection.reads, 0);
}

TEST_F(RequestBodyTest, AChunkedRequestWithoutABodyIsWhole)
{
    RequestBody body = Body(&Connect(QByteArray(), -1));
    EXPECT_EQ(body.ReadFirst(), RequestBody::Taken);
    EXPECT_EQ(body.First(), "");
    EXPECT_TRUE(body.Whole());
}

TEST_F(RequestBodyTest, ABodyIsReadAsAWhole)
{
    RequestBody body = Body(&Connect("content"));
    body.ReadFirst();
    EXPECT_EQ(body.First(), "content");
    EXPECT_EQ(body.Received(), 7);
    EXPECT_TRUE(body.Whole());
}

TEST_F(RequestBodyTest, WhatWasReleasedIsForOthersOnceNobodyHoldsIt)
{
    memory = std::make_shared<BodyMemory>(850); // with room for one beside the oldest
    const RequestBody oldest = Body(&Connect("oldest"));
    RequestBody first = Body(&Connect(Pattern(whole)));
    RequestBody second = Body(&Connect(Pattern(whole)));
    first.ReadFirst();
    std::shared_ptr<const void> held = first.Memory();
    first.Release();
    auto reading = std::async(std::launch::async, [&second] { return second.ReadFirst(); });
    EXPECT_EQ(reading.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    held.reset();
    EXPECT_EQ(reading.get(), RequestBody::Taken);
}

TEST_F(RequestBodyTest, ATextInABodyEnds)
{
    RequestBody body = Body(&Connect(QByteArray(16 * 1024, 'x')));
    body.ReadFirst();
    EXPECT_EQ(strlen(body.First().constData()), size_t(16 * 1024));
}

TEST_F(RequestBodyTest, TheBufferGrowsWithTheBody)
{
    const QByteArray content = Pattern(1000000);
    for (const long long announced : {1000000, -1}) {
        RequestBody body = Body(&Connect(content, announced));
        body.ReadFirst();
        EXPECT_TRUE(body.First() == content);
        EXPECT_TRUE(body.Whole());
    }
}

TEST_F(RequestBodyTest, ABodyThatJustFillsABufferIsWhole)
{
    for (const int size : {16 * 1024, 64 * 1024, 256 * 1024}) {
        RequestBody body = Body(&Connect(Pattern(size), -1));
        body.ReadFirst();
        EXPECT_EQ(body.First().size(), size);
        EXPECT_TRUE(body.Whole());
        EXPECT_FALSE(body.HasMore());
    }
}

TEST_F(RequestBodyTest, FiveMillionBytesAreOnePieceAndTheLast)
{
    RequestBody body = Body(&Connect(Pattern(whole)));
    body.ReadFirst();
    EXPECT_EQ(body.First().size(), whole);
    EXPECT_FALSE(body.HasMore());
    EXPECT_TRUE(body.Whole());
}

TEST_F(RequestBodyTest, FiveMillionBytesInChunksMayHaveMore)
{
    RequestBody body = Body(&Connect(Pattern(whole), -1));
    body.ReadFirst();
    EXPECT_TRUE(body.HasMore());
    EXPECT_EQ(Rest(&body), "");
    EXPECT_TRUE(body.Whole());
}

TEST_F(RequestBodyTest, WhatFollowsFiveMillionBytesComesInPieces)
{
    const QByteArray content = Pattern(12000000);
    RequestBody body = Body(&Connect(content));
    body.ReadFirst();
    EXPECT_TRUE(body.First() == content.left(whole));
    EXPECT_TRUE(Rest(&body) == content.mid(whole));
    EXPECT_TRUE(body.Whole());
    EXPECT_EQ(body.Received(), 12000000);
}

TEST_F(RequestBodyTest, ABodyThatBreaksOffIsNotWhole)
{
    RequestBody body = Body(&Connect("cont", 7));
    body.ReadFirst();
    EXPECT_EQ(body.First(), "cont");
    EXPECT_FALSE(body.HasMore());
    EXPECT_FALSE(body.Whole());
}

TEST_F(RequestBodyTest, ARestThatBreaksOffIsNotWhole)
{
    RequestBody body = Body(&Connect(Pattern(6000000), 7000000));
    body.ReadFirst();
    Rest(&body);
    EXPECT_FALSE(body.Whole());
}

TEST_F(RequestBodyTest, ABrokenChunkedBodyCountsAsEmpty)
{
    mg_connection &connection = Connect(Pattern(20000), -1);
    connection.failAtRead = 2;
    RequestBody body = Body(&connection);
    body.ReadFirst();
    EXPECT_EQ(body.First(), "");
    EXPECT_FALSE(body.Whole());
    EXPECT_FALSE(body.HasMore());
}

TEST_F(RequestBodyTest, TheDroppedRestLeavesTheFirstPieceAsItIs)
{
    const QByteArray content = Pattern(6000000);
    RequestBody body = Body(&Connect(content));
    body.ReadFirst();
    body.DropRest();
    EXPECT_TRUE(body.First() == content.left(whole));
    EXPECT_EQ(body.Received(), 6000000);
    EXPECT_TRUE(body.Whole());
}

TEST_F(RequestBodyTest, TheFirstPieceLivesAsLongAsSomebodyHoldsIt)
{
    std::shared_ptr<const void> held;
    QByteArray first;
    {
        RequestBody body = Body(&Connect("content"));
        body.ReadFirst();
        held = body.Memory();
        first = body.First();
    }
    EXPECT_EQ(first, "content");
}

TEST_F(RequestBodyTest, WhenTheServerStopsOnlySmallBodiesAreTaken)
{
    memory->Stop();
    EXPECT_EQ(Body(&Connect(Pattern(60000))).ReadFirst(), RequestBody::Taken);
    EXPECT_EQ(Body(&Connect(Pattern(100000))).ReadFirst(), RequestBody::NoMemory);
}

TEST_F(RequestBodyTest, TransfersThatAreOnTheirWayLeaveMemoryToOthers)
{
    std::deque<RequestBody> transfers;
    for (int i = 0; i < 30; ++i) {
        transfers.push_back(Body(&Connect(Pattern(6000000))));
        ASSERT_EQ(transfers.back().ReadFirst(), RequestBody::Taken) << i;
        QByteArray piece;
        EXPECT_TRUE(transfers.back().ReadNext(&piece));
        connections.back().body.clear();
    }
}
