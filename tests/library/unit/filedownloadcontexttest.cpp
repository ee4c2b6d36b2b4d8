#include "restserverfiledownloadcontext.h"

#include <cstdlib>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

#include "fakehost.h"

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier)
void __real__ZNSt18condition_variable10notify_oneEv(std::condition_variable *condition);
extern void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable *condition);
// NOLINTEND(bugprone-reserved-identifier)
static std::function<void()> onNotified; // called once, at the end of the next notify_one

// The linker puts this in front of the notify_one of every object in this program.
void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable *condition)
{
    __real__ZNSt18condition_variable10notify_oneEv(condition);
    if (onNotified) {
        std::exchange(onNotified, nullptr)();
    }
}

} // extern "C"

namespace {

using Calls = std::vector<std::string>;

class DownloadContextTest : public testing::Test
{
protected:
    struct Received
    {
        QByteArray bytes;
        bool lastChunk;
    };

    // Takes chunks, as an HTTP thread does, up to the one that is marked last.
    std::future<std::vector<Received>> Receive()
    {
        return std::async(std::launch::async, [this] {
            std::vector<Received> received;
            do {
                const std::unique_ptr<DataChunk> chunk(host.fakeRestServer.responseChunks.front());
                host.fakeRestServer.responseChunks.pop_front();
                received.push_back({chunk->Data(), chunk->LastChunk()});
            } while (!received.back().lastChunk);
            return received;
        });
    }

    static std::string Read(const char *offset)
    {
        return std::string("FileManagerModel.ReadFileChunk(/f, ") + offset + ", 5000000)";
    }

    FakeHost host;
    RestServerFileDownloadContext context{QStringLiteral("/f"), 5000000};
};

TEST_F(DownloadContextTest, SendsNothingBeforeItIsConstructed)
{
    context.SendExtraDownloadContent();
    EXPECT_EQ(host.log.Calls(), Calls());
    EXPECT_EQ(host.fakeRestServer.responseChunks.size(), 0);
}

TEST_F(DownloadContextTest, SendsTheRestInPieces)
{
    QByteArray content(12000000, 'a');
    content[4999999] = 'b';
    content[5000000] = 'c';
    content[9999999] = 'd';
    content[10000000] = 'e';
    host.fileManager.files[QStringLiteral("/f")] = content;
    context.Construct(&host);
    auto received = Receive();
    context.SendExtraDownloadContent();
    const std::vector<Received> chunks = received.get();
    ASSERT_EQ(chunks.size(), 2U);
    EXPECT_FALSE(chunks[0].lastChunk);
    EXPECT_TRUE(chunks[0].bytes == content.mid(5000000, 5000000));
    EXPECT_TRUE(chunks[1].lastChunk);
    EXPECT_TRUE(chunks[1].bytes == content.mid(10000000));
    EXPECT_EQ(host.log.Calls(), Calls({Read("5000000"), Read("10000000")}));
}

TEST_F(DownloadContextTest, AdvancesByWholePiecesAndSendsWhateverIsRead)
{
    host.fileManager.pieces = {{"ab", true, false}, {"", false, false}, {"c", false, true}};
    context.Construct(&host);
    auto received = Receive();
    context.SendExtraDownloadContent();
    const std::vector<Received> chunks = received.get();
    ASSERT_EQ(chunks.size(), 3U);
    EXPECT_EQ(chunks[0].bytes, QByteArray("ab"));
    EXPECT_EQ(chunks[1].bytes, QByteArray());
    EXPECT_EQ(chunks[2].bytes, QByteArray("c"));
    EXPECT_EQ(host.log.Calls(), Calls({Read("5000000"), Read("10000000"), Read("15000000")}));
}

TEST_F(DownloadContextTest, EndsWithTheFirstPieceWhenTheHostSaysNothingOfIt)
{
    host.fileManager.pieces = {{"a", true, std::nullopt}, {"never read", true, true}};
    context.Construct(&host);
    auto received = Receive();
    context.SendExtraDownloadContent();
    EXPECT_EQ(received.get().size(), 1U);
    EXPECT_EQ(host.log.Calls(), Calls({Read("5000000")}));
}

TEST_F(DownloadContextTest, TakesALaterPieceForTheKindOfTheOneBeforeWhenTheHostSaysNothingOfIt)
{
    host.fileManager.pieces = {{"a", true, false}, {"b", true, std::nullopt}, {"c", true, true}};
    context.Construct(&host);
    auto received = Receive();
    context.SendExtraDownloadContent();
    EXPECT_EQ(received.get().size(), 3U);
    EXPECT_EQ(host.log.Calls(), Calls({Read("5000000"), Read("10000000"), Read("15000000")}));
}

TEST_F(DownloadContextTest, CountsOffsetsBeyondThirtyTwoBits)
{
    RestServerFileDownloadContext late(QStringLiteral("/f"), 2147480000);
    host.fileManager.pieces = {{"a", true, false}, {"b", true, true}};
    late.Construct(&host);
    auto received = Receive();
    late.SendExtraDownloadContent();
    EXPECT_EQ(received.get().size(), 2U);
    EXPECT_EQ(host.log.Calls(), Calls({Read("2147480000"), Read("2152480000")}));
}

TEST_F(DownloadContextTest, ReadsThePieceAheadAndThenWaitsUntilTheQueueIsEmpty)
{
    host.fileManager.pieces = {{"a", true, false}, {"b", true, true}};
    int waitingAtSecondRead = -1;
    int reads = 0;
    std::promise<void> readAhead;
    host.fileManager.onRead = [&] {
        if (++reads == 2) {
            waitingAtSecondRead = host.fakeRestServer.responseChunks.size();
            readAhead.set_value();
        }
    };
    context.Construct(&host);
    auto received = std::async(std::launch::async, [&] {
        readAhead.get_future().wait();
        return Receive().get();
    });
    context.SendExtraDownloadContent();
    EXPECT_EQ(received.get().size(), 2U);
    EXPECT_EQ(waitingAtSecondRead, 1);
}

// An HTTP thread that is as quick as can be: it has deleted the context before push_back returns.
// The context lies in a page of its own, so that a read of what is gone is seen as well as a write.
TEST_F(DownloadContextTest, TouchesNothingOfItselfAfterTheLastPiece)
{
    const auto pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *page =
        mmap(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    auto *shortLived = new (page) RestServerFileDownloadContext(QStringLiteral("/f"), 0);
    shortLived->Construct(&host);
    host.fileManager.pieces = {{"a", true, true}};
    const auto sendToAQuickReceiver = [&] {
        bool gone = false;
        onNotified = [&] {
            delete host.fakeRestServer.responseChunks.front();
            shortLived->~RestServerFileDownloadContext();
            gone = mprotect(page, pageSize, PROT_NONE) == 0;
        };
        shortLived->SendExtraDownloadContent();
        std::_Exit(gone ? EXIT_SUCCESS : EXIT_FAILURE);
    };
    EXPECT_EXIT(sendToAQuickReceiver(), testing::ExitedWithCode(EXIT_SUCCESS), "");
    shortLived->~RestServerFileDownloadContext();
    munmap(page, pageSize);
}

} // namespace
