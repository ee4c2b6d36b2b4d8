#include <QCoreApplication>
#include <future>
#include <gtest/gtest.h>

#include "fakehost.h"
#include "promptupload.h"

// The test's thread is the thread of the model; the upload's questions come from another.

namespace {

// A storage whose first question does something.
struct AskedStorage : FakeStorageModel
{
    using FakeStorageModel::FakeStorageModel;
    bool IsStorageAvailable() override
    {
        onAsked();
        return FakeStorageModel::IsStorageAvailable();
    }
    std::function<void()> onAsked = [] {};
};

struct AskedHost : FakeHost
{
    IStorageModel *StorageModel() override { return &asked; }
    AskedStorage asked{log};
};

class ForwardedHostTest : public testing::Test
{
protected:
    ForwardedHostTest()
    {
        host.asked.onBegin = [this] { seen << "begin"; };
        host.asked.onEnd = [this] { seen << "end"; };
    }

    // Runs an upload's part and turns the event loop until it is done.
    template <typename Part>
    auto Do(Part part)
    {
        auto done = std::async(std::launch::async, part);
        while (done.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            QCoreApplication::processEvents();
        }
        return done.get();
    }

    AskedHost host;
    QStringList seen;
    std::shared_ptr<ModelCalls> calls = ModelCalls::Create();
    std::shared_ptr<PromptHost> promptHost = std::make_shared<PromptHost>(&host);
    ForwardedHost forwarded{calls, promptHost};
};

} // namespace

TEST_F(ForwardedHostTest, EntersAndLeavesTheStorage)
{
    EXPECT_TRUE(Do([this] {
        const bool entered = forwarded.Enter();
        forwarded.Leave();
        return entered;
    }));
    EXPECT_EQ(seen, (QStringList{"begin", "end"}));
}

TEST_F(ForwardedHostTest, DoesNotEnterAStorageThatIsNotThere)
{
    host.asked.available = false;
    EXPECT_FALSE(Do([this] { return forwarded.Enter(); }));
    Do([this] {
        forwarded.Leave();
        return true;
    });
    EXPECT_TRUE(seen.isEmpty());
}

TEST_F(ForwardedHostTest, DoesNotEnterWhenTheHostStopsTheServerOverTheQuestion)
{
    host.asked.onAsked = [this] {
        calls->Stop();
        promptHost->Storage().EndAll();
    };
    EXPECT_FALSE(Do([this] { return forwarded.Enter(); }));
    EXPECT_EQ(forwarded.Outcome(), ModelCalls::Stopped);
    EXPECT_TRUE(seen.isEmpty());
}

TEST_F(ForwardedHostTest, GivesThePathOfADirectory)
{
    host.asked.directories[9] = "/user/files";
    EXPECT_EQ(Do([this] { return forwarded.Directory(9).absolutePath(); }), "/user/files");
}

TEST_F(ForwardedHostTest, PassesReportsOnAndNotesThem)
{
    Do([this] {
        forwarded.ReportError("message", "source", 17);
        return true;
    });
    EXPECT_EQ(forwarded.notes, QStringList{"message"});
    ASSERT_EQ(host.errors.reports.size(), 1u);
    EXPECT_EQ(host.errors.reports[0].sourceFile, "source");
}

TEST_F(ForwardedHostTest, RefusesEveryQuestionOnceTheServerStops)
{
    calls->Stop();
    EXPECT_FALSE(forwarded.HasFreeSpace(1));
    EXPECT_EQ(forwarded.Outcome(), ModelCalls::Stopped);
    EXPECT_FALSE(forwarded.IsStorageAvailable());
}
