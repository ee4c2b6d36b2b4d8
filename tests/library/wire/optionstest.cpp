#include <QFileInfo>
#include <atomic>

#include "requestobserver.h"
#include "wiretest.h"

// What a host may choose in both ways of serving.

namespace {

const std::string pending = "/api/syncfiles/v1/pendingfiles";
const std::string pendingBody = "[\n    \"pending\"\n]\n";

class OptionsTest : public WireTest
{
protected:
    OptionsTest()
        : options(WireDevice::Options())
    {
        server.Stop();
    }
    ~OptionsTest() override
    {
        server.Stop();
        server.SetOptions(WireDevice::Options());
    }

    void Start()
    {
        server.SetOptions(options);
        server.Start();
    }

    RestServerOptions options;
};

// Keeps what it is told, and ends a loop when it was told of so many requests.
class Observer : public IRequestObserver
{
public:
    void RequestServed(const RequestRecord &record) override
    {
        records.push_back(record);
        if (whenServed) {
            whenServed();
        }
    }

    std::vector<RequestRecord> records;
    std::function<void()> whenServed;
};

class ObserverTest : public OptionsTest
{
protected:
    ObserverTest()
    {
        options.observer = &observer;
        Start();
    }

    // One exchange, and the turns of the loop until it was told of.
    RequestRecord Observe(const std::string &request)
    {
        const size_t expected = observer.records.size() + 1;
        Ask(request);
        while (observer.records.size() < expected) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return observer.records.back();
    }

    Observer observer;
};

} // namespace

TEST_F(OptionsTest, ServesOnAPortOfItsChoice)
{
    options.listeningPorts = "8181";
    Start();
    EXPECT_EQ(server.ListeningPorts(), QVector<int>{8181});
    EXPECT_EQ(BodyOf(WhileServing([] { return Exchange(Request("GET", pending), 8181); })),
              pendingBody);
    EXPECT_FALSE(RawClient(8081).Connected());
}

TEST_F(OptionsTest, TellsWhatAFreePortBecame)
{
    options.listeningPorts = "127.0.0.1:0";
    Start();
    ASSERT_EQ(server.ListeningPorts().size(), 1);
    const int port = server.ListeningPorts().first();
    EXPECT_EQ(BodyOf(WhileServing([port] { return Exchange(Request("GET", pending), port); })),
              pendingBody);
}

TEST_F(OptionsTest, ServesOnSeveralPorts)
{
    options.listeningPorts = "127.0.0.1:8181,8182";
    Start();
    EXPECT_EQ(server.ListeningPorts(), (QVector<int>{8181, 8182}));
}

TEST_F(OptionsTest, WithoutOptionsItServesOnPort8081)
{
    server.SetOptions(RestServerOptions());
    server.Start();
    EXPECT_EQ(server.ListeningPorts(), QVector<int>{8081});
}

TEST_F(OptionsTest, AStoppedServerListensNowhere)
{
    Start();
    server.Stop();
    EXPECT_EQ(server.ListeningPorts(), QVector<int>());
}

TEST_F(OptionsTest, OptionsSetWhileRunningCountAtTheNextStart)
{
    Start();
    options.listeningPorts = "8181";
    server.SetOptions(options);
    EXPECT_EQ(server.ListeningPorts(), QVector<int>{8081});
    server.Stop();
    server.Start();
    EXPECT_EQ(server.ListeningPorts(), QVector<int>{8181});
}

TEST_F(OptionsTest, ErrorsOfTheEmbeddedServerGoToTheLogNotToAFileThatWasNotWanted)
{
    QFile::remove("error.log");
    options.errorLogFile = QByteArray();
    options.listeningPorts = "192.0.2.1:8081"; // an address that no machine has
    Start();
    EXPECT_FALSE(server.Running());
    EXPECT_FALSE(QFileInfo::exists("error.log"));
}

TEST_F(OptionsTest, AThreadIsPreparedBeforeItServes)
{
    std::atomic<bool> prepared{false};
    options.prepareWorker = [&] {
        prepared = true;
        return true;
    };
    Start();
    EXPECT_EQ(AskBody(Request("GET", pending)), pendingBody);
    EXPECT_TRUE(prepared);
}

