#ifndef CLASSICOBSERVATION_H
#define CLASSICOBSERVATION_H

#include <QMutex>
#include <array>
#include <memory>

#include "classicserving.h"
#include "notinghost.h"
#include "observation.h"
#include "workerpreparation.h"

class RestServerRequestProcessor;

/**
 * Classic serving with its HTTP threads prepared and its requests noted. It answers as classic
 * serving does; what it adds happens around each exchange.
 */
class ObservedClassicServing : public ClassicServing
{
public:
    ObservedClassicServing(IApplicationModel *host, RestServerRequestProcessor *requestProcessor,
                           QTimer *timer, const RestServerOptions &serverOptions);

    void Prepare() override;
    RouteHandler Handler(RestServerRequestUri uri, RouteHandler classic) override;
    void StartFailed() override;
    void Stop(mg_context *context) override;
    void LeaveHost() override;
    void Abandon(mg_context *context) override;

private:
    struct Route
    {
        ObservedClassicServing *serving;
        RestServerRequestUri uri;
    };

    static constexpr size_t routeCount = static_cast<size_t>(RestServerRequestUri::Test) + 1;

    static int Serve(mg_connection *conn, void *data);
    int ServeNoted(mg_connection *conn, RestServerRequestUri uri);
    int Exchange(mg_connection *conn, RestServerRequestUri uri, RequestRecord *record);

    IApplicationModel *applicationModel;
    RestServerRequestProcessor *processor;
    WorkerPreparation preparation;
    std::array<Route, routeCount> routes;
    std::shared_ptr<NotingHost> notingHost;
    std::shared_ptr<ModelCalls> calls;
    std::shared_ptr<Observation> observation; // null when nobody observes
};

#endif
