#include "guardedserver.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <thread>

namespace {
constexpr qint64 nextAnswerLimitMs = 1000;
}

RestServerModel *GuardedServerTest::TheServer()
{
    static RestServerModel server; // there may be one in a process
    return &server;
}

void GuardedServerTest::SetUp()
{
    host.server = &serverGuard;
    host.fileManager = &downloadGuard;
    server->Construct(&host);
    serverGuard.Start();
    ASSERT_TRUE(serverGuard.Running());
}

void GuardedServerTest::TearDown()
{
    serverGuard.Stop();
    EXPECT_FALSE(server->Running());
}

void GuardedServerTest::RunClient(const std::function<void()> &client)
{
    std::thread thread([&] {
        client();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    thread.join();
}

void GuardedServerTest::AwaitTurn()
{
    QMetaObject::invokeMethod(
        &loop, [] {}, Qt::BlockingQueuedConnection);
}

void GuardedServerTest::ExpectNextAnswerSoon()
{
    QElapsedTimer elapsed;
    elapsed.start();
    const std::string answer = Exchange(Request("GET", "/info"));
    EXPECT_NE(answer.find("assetInfo"), std::string::npos) << answer;
    EXPECT_LE(elapsed.elapsed(), nextAnswerLimitMs);
}

QString GuardedServerTest::MakeFile(const QString &name, int size)
{
    std::vector<quint32> words(static_cast<size_t>(size) / sizeof(quint32));
    QRandomGenerator::global()->generate(words.begin(), words.end());
    fileBytes.assign(reinterpret_cast<const char *>(words.data()), words.size() * sizeof(quint32));
    QFile file(host.Path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(fileBytes.data(), size), size);
    return file.fileName();
}
