#include <QCoreApplication>
#include <QMetaMethod>
#include <QTimer>
#include <cstring>

#include "debuglogcapture.h"
#include "handoff.h"
#include "requestobserver.h"

namespace {

FakeHttpServer &server = FakeHttpServer::Instance();

const Calls startLines{"Starting REST server...", "REST server started successfully"};

class LifecycleTest : public HandOffTest
{
protected:
    const QTimer *Timer() const { return model.findChild<QTimer *>(); }
};

TEST_F(LifecycleTest, IsNotRunningAtFirst)
{
    EXPECT_FALSE(model.Running());
    EXPECT_FALSE(Timer()->isActive());
    EXPECT_EQ(server.calls, Calls());
}

TEST_F(LifecycleTest, HasACoarseTimerOfItsOwn)
{
    EXPECT_EQ(model.findChildren<QTimer *>().size(), 1);
    EXPECT_EQ(Timer()->parent(), &model);
    EXPECT_EQ(Timer()->timerType(), Qt::CoarseTimer);
    EXPECT_EQ(model.parent(), nullptr);
}

TEST_F(LifecycleTest, KeepsItsTwoChunkQueues)
{
    EXPECT_NE(model.RequestChunkQueue(), nullptr);
    EXPECT_NE(model.ResponseChunkQueue(), nullptr);
    EXPECT_NE(model.RequestChunkQueue(), model.ResponseChunkQueue());
    EXPECT_EQ(model.RequestChunkQueue(), model.RequestChunkQueue());
}

TEST_F(LifecycleTest, StartStartsTheHttpServerWithItsSettings)
{
    const DebugLogCapture debugLog;
    model.Start();
    EXPECT_TRUE(model.Running());
    EXPECT_EQ(debugLog.Lines(), startLines);
    EXPECT_EQ(server.calls, Calls({"init 0", "start"}));
    EXPECT_EQ(server.settings,
              Calls({"listening_ports", "8081", "request_timeout_ms", "10000", "error_log_file",
                     "error.log", "enable_auth_domain_check", "no"}));
    EXPECT_EQ(server.userData, nullptr);
    model.Stop();
}

TEST_F(LifecycleTest, OnlyTheLogCallbackIsSet)
{
    model.Start();
    mg_callbacks expected{};
    expected.log_message = RestServerModel::LogMessage;
    EXPECT_EQ(std::memcmp(&server.callbacks, &expected, sizeof expected), 0);
    model.Stop();
}

TEST_F(LifecycleTest, RoutesAreRegisteredInTheirOrder)
{
    model.Start();
    struct Expected
    {
        const char *pattern;
        mg_request_handler handler;
    };
    const Expected expected[] = {
        {"/info$", RestServerModel::InfoHandler},
        {"/api/workflow/v1/workorders$", RestServerModel::WorkflowWorkordersHandler},
        {"/api/workflow/v1/list$", RestServerModel::WorkflowListHandler},
        {"/api/workflow/v1/templates$", RestServerModel::WorkflowTemplatesHandler},
        {"/api/workflow/v1/active$", RestServerModel::WorkflowActiveHandler},
        {"/api/workflow/v1/workorder/**", RestServerModel::WorkflowWorkorderByIdHandler},
        {"/api/syncfiles/v1/pendingfiles$", RestServerModel::SyncfilesPendingFilesHandler},
        {"/api/syncfiles/v1/pendingfiles/all$", RestServerModel::SyncfilesPendingFilesAllHandler},
        {"/api/syncfiles/v1/metadata/**", RestServerModel::SyncfilesMetadataHandler},
        {"/api/syncfiles/v1/userfiles/**", RestServerModel::SyncfilesUserFilesByPathHandler},
        {"/api/syncfiles/v1/userfiles$", RestServerModel::SyncfilesUserFilesHandler},
        {"/api/filemgr/v2/userfiles$", RestServerModel::FilemgrUserFilesHandler},
        {"/api/filemgr/v2/metadata/**", RestServerModel::FilemgrUserMetadataHandler},
        {"/api/filemgr/v2/userfiles/**", RestServerModel::FilemgrUserFilesByPathHandler},
        {"/api/v1/techinfo", RestServerModel::TechInfoHandler},
    };
    ASSERT_EQ(server.routes.size(), std::size(expected));
    for (size_t i = 0; i < server.routes.size(); ++i) {
        EXPECT_EQ(server.routes[i].pattern, expected[i].pattern);
        EXPECT_EQ(server.routes[i].handler, expected[i].handler) << expected[i].pattern;
        EXPECT_EQ(server.routes[i].data, &model);
    }
    model.Stop();
}

TEST_F(LifecycleTest, StartStartsTheTimerWithTenMilliseconds)
{
    model.Start();
    EXPECT_TRUE(Timer()->isActive());
    EXPECT_EQ(Timer()->interval(), 10);
    EXPECT_FALSE(Timer()->isSingleShot());
    model.Stop();
}

TEST_F(LifecycleTest, ASecondStartOnlyLogs)
{
    model.Start();
    server.Reset();
    const DebugLogCapture debugLog;
    model.Start();
    EXPECT_EQ(debugLog.Lines(), Calls({"Server already running"}));
    EXPECT_EQ(server.calls, Calls());
    EXPECT_TRUE(server.routes.empty());
    EXPECT_TRUE(model.Running());
    model.Stop();
}

TEST_F(LifecycleTest, AFailedStartLeavesNothingRunning)
{
    server.startSucceeds = false;
    const DebugLogCapture debugLog;
    model.Start();
    EXPECT_EQ(debugLog.Lines(), Calls({"Starting REST server...", "Failed to start REST server"}));
    EXPECT_FALSE(model.Running());
    EXPECT_TRUE(server.routes.empty());
    EXPECT_FALSE(Timer()->isActive());
    server.Reset();
    model.Stop();
    EXPECT_EQ(server.calls, Calls());
}

TEST_F(LifecycleTest, AStartAfterAFailedOneMaySucceed)
{
    server.startSucceeds = false;
    model.Start();
    server.startSucceeds = true;
    model.Start();
    EXPECT_TRUE(model.Running());
    model.Stop();
}

TEST_F(LifecycleTest, StopStopsTheHttpServerBeforeTheTimer)
{
    model.Start();
    server.Reset();
    bool timerRan = false;
    server.onStop = [&] { timerRan = Timer()->isActive() && model.Running(); };
    const DebugLogCapture debugLog;
    model.Stop();
    EXPECT_EQ(debugLog.Lines(), Calls({"Stopping REST server"}));
    EXPECT_EQ(server.calls, Calls({"stop"}));
    EXPECT_TRUE(timerRan);
    EXPECT_FALSE(Timer()->isActive());
    EXPECT_FALSE(model.Running());
}

TEST_F(LifecycleTest, StopOfAStoppedServerDoesNothing)
{
    const DebugLogCapture debugLog;
    model.Stop();
    model.Start();
    model.Stop();
    server.Reset();
    model.Stop();
    EXPECT_EQ(server.calls, Calls());
    EXPECT_EQ(debugLog.Lines().size(), 3U);
}

TEST_F(LifecycleTest, AStoppedServerMayBeStartedAgain)
{
    model.Start();
    model.Stop();
    server.Reset();
    const DebugLogCapture debugLog;
    model.Start();
    EXPECT_EQ(debugLog.Lines(), startLines);
    EXPECT_EQ(server.routes.size(), 15U);
    EXPECT_TRUE(model.Running());
    model.Stop();
}

TEST_F(LifecycleTest, TheTimerServesRequests)
{
    model.Start();
    mg_connection connection("GET", "/info");
    auto result = Send(&connection, Uri::Info);
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    EXPECT_EQ(result.get(), 200);
    model.Stop();
}

TEST_F(LifecycleTest, ShutdownChangesNothing)
{
    model.Start();
    model.Shutdown();
    EXPECT_TRUE(model.Running());
    model.Stop();
}

TEST_F(LifecycleTest, MessagesOfTheHttpServerAreLoggedAndHandled)
{
    const DebugLogCapture debugLog;
    EXPECT_EQ(RestServerModel::LogMessage(nullptr, "gr\xc3\xbc\xc3\x9f"), 1);
    EXPECT_EQ(RestServerModel::LogMessage(nullptr, nullptr), 1);
    EXPECT_EQ(debugLog.Lines(),
              Calls({"Civet Log Message:  gr\xc3\xbc\xc3\x9f", "Civet Log Message:  "}));
}

TEST_F(LifecycleTest, TheDestructorNeitherStopsTheServerNorReleasesTheQueues)
{
    auto other = std::make_unique<RestServerModel>();
    other->Start();
    SharedQueue<DataChunk *> *const queue = other->RequestChunkQueue();
    server.calls.clear();
    other.reset();
    EXPECT_EQ(server.calls, Calls());
    DataChunk chunk("text", true);
    queue->push_back(&chunk);
    DataChunk *taken = nullptr;
    EXPECT_TRUE(queue->FrontWithTimeout(&taken, 1000));
    EXPECT_EQ(taken, &chunk);
}

TEST_F(LifecycleTest, AnswersToTheNamesOfItsInterfaces)
{
    EXPECT_EQ(model.qt_metacast("RestServerModel"), &model);
    EXPECT_EQ(model.qt_metacast("IApplicationSubModel"),
              static_cast<IApplicationSubModel *>(&model));
    EXPECT_EQ(model.qt_metacast("IRestServerModel"), static_cast<IRestServerModel *>(&model));
    EXPECT_EQ(model.qt_metacast("QObject"), static_cast<QObject *>(&model));
    EXPECT_EQ(model.qt_metacast("IConstructable"), nullptr);
    EXPECT_EQ(model.qt_metacast(nullptr), nullptr);
}

TEST_F(LifecycleTest, DeclaresOneSlotAndNothingElse)
{
    const QMetaObject &metaObject = RestServerModel::staticMetaObject;
    ASSERT_EQ(metaObject.methodCount() - metaObject.methodOffset(), 1);
    const QMetaMethod slot = metaObject.method(metaObject.methodOffset());
    EXPECT_EQ(slot.methodSignature(), QByteArray("ServerUpdateTickHandler()"));
    EXPECT_EQ(slot.methodType(), QMetaMethod::Slot);
    EXPECT_EQ(metaObject.propertyCount(), metaObject.propertyOffset());
}

TEST_F(LifecycleTest, AStartWithAnObserverThatFailsLeavesTheHostToTheNextStart)
{
    struct Unasked : IRequestObserver
    {
        void RequestServed(const RequestRecord &) override {}
    } observer;
    RestServerOptions options;
    options.observer = &observer;
    model.SetOptions(options);
    server.startSucceeds = false;
    model.Start();
    model.SetOptions(RestServerOptions());
    server.startSucceeds = true;
    model.Start();
    mg_connection connection("POST", "/info");
    Exchange(&connection, Uri::Info);
    EXPECT_EQ(connection.replies.size(), 2u);
    model.Stop();
}

} // namespace
