// A host that serves promptly, for the tests that load it.
//
//     load-host --data DIRECTORY [--slow-every N]
//
// User files are kept below DIRECTORY/storage/userfiles. Each of the operations that a client can
// tell apart adds a line to DIRECTORY/calls when it begins, such as "tech T_1". With --slow-every
// every Nth of them takes 10.6 s, and its line ends with " slow". An operation that is given a name
// with "sleep-" in it takes 10.6 s as well, one with "turn-" runs an event loop for as long.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

#include "restservermodel.h"
#include "wirehost.h"

namespace {

constexpr int slowMs = 10600; // longer than anybody waits

class LoadHost : public WireHost
{
public:
    LoadHost(const QString &data, int everySlow)
        : files(data + "/storage/userfiles")
        , log(data + "/calls")
        , slowEvery(everySlow)
    {
        files.mkpath(".");
        log.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
    }

    QDir Directory(int) override { return files; }
    bool HasFreeSpace(qint64) override
    {
        Begin("space");
        return true;
    }
    QJsonObject GetWorkOrder(QString id, bool *found) override
    {
        Begin("order " + id);
        *found = true;
        return {{"workOrderId", id}};
    }
    bool MarkFileSynced(QString path) override
    {
        Begin("synced " + path);
        return true;
    }
    void SetTechId(QString techId) override { Begin("tech " + techId); }
    bool DeleteUserFile(QString path) override
    {
        Begin("delete " + path);
        return true;
    }
    QJsonObject GetFileMetadata(QString fileName, bool *found) override
    {
        Begin("metadata " + fileName);
        *found = true;
        return {{"path", fileName}};
    }
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        Begin("read " + path);
        return WireHost::ReadFileChunk(path, ok, offset, maxLength, lastChunk);
    }

private:
    void Begin(const QString &call)
    {
        ++count;
        const bool slow = (slowEvery > 0 && count % slowEvery == 0) || call.contains("sleep-");
        log.write(call.toUtf8() + (slow ? " slow\n" : "\n"));
        if (slow) {
            QThread::msleep(slowMs);
        } else if (call.contains("turn-")) {
            QEventLoop loop;
            QObject::connect(qApp, &QCoreApplication::aboutToQuit, &loop, &QEventLoop::quit);
            QTimer::singleShot(slowMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }

    QDir files;
    QFile log;
    const int slowEvery; // 0: none
    int count = 0;
};

// Blocked before any thread starts, so that a signal arrives as an event of the main loop.
int BlockSignals()
{
    sigset_t signalsToQuit;
    sigemptyset(&signalsToQuit);
    sigaddset(&signalsToQuit, SIGINT);
    sigaddset(&signalsToQuit, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signalsToQuit, nullptr);
    return signalfd(-1, &signalsToQuit, SFD_CLOEXEC);
}

int Serve(const QString &directory, int slowEvery)
{
    QSocketNotifier quit(BlockSignals(), QSocketNotifier::Read);
    LoadHost host(directory, slowEvery);
    RestServerModel server;
    host.server = &server;
    server.SetOptions(RestServerOptions::Prompt());
    server.Construct(&host);
    server.Start();
    if (!server.Running()) {
        return 1;
    }
    std::printf("listening on http://127.0.0.1:%d\n", server.ListeningPorts().first());
    std::fflush(stdout);
    // Also while a call of the host runs an event loop of its own.
    QObject::connect(&quit, &QSocketNotifier::activated, qApp, [&server, &quit] {
        quit.setEnabled(false);
        server.Stop();
        QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"data", "Where everything is kept.", "directory"},
                       {"slow-every", "Which of the calls are slow.", "n", "0"}});
    parser.process(application);
    return Serve(parser.value("data"), parser.value("slow-every").toInt());
}
