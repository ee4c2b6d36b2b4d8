#include "restservermodel.h"

#include <QDebug>
#include <QTimer>
#include <map>
#include <memory>

#include "classicobservation.h"
#include "classicserving.h"
#include "promptserving.h"
#include "restserverrequestprocessor.h"

namespace {

/** What a model has besides its fields, whose layout programs in the field were built with. */
struct Extension
{
    RestServerOptions options;
    std::shared_ptr<IServing> serving; // of the run that is, or of the last one
    QVector<int> ports;                // while running
};

// By model, on its thread. Not destroyed at the end of the process: a server may still run then.
std::map<const RestServerModel *, Extension> &Extensions()
{
    static auto &extensions = *new std::map<const RestServerModel *, Extension>();
    return extensions;
}

std::unique_ptr<IServing> MakeServing(const RestServerOptions &options, IApplicationModel *host,
                                      RestServerRequestProcessor *processor, QTimer *timer)
{
    if (options.serving == RestServerOptions::Serving::Prompt) {
        return std::make_unique<PromptServing>(host, options);
    }
    if (options.observer != nullptr || options.prepareWorker) {
        return std::make_unique<ObservedClassicServing>(host, processor, timer, options);
    }
    return std::make_unique<ClassicServing>(timer, options);
}

QVector<ProcessSocket> SocketsThatCame(const QVector<ProcessSocket> &before)
{
    QVector<ProcessSocket> came;
    for (const ProcessSocket &socket : ListeningSockets()) {
        const bool known = std::any_of(before.cbegin(), before.cend(), [&](const auto &other) {
            return other.identity == socket.identity;
        });
        if (!known) {
            came.append(socket);
        }
    }
    return came;
}

} // namespace

RestServerModel::RestServerModel()
    : callbacks()
    , context(nullptr)
    , running(false)
    , applicationModel(nullptr)
{
    updateTimer = new QTimer(this);
    updateTimer->setTimerType(Qt::CoarseTimer);
    connect(updateTimer, SIGNAL(timeout()), this, SLOT(ServerUpdateTickHandler()));

    requestProcessor = new RestServerRequestProcessor();

    ClassicPipeline &pipeline = ClassicPipeline::Instance();
    pipeline.queues.requests = new SharedQueue<RestServerRequestObject *>();
    pipeline.queues.responses = new SharedQueue<RestServerResponseObject *>();
    pipeline.httpMutex = new QMutex(QMutex::NonRecursive);

    requestChunkQueue = new SharedQueue<DataChunk *>();
    pipeline.queues.requestChunks = requestChunkQueue;
    responseChunkQueue = new SharedQueue<DataChunk *>();
    pipeline.queues.responseChunks = responseChunkQueue;
}

RestServerModel::~RestServerModel()
{
    const auto extension = Extensions().find(this);
    if (extension == Extensions().end()) {
        return;
    }
    if (running) {
        extension->second.serving->Abandon(context);
    }
    Extensions().erase(extension);
}

void RestServerModel::Construct(IApplicationModel *model)
{
    applicationModel = model;
    requestProcessor->Construct(model);
}

void RestServerModel::Shutdown() {}

void RestServerModel::SetOptions(const RestServerOptions &options)
{
    Extensions()[this].options = options;
}

QVector<int> RestServerModel::ListeningPorts() const
{
    return running ? Extensions()[this].ports : QVector<int>();
}

void RestServerModel::Start()
{
    if (running) {
        qDebug() << "Server already running";
        return;
    }
    Extension &extension = Extensions()[this];
    extension.serving =
        MakeServing(extension.options, applicationModel, requestProcessor, updateTimer);
    IServing &serving = *extension.serving;
    serving.Prepare();

    qDebug() << "Starting REST server...";
    mg_init_library(0);
    callbacks = mg_callbacks();
    callbacks.log_message = LogMessage;
    serving.AddCallbacks(&callbacks);
    std::vector<const char *> settings = serving.Settings();
    settings.push_back(nullptr);
    const QVector<ProcessSocket> socketsBefore = ListeningSockets();
    context = mg_start(&callbacks, nullptr, settings.data());
    if (context == nullptr) {
        qDebug() << "Failed to start REST server";
        serving.StartFailed();
        return;
    }
    const QVector<ProcessSocket> sockets = SocketsThatCame(socketsBefore);
    extension.ports.clear();
    for (const ProcessSocket &socket : sockets) {
        extension.ports.append(socket.localPort);
    }
    RegisterRoutes();
    if (!serving.Begin(context, sockets)) {
        context = nullptr;
        serving.StartFailed();
        return;
    }
    qDebug() << "REST server started successfully";
    running = true;
}

