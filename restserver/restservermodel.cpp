#include "restservermodel.h"

#include <QDebug>
#include <QMutex>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>

#include "restserverobjects.h"
#include "restserverrequestprocessor.h"

namespace {

constexpr int tickIntervalMs = 10;
constexpr int httpMutexWaitMs = 10000;
constexpr long long chunkHandOverWaitMs = 10000;
constexpr long long responseWaitMs = 10000;
constexpr int readSize = 5000000;

// The route handlers have no model pointer, so what couples the threads is reached through these.
// The constructor sets them, before any HTTP thread exists; a second server would take them over.
SharedQueue<RestServerRequestObject *> *requestQueue = nullptr;
SharedQueue<RestServerResponseObject *> *responseQueue = nullptr;
QMutex *httpMutex = nullptr; // held from before a body is read until its reply is written
SharedQueue<DataChunk *> *requestChunkQueueSingleton = nullptr;
SharedQueue<DataChunk *> *responseChunkQueueSingleton = nullptr;

// Address space that read buffers leave to everything else in the process.
constexpr size_t roomForOthers = size_t(256) * 1024 * 1024;

// For bodies that are read when that room is all that is left. Guarded by httpMutex.
char reserveBuffer[readSize];

template <typename T>
void DropAll(SharedQueue<T *> *queue)
{
    while (queue->size() >= 1) {
        queue->pop_front();
    }
}

// For the pages that lie wholly in a read buffer. What malloc adds behind it up to the end of its
// last page is the buffer's own.
void AdviseOnPages(char *buffer, int advice)
{
    static const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(buffer);
    const auto end = begin + (buffer == reserveBuffer ? readSize : malloc_usable_size(buffer));
    const auto firstPage = (begin + pageSize - 1) / pageSize * pageSize;
    const auto lastPage = end / pageSize * pageSize;
    if (firstPage < lastPage) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): page arithmetic
        madvise(reinterpret_cast<void *>(firstPage), lastPage - firstPage, advice);
    }
}

// Read buffers stay, and use up the address space of a 32-bit process within some 800 reads. The
// chunk that is made of a body, and the application, must be able to allocate after that.
bool IsRoomLeft()
{
    constexpr size_t size = roomForOthers + readSize;
    void *room = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) {
        return false;
    }
    munmap(room, size);
    return true;
}

char *AllocateReadBuffer()
{
    char *buffer = IsRoomLeft() ? static_cast<char *>(std::malloc(readSize)) : nullptr;
    return buffer != nullptr ? buffer : reserveBuffer;
}

// For a piece that is likely to be full: to have all pages at once takes the kernel half the time
// of a fault for each.
char *AllocateReadBufferWithPages()
{
    char *buffer = AllocateReadBuffer();
#ifdef MADV_POPULATE_WRITE
    AdviseOnPages(buffer, MADV_POPULATE_WRITE);
#endif
    return buffer;
}

// A broken connection (a negative count) ends the body. What is read is copied into `bytes`, whose
// memory is used again when nobody shares it. The read buffer stays allocated, but its pages go
// back to the kernel: it uses up address space, and one page that the allocator writes to.
DataChunk *ReadChunk(mg_connection *conn, char *buffer, QByteArray *bytes)
{
    const int count = mg_read(conn, buffer, readSize);
    bytes->resize(qMax(count, 0));
    std::copy_n(buffer, bytes->size(), bytes->data());
    AdviseOnPages(buffer, MADV_DONTNEED);
    return new DataChunk(*bytes, count < readSize); // NOLINT(clang-analyzer-unix.Malloc): stays
}

RestServerRequestMethod ParseMethod(const char *text)
{
    const QString method = QString::fromLatin1(text);
    if (method == QLatin1String("POST")) {
        return RestServerRequestMethod::Post;
    }
    if (method == QLatin1String("GET")) {
        return RestServerRequestMethod::Get;
    }
    if (method == QLatin1String("PUT")) {
        return RestServerRequestMethod::Put;
    }
    if (method == QLatin1String("PATCH")) {
        return RestServerRequestMethod::Patch;
    }
    if (method == QLatin1String("DELETE")) {
        return RestServerRequestMethod::Delete;
    }
    return RestServerRequestMethod::Unknown;
}

