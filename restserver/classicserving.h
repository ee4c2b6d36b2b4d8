#ifndef CLASSICSERVING_H
#define CLASSICSERVING_H

#include <QMutex>
#include <QTimer>

#include "requestexchange.h"
#include "serving.h"

/**
 * What couples the HTTP threads with the main thread when serving classically. The route handlers
 * have no model pointer, so it is reached through this one object. The constructor of the model
 * sets it, before any HTTP thread exists; a second model would take it over.
 */
struct ClassicPipeline
{
    static constexpr int mutexWaitMs = 10000;
    static constexpr long long responseWaitMs = 10000;

    RequestQueues queues;
    QMutex *httpMutex = nullptr; // held from before a body is read until its reply is written

    static ClassicPipeline &Instance();
};

/** Empties a queue. What was in it is not deleted: another thread may still look at it. */
template <typename T>
void DropAll(SharedQueue<T *> *queue)
{
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the model made every queue before
    while (queue->size() >= 1) {
        queue->pop_front();
    }
}

/** Classic serving: one request at a time, taken up by a timer of the main thread. */
class ClassicServing : public IServing
{
public:
    /** `timer` is the model's. */
    ClassicServing(QTimer *timer, const RestServerOptions &serverOptions);

    void Prepare() override;
    std::vector<const char *> Settings() override;
    void AddCallbacks(mg_callbacks *) override {}
    RouteHandler Handler(RestServerRequestUri uri, RouteHandler classic) override;
    bool Begin(mg_context *, const QVector<ProcessSocket> &) override;
    void Stop(mg_context *context) override;
    void Abandon(mg_context *) override {} // a classic server outlives its model, as it always did

private:
    QTimer *updateTimer;
    RestServerOptions options;
};

#endif