void RestServerModel::RegisterRoutes()
{
    using Uri = RestServerRequestUri;
    struct Route
    {
        const char *pattern;
        Uri uri;
        mg_request_handler handler;
    };
    static const Route routes[] = {
        {"/info$", Uri::Info, InfoHandler},
        {"/api/workflow/v1/workorders$", Uri::WorkflowWorkorders, WorkflowWorkordersHandler},
        {"/api/workflow/v1/list$", Uri::WorkflowList, WorkflowListHandler},
        {"/api/workflow/v1/templates$", Uri::WorkflowTemplates, WorkflowTemplatesHandler},
        {"/api/workflow/v1/active$", Uri::WorkflowActive, WorkflowActiveHandler},
        {"/api/workflow/v1/workorder/**", Uri::WorkflowWorkorderById, WorkflowWorkorderByIdHandler},
        {"/api/syncfiles/v1/pendingfiles$", Uri::SyncfilesPendingFiles,
         SyncfilesPendingFilesHandler},
        {"/api/syncfiles/v1/pendingfiles/all$", Uri::SyncfilesPendingFilesAll,
         SyncfilesPendingFilesAllHandler},
        {"/api/syncfiles/v1/metadata/**", Uri::SyncfilesMetadata, SyncfilesMetadataHandler},
        {"/api/syncfiles/v1/userfiles/**", Uri::SyncfilesUserFilesByPath,
         SyncfilesUserFilesByPathHandler},
        {"/api/syncfiles/v1/userfiles$", Uri::SyncfilesUserFiles, SyncfilesUserFilesHandler},
        {"/api/filemgr/v2/userfiles$", Uri::FilemgrUserFiles, FilemgrUserFilesHandler},
        {"/api/filemgr/v2/metadata/**", Uri::FilemgrUserMetadata, FilemgrUserMetadataHandler},
        {"/api/filemgr/v2/userfiles/**", Uri::FilemgrUserFilesByPath,
         FilemgrUserFilesByPathHandler},
        {"/api/v1/techinfo", Uri::TechInfo, TechInfoHandler},
    };
    IServing &serving = *Extensions()[this].serving;
    for (const Route &route : routes) {
        const IServing::RouteHandler handler = serving.Handler(route.uri, {route.handler, this});
        mg_set_request_handler(context, route.pattern, handler.function, handler.data);
    }
}

void RestServerModel::Stop()
{
    if (!running) {
        return;
    }
    qDebug() << "Stopping REST server";
    // What the host is told last may make it start anew, or destroy this object.
    const std::shared_ptr<IServing> serving = Extensions()[this].serving;
    serving->Stop(context);
    running = false;
    serving->LeaveHost();
}

bool RestServerModel::Running()
{
    return running;
}

SharedQueue<DataChunk *> *RestServerModel::RequestChunkQueue()
{
    return requestChunkQueue;
}

SharedQueue<DataChunk *> *RestServerModel::ResponseChunkQueue()
{
    return responseChunkQueue;
}

void RestServerModel::ServerUpdateTickHandler()
{
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the constructor made the queues
    while (ClassicPipeline::Instance().queues.requests->size() >= 1) {
        ServeOneRequest();
    }
}