TEST_F(OptionsTest, AThreadThatCannotBePreparedServesNothing)
{
    options.prepareWorker = [] { return false; };
    Start();
    EXPECT_EQ(WithoutDate(Ask(Request("GET", "/info"))),
              ErrorReply("503 Service Unavailable", "The device cannot serve requests"));
}

TEST_F(ObserverTest, IsToldWhoAskedForWhat)
{
    const RequestRecord record = Observe(Request("GET", pending + "?x=1"));
    EXPECT_TRUE(record.client.startsWith("127.0.0.1:"));
    EXPECT_EQ(record.method, "GET");
    EXPECT_EQ(record.uri, pending.c_str());
    EXPECT_EQ(record.time.timeSpec(), Qt::UTC);
}

TEST_F(ObserverTest, IsToldOfTheAnswer)
{
    const RequestRecord record = Observe(Request("GET", pending));
    EXPECT_EQ(record.status, 200);
    EXPECT_EQ(record.received, 0);
    EXPECT_EQ(record.sent, qint64(pendingBody.size()));
    EXPECT_EQ(record.answer, pendingBody.c_str());
    EXPECT_EQ(record.error, "");
    EXPECT_GT(record.microseconds, 0);
}

TEST_F(ObserverTest, IsToldOfTheErrorInAnAnswerWithStatus200)
{
    const RequestRecord record = Observe(Request("POST", pending, "12345"));
    EXPECT_EQ(record.status, 200);
    EXPECT_EQ(record.error, "Method not allowed");
    EXPECT_EQ(record.received, 5);
}

TEST_F(ObserverTest, IsToldOfARefusalWithoutWords)
{
    EXPECT_EQ(Observe(Request("PUT", "/api/filemgr/v2/userfiles")).error,
              "Error in request handler");
}

TEST_F(ObserverTest, IsShownTheFirstFourKibibytesOfAnAnswer)
{
    host.script.assetInfo = [] { return QJsonObject{{"text", QString(10000, 'x')}}; };
    EXPECT_EQ(Observe(Request("GET", "/info")).answer.size(), 4096);
}

TEST_F(ObserverTest, IsShownNoBytesOfAFile)
{
    QFile file(host.Path("file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("text");
    file.close();
    const RequestRecord record =
        Observe(Request("GET", "/api/filemgr/v2/userfiles" + host.Path("file").toStdString()));
    EXPECT_EQ(record.answer, "");
    EXPECT_EQ(record.sent, 4);
}

TEST_F(ObserverTest, ControlCharactersOfAUriAreEscaped)
{
    EXPECT_EQ(Observe(Request("GET", "/api/filemgr/v2/metadata/a%1b%0ab")).uri,
              "/api/filemgr/v2/metadata/a\\x1b\\x0ab");
}

TEST_F(ObserverTest, IsToldWhatWasReportedToTheHost)
{
    // The second part is data of no part: its end comes before any beginning.
    const QString target = "/outside";
    const RequestRecord record =
        Observe(Request("POST", "/api/filemgr/v2/userfiles", UploadBody(target, "content")));
    EXPECT_EQ(record.error, "Upload failed");
    EXPECT_TRUE(record.reports.contains("Illegal state"));
}

TEST_F(ObserverTest, IsToldOfEveryRequestOnce)
{
    for (int i = 0; i < 20; ++i) {
        Observe(Request("GET", pending));
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(observer.records.size(), 20u);
}

TEST_F(ObserverTest, MayStopTheServer)
{
    observer.whenServed = [this] { server.Stop(); };
    Observe(Request("GET", pending));
    EXPECT_FALSE(server.Running());
}

TEST_F(ObserverTest, IsToldInStopOfWhatWasServedLast)
{
    Ask(Request("GET", pending));
    server.Stop();
    ASSERT_EQ(observer.records.size(), 1u);
    EXPECT_EQ(observer.records.front().uri, pending.c_str());
}

TEST_F(ObserverTest, IsNotToldOfAnythingAfterStop)
{
    Ask(Request("GET", pending));
    server.Stop();
    const size_t told = observer.records.size();
    QCoreApplication::processEvents();
    EXPECT_EQ(observer.records.size(), told);
}
