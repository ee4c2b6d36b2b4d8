#ifndef PROMPTSERVING_H
#define PROMPTSERVING_H

#include <array>

#include "promptexchange.h"
#include "serving.h"
#include "workerpreparation.h"

/**
 * Prompt serving: a request is handed to the thread of the model at once, as an event, while its
 * HTTP thread waits on a condition. Bodies are read before that, files move on the HTTP threads,
 * and a watch shuts down clients that hold a thread up.
 *
 * Start and stop are called on the thread of the model, routes by any number of HTTP threads.
 */
class PromptServing : public IServing
{
public:
    PromptServing(IApplicationModel *host, const RestServerOptions &serverOptions);
    ~PromptServing() override;

    void Prepare() override {}
    std::vector<const char *> Settings() override;
    void AddCallbacks(mg_callbacks *callbacks) override;
    void StartFailed() override;
    RouteHandler Handler(RestServerRequestUri uri, RouteHandler classic) override;
    bool Begin(mg_context *context, const QVector<ProcessSocket> &listeningSockets) override;
    void Stop(mg_context *context) override;
    void LeaveHost() override;
    void Abandon(mg_context *context) override;

private:
    struct Route
    {
        PromptServing *serving;
        RestServerRequestUri uri;
    };

    static constexpr size_t routeCount = static_cast<size_t>(RestServerRequestUri::Test) + 1;

    void EndThreads(mg_context *context);

    static int Serve(mg_connection *conn, void *data);
    static int KeepMessage(const mg_connection *conn, const char *message);
    static int ConnectionBegins(const mg_connection *conn, void **data);
    static void ConnectionEnds(const mg_connection *conn);

    RestServerOptions options;
    std::array<Route, routeCount> routes;
    WorkerPreparation preparation;
    ConnectionWatch watch;
    PromptServices services;
};

#endif
