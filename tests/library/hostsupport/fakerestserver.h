#ifndef FAKERESTSERVER_H
#define FAKERESTSERVER_H

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QTimer>
#include <functional>
#include <hostmodel.h>

/** A server without a network: counts its starts and stops and has real queues. */
class FakeRestServer : public IRestServerModel
{
public:
    int starts = 0;
    int stops = 0;
    int failingStarts = 0; ///< so many of the next starts fail
    std::function<void()> onStop = [] {};

    void Start() override
    {
        ++starts;
        running = failingStarts-- <= 0;
        timer.start(5); // keeps the event loop turning, as the real server does
    }

    void Stop() override
    {
        ++stops;
        onStop();
        running = false;
    }

    bool Running() override { return running; }
    SharedQueue<DataChunk *> *RequestChunkQueue() override { return &requestChunks; }
    SharedQueue<DataChunk *> *ResponseChunkQueue() override { return &responseChunks; }

private:
    bool running = false;
    SharedQueue<DataChunk *> requestChunks;
    SharedQueue<DataChunk *> responseChunks;
    QTimer timer;
};

/** Runs the event loop until the condition holds; false when it does not within the time. */
inline bool RunUntil(const std::function<bool()> &condition, int timeoutMs = 5000)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition() && !elapsed.hasExpired(timeoutMs)) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return condition();
}

/** Lets the event loop turn many times. */
inline void RunFor(int milliseconds)
{
    RunUntil([] { return false; }, milliseconds);
}

/** Runs the function inside a turn of the event loop. */
inline void RunInTurn(const std::function<void()> &function)
{
    bool done = false;
    QTimer::singleShot(0, [&] {
        function();
        done = true;
    });
    RunUntil([&done] { return done; }, 60000);
}

#endif