// While one chunk is read the one before it may wait in the queue and the one before that be
// parsed: the memory of the third one back is free, and the kernel need not prepare any anew.
void StreamRestOfBody(mg_connection *conn)
{
    std::array<QByteArray, 3> places;
    bool lastChunk = false;
    for (size_t turn = 0; !lastChunk; turn = (turn + 1) % places.size()) {
        std::unique_ptr<DataChunk> chunk(
            ReadChunk(conn, AllocateReadBufferWithPages(), &places[turn]));
        lastChunk = chunk->LastChunk();
        if (!requestChunkQueueSingleton->WaitUntilTaken(chunkHandOverWaitMs)) {
            return;
        }
        requestChunkQueueSingleton->push_back(chunk.release());
    }
}

void HandOverRequest(mg_connection *conn, RestServerRequestUri uri)
{
    const mg_request_info *information = mg_get_request_info(conn);
    const RestServerRequestMethod method = ParseMethod(information->request_method);
    QByteArray bytes;
    DataChunk *firstChunk = ReadChunk(conn, AllocateReadBuffer(), &bytes);
    const bool wholeBody = firstChunk->LastChunk();
    requestQueue->push_back(
        new RestServerRequestObject(uri, method, firstChunk, information->request_uri));
    if (!wholeBody) {
        StreamRestOfBody(conn);
    }
}

void SendChunk(mg_connection *conn, const DataChunk &chunk)
{
    mg_send_chunk(conn, chunk.Data().constData(), static_cast<unsigned int>(chunk.Data().size()));
}

// Waits for the next piece without limit: only the last one ends a download.
void SendDownload(mg_connection *conn, const RestServerResponseObject &response)
{
    mg_send_http_ok(conn, response.HeaderMimeType(), -1);
    SendChunk(conn, *response.ResponseDataChunk());
    bool lastChunk = response.ResponseDataChunk()->LastChunk();
    while (!lastChunk) {
        const std::unique_ptr<DataChunk> chunk(responseChunkQueueSingleton->front());
        responseChunkQueueSingleton->pop_front();
        SendChunk(conn, *chunk);
        lastChunk = chunk->LastChunk();
    }
    mg_send_chunk(conn, "", 0);
}

void SendReply(mg_connection *conn, const RestServerResponseObject &response)
{
    const DataChunk &body = *response.ResponseDataChunk();
    if (body.Data().isEmpty()) {
        mg_send_http_error(conn, response.ResponseCode(), "%s",
                           response.ErrorString().toUtf8().constData());
    } else if (body.LastChunk()) {
        mg_send_http_ok(conn, response.HeaderMimeType(), body.Data().size());
        mg_write(conn, body.Data().constData(), static_cast<size_t>(body.Data().size()));
    } else {
        SendDownload(conn, response);
    }
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

    requestQueue = new SharedQueue<RestServerRequestObject *>();
    responseQueue = new SharedQueue<RestServerResponseObject *>();
    httpMutex = new QMutex(QMutex::NonRecursive);

    requestChunkQueue = new SharedQueue<DataChunk *>();
    requestChunkQueueSingleton = requestChunkQueue;
    responseChunkQueue = new SharedQueue<DataChunk *>();
    responseChunkQueueSingleton = responseChunkQueue;
}

RestServerModel::~RestServerModel() = default;

void RestServerModel::Construct(IApplicationModel *model)
{
    applicationModel = model;
    requestProcessor->Construct(model);
}

void RestServerModel::Shutdown() {}