void RestServerModel::ServeOneRequest()
{
    const RequestQueues &queues = ClassicPipeline::Instance().queues;
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the constructor made the queues
    RestServerRequestObject *request = queues.requests->front();
    queues.requests->pop_front();
    RestServerResponseObject *response = requestProcessor->ProcessRequest(request);
    delete request;

    if (!response->DownloadRequired()) {
        queues.responses->push_back(response);
    } else if (response->ResponseDataChunk()->Data().isEmpty()) {
        // An empty body is answered at once, and the response deleted while its context still runs.
        const std::unique_ptr<IDownloadContext> downloadContext = response->TakeDownloadContext();
        queues.responses->push_back(response);
        downloadContext->SendExtraDownloadContent();
    } else {
        queues.responses->push_back(response);
        response->Download();
    }
}

int RestServerModel::InfoHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::Info);
}

int RestServerModel::WorkflowWorkordersHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::WorkflowWorkorders);
}

int RestServerModel::WorkflowListHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::WorkflowList);
}

int RestServerModel::WorkflowTemplatesHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::WorkflowTemplates);
}

int RestServerModel::WorkflowActiveHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::WorkflowActive);
}

int RestServerModel::WorkflowWorkorderByIdHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::WorkflowWorkorderById);
}

int RestServerModel::SyncfilesPendingFilesHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::SyncfilesPendingFiles);
}

int RestServerModel::SyncfilesPendingFilesAllHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::SyncfilesPendingFilesAll);
}

int RestServerModel::SyncfilesMetadataHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::SyncfilesMetadata);
}

int RestServerModel::SyncfilesUserFilesByPathHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::SyncfilesUserFilesByPath);
}

int RestServerModel::SyncfilesUserFilesHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::SyncfilesUserFiles);
}

int RestServerModel::FilemgrUserFilesHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::FilemgrUserFiles);
}

int RestServerModel::FilemgrUserMetadataHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::FilemgrUserMetadata);
}

int RestServerModel::FilemgrUserFilesByPathHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::FilemgrUserFilesByPath);
}

int RestServerModel::TechInfoHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::TechInfo);
}

int RestServerModel::TestHandler(mg_connection *conn, void *)
{
    return HandleRequestAndSendResponse(conn, RestServerRequestUri::Test);
}

int RestServerModel::LogMessage(const mg_connection *, const char *message)
{
    qDebug() << "Civet Log Message: " << message;
    return 1;
}

int RestServerModel::HandleRequestAndSendResponse(mg_connection *conn, RestServerRequestUri uri)
{
    ClassicPipeline &pipeline = ClassicPipeline::Instance();
    // Not a guard: an exception ends the process, and until then the mutex must keep others out.
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the constructor made the mutex
    if (!pipeline.httpMutex->tryLock(ClassicPipeline::mutexWaitMs)) {
        return ReturnHttpMutexTimeout(conn);
    }
    ClearChunkQueues();
    HandOverRequest(conn, uri, pipeline.queues);

    RestServerResponseObject *response = nullptr;
    if (!pipeline.queues.responses->FrontWithTimeout(&response, ClassicPipeline::responseWaitMs)) {
        // The request is not withdrawn: the answer that comes too late goes to the next client.
        mg_send_http_error(conn, 500, "%s", "{\"errorString\":\"internal timeout\"}");
        pipeline.httpMutex->unlock();
        return 500;
    }
    const int code = response->ResponseCode();
    SendReply(conn, *response, pipeline.queues);
    delete response;
    pipeline.httpMutex->unlock();
    return code;
}

int RestServerModel::ReturnHttpMutexTimeout(mg_connection *conn)
{
    qDebug() << "Failed to unlock mutex for URI " << mg_get_request_info(conn)->request_uri;
    mg_send_http_error(conn, 408, "Request timed out waiting on other requests");
    return 408;
}

int RestServerModel::ReturnHttpQueueTimeout(mg_connection *conn)
{
    qDebug() << "Failed to get queue item URI " << mg_get_request_info(conn)->request_uri;
    mg_send_http_error(conn, 408, "Request timed out waiting on outstanding operations");
    return 408;
}

// Chunks of a transfer that broke off. They are not deleted: who pushed them may still look at
// them.
void RestServerModel::ClearChunkQueues()
{
    const RequestQueues &queues = ClassicPipeline::Instance().queues;
    DropAll(queues.requestChunks);
    DropAll(queues.responseChunks);
}
