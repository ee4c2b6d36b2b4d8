#include "classicserving.h"

namespace {

constexpr int tickIntervalMs = 10;

} // namespace

ClassicPipeline &ClassicPipeline::Instance()
{
    static ClassicPipeline pipeline;
    return pipeline;
}

ClassicServing::ClassicServing(QTimer *timer, const RestServerOptions &serverOptions)
    : updateTimer(timer)
    , options(serverOptions)
{}

void ClassicServing::Prepare()
{
    const RequestQueues &queues = ClassicPipeline::Instance().queues;
    DropAll(queues.requests);
    DropAll(queues.responses);
}

std::vector<const char *> ClassicServing::Settings()
{
    return CommonSettings(options);
}

IServing::RouteHandler ClassicServing::Handler(RestServerRequestUri, RouteHandler classic)
{
    return classic;
}

bool ClassicServing::Begin(mg_context *, const QVector<ProcessSocket> &)
{
    updateTimer->start(tickIntervalMs);
    return true;
}

// In this order: requests on their way are answered while the embedded server stops.
void ClassicServing::Stop(mg_context *context)
{
    mg_stop(context);
    updateTimer->stop();
}
