#include "restserverguard.h"

#include <QAbstractEventDispatcher>
#include <QDebug>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr std::chrono::milliseconds releaseInterval(50);
constexpr int startRetryMs = 1000;

// While the server stops, gives each thread that waits for a piece of a download an empty last one.
// The server no longer writes by then, so the end of a shortened body is never sent.
class DownloadReleaser
{
public:
    explicit DownloadReleaser(SharedQueue<DataChunk *> *responseChunks)
        : queue(responseChunks)
        , thread([this] { Run(); })
    {}

    ~DownloadReleaser()
    {
        stopped = true;
        thread.join();
        while (queue->size() > 0) { // no other thread is left
            delete queue->front();
            queue->pop_front();
        }
    }

    DownloadReleaser(const DownloadReleaser &) = delete;
    DownloadReleaser &operator=(const DownloadReleaser &) = delete;

private:
    void Run()
    {
        do {
            std::this_thread::sleep_for(releaseInterval);
            if (queue->size() == 0) {
                queue->push_back(new DataChunk(QByteArray(), true));
            }
        } while (!stopped);
    }

    SharedQueue<DataChunk *> *queue;
    std::atomic<bool> stopped = false;
    std::thread thread; // last, so that the others exist when it runs
};

} // namespace

RestServerGuard::RestServerGuard(IRestServerModel *guardedServer, int answerLimitMs)
    : server(guardedServer)
    , answerLimit(answerLimitMs)
{}

void RestServerGuard::Start()
{
    wanted = true;
    WatchEventLoop();
    server->Start();
    late = false;
    waitingSince.start();
}

void RestServerGuard::Stop()
{
    wanted = false;
    if (!server->Running()) {
        return;
    }
    {
        const DownloadReleaser releaser(server->ResponseChunkQueue());
        server->Stop();
    }
    streaming = false;
    emit Stopped();
}

bool RestServerGuard::Running()
{
    return server->Running();
}

SharedQueue<DataChunk *> *RestServerGuard::RequestChunkQueue()
{
    waitingSince.start(); // the body still arrives: the wait for its answer has not begun
    return server->RequestChunkQueue();
}

SharedQueue<DataChunk *> *RestServerGuard::ResponseChunkQueue()
{
    NoteAnswer();
    return server->ResponseChunkQueue();
}

bool RestServerGuard::AnswerWouldBeLate() const
{
    return late || (waitingSince.isValid() && waitingSince.hasExpired(answerLimit));
}

void RestServerGuard::NoteAnswer()
{
    late = AnswerWouldBeLate();
    waitingSince.invalidate();
}

// Timers and other events run between two signals of the dispatcher, and the server's timer lets
// no more than 10 ms pass between them while there is nothing to do.
void RestServerGuard::WatchEventLoop()
{
    if (watching) {
        return;
    }
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, &RestServerGuard::EventLoopTurned);
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this,
            &RestServerGuard::EventLoopTurned);
    watching = true;
}

void RestServerGuard::EventLoopTurned()
{
    if (wanted && server->Running() && !streaming && AnswerWouldBeLate()) {
        Restart();
    }
    late = false;
    waitingSince.start();
}

void RestServerGuard::Restart()
{
    qWarning() << "An answer came too late, restarting the REST server";
    Stop();
    wanted = true;
    StartAgain();
}

void RestServerGuard::StartAgain()
{
    if (!wanted || server->Running()) {
        return;
    }
    server->Start();
    if (!server->Running()) {
        QTimer::singleShot(startRetryMs, this, &RestServerGuard::StartAgain);
    }
}
