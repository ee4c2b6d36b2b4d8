#include "classicobservation.h"

#include "restservermodel.h"
#include "restserverrequestprocessor.h"

ObservedClassicServing::ObservedClassicServing(IApplicationModel *host,
                                               RestServerRequestProcessor *requestProcessor,
                                               QTimer *timer,
                                               const RestServerOptions &serverOptions)
    : ClassicServing(timer, serverOptions)
    , applicationModel(host)
    , processor(requestProcessor)
    , preparation(serverOptions.prepareWorker)
    , notingHost(std::make_shared<NotingHost>(host))
    , calls(ModelCalls::Create())
{
    for (size_t i = 0; i < routes.size(); ++i) {
        routes[i] = {this, static_cast<RestServerRequestUri>(i)};
    }
    if (serverOptions.observer != nullptr) {
        observation = std::make_shared<Observation>(serverOptions.observer, calls);
    }
}

void ObservedClassicServing::Prepare()
{
    ClassicServing::Prepare();
    processor->Rewire(notingHost.get());
}

IServing::RouteHandler ObservedClassicServing::Handler(RestServerRequestUri uri, RouteHandler)
{
    return {Serve, &routes.at(static_cast<size_t>(uri))};
}

void ObservedClassicServing::StartFailed()
{
    processor->Rewire(applicationModel);
}

void ObservedClassicServing::Stop(mg_context *context)
{
    ClassicServing::Stop(context);
    calls->Stop();
    processor->Rewire(applicationModel);
}

void ObservedClassicServing::LeaveHost()
{
    if (observation) {
        observation->TellRest();
    }
}

void ObservedClassicServing::Abandon(mg_context *context)
{
    ClassicServing::Stop(context);
    calls->Stop();
    if (observation) {
        observation->Stop();
    }
}

int ObservedClassicServing::Serve(mg_connection *conn, void *data)
{
    const auto *route = static_cast<Route *>(data);
    ObservedClassicServing &serving = *route->serving;
    if (!serving.preparation.IsReady()) {
        return WorkerPreparation::Refuse(conn);
    }
    return serving.observation ? serving.ServeNoted(conn, route->uri)
                               : RestServerModel::HandleRequestAndSendResponse(conn, route->uri);
}

int ObservedClassicServing::ServeNoted(mg_connection *conn, RestServerRequestUri uri)
{
    const auto begun = std::chrono::steady_clock::now();
    RequestRecord record = BeginRecord(*mg_get_request_info(conn));
    const int code = Exchange(conn, uri, &record);
    EndRecord(begun, &record);
    observation->Served(record);
    return code;
}

// The steps of RestServerModel::HandleRequestAndSendResponse, with what they tell written down.
int ObservedClassicServing::Exchange(mg_connection *conn, RestServerRequestUri uri,
                                     RequestRecord *record)
{
    ClassicPipeline &pipeline = ClassicPipeline::Instance();
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the constructor made the mutex
    if (!pipeline.httpMutex->tryLock(ClassicPipeline::mutexWaitMs)) {
        NoteError(408, "Request timed out waiting on other requests", record);
        return RestServerModel::ReturnHttpMutexTimeout(conn);
    }
    RestServerModel::ClearChunkQueues();
    record->received = HandOverRequest(conn, uri, pipeline.queues);

    RestServerResponseObject *response = nullptr;
    if (!pipeline.queues.responses->FrontWithTimeout(&response, ClassicPipeline::responseWaitMs)) {
        constexpr char text[] = "{\"errorString\":\"internal timeout\"}";
        NoteError(500, text, record);
        mg_send_http_error(conn, 500, "%s", text);
        pipeline.httpMutex->unlock();
        return 500;
    }
    const int code = response->ResponseCode();
    NoteAnswer(*response, record);
    record->sent = SendReply(conn, *response, pipeline.queues);
    record->reports = notingHost->Reporter().TakeNotes();
    delete response;
    pipeline.httpMutex->unlock();
    return code;
}