void RestServerModel::Start()
{
    if (running) {
        qDebug() << "Server already running";
        return;
    }
    DropAll(requestQueue);
    DropAll(responseQueue);

    qDebug() << "Starting REST server...";
    mg_init_library(0);
    callbacks = mg_callbacks();
    callbacks.log_message = LogMessage;
    const char *settings[] = {"listening_ports",
                              "8081",
                              "request_timeout_ms",
                              "10000",
                              "error_log_file",
                              "error.log",
                              "enable_auth_domain_check",
                              "no",
                              nullptr};
    context = mg_start(&callbacks, nullptr, settings);
    if (context == nullptr) {
        qDebug() << "Failed to start REST server";
        return;
    }
    RegisterRoutes();
    updateTimer->start(tickIntervalMs);
    qDebug() << "REST server started successfully";
    running = true;
}

void RestServerModel::RegisterRoutes()
{
    struct Route
    {
        const char *pattern;
        mg_request_handler handler;
    };
    static const Route routes[] = {
        {"/info$", InfoHandler},
        {"/api/workflow/v1/workorders$", WorkflowWorkordersHandler},
        {"/api/workflow/v1/list$", WorkflowListHandler},
        {"/api/workflow/v1/templates$", WorkflowTemplatesHandler},
        {"/api/workflow/v1/active$", WorkflowActiveHandler},
        {"/api/workflow/v1/workorder/**", WorkflowWorkorderByIdHandler},
        {"/api/syncfiles/v1/pendingfiles$", SyncfilesPendingFilesHandler},
        {"/api/syncfiles/v1/pendingfiles/all$", SyncfilesPendingFilesAllHandler},
        {"/api/syncfiles/v1/metadata/**", SyncfilesMetadataHandler},
        {"/api/syncfiles/v1/userfiles/**", SyncfilesUserFilesByPathHandler},
        {"/api/syncfiles/v1/userfiles$", SyncfilesUserFilesHandler},
        {"/api/filemgr/v2/userfiles$", FilemgrUserFilesHandler},
        {"/api/filemgr/v2/metadata/**", FilemgrUserMetadataHandler},
        {"/api/filemgr/v2/userfiles/**", FilemgrUserFilesByPathHandler},
        {"/api/v1/techinfo", TechInfoHandler},
    };
    for (const Route &route : routes) {
        mg_set_request_handler(context, route.pattern, route.handler, this);
    }
}

void RestServerModel::Stop()
{
    if (!running) {
        return;
    }
    qDebug() << "Stopping REST server";
    mg_stop(context);
    updateTimer->stop();
    running = false;
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
    while (requestQueue->size() >= 1) {
        ServeOneRequest();
    }
}

void RestServerModel::ServeOneRequest()
{
    RestServerRequestObject *request = requestQueue->front();
    requestQueue->pop_front();
    RestServerResponseObject *response = requestProcessor->ProcessRequest(request);
    delete request;

    if (!response->DownloadRequired()) {
        responseQueue->push_back(response);
    } else if (response->ResponseDataChunk()->Data().isEmpty()) {
        // An empty body is answered at once, and the response deleted while its context still runs.
        const std::unique_ptr<IDownloadContext> downloadContext = response->TakeDownloadContext();
        responseQueue->push_back(response);
        downloadContext->SendExtraDownloadContent();
    } else {
        responseQueue->push_back(response);
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
    if (!httpMutex->tryLock(httpMutexWaitMs)) {
        return ReturnHttpMutexTimeout(conn);
    }
    ClearChunkQueues();
    HandOverRequest(conn, uri);

    RestServerResponseObject *response = nullptr;
    if (!responseQueue->FrontWithTimeout(&response, responseWaitMs)) {
        mg_send_http_error(conn, 500, "%s", "{\"errorString\":\"internal timeout\"}");
        httpMutex->unlock();
        return 500;
    }
    const int code = response->ResponseCode();
    SendReply(conn, *response);
    delete response;
    httpMutex->unlock();
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

void RestServerModel::ClearChunkQueues()
{
    DropAll(requestChunkQueueSingleton);
    DropAll(responseChunkQueueSingleton);
}
