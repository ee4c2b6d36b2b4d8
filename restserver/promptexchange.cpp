#include "promptexchange.h"

#include <QDebug>
#include <malloc.h>
#include <strings.h>

#include "jsonlength.h"
#include "jsonsyntax.h"
#include "promptdownload.h"
#include "promptreply.h"
#include "promptupload.h"
#include "requestexchange.h"
#include "restservermodel.h"

namespace {

constexpr int largeAnswer = 1024 * 1024; // whose memory is given back at once
constexpr qint64 largestEcho = qint64(16) * 1024 * 1024;

// A download has one piece on its way and the next one at hand.
qint64 MemoryOf(const RestServerResponseObject &response)
{
    return IsDownload(response) ? qint64(2) * RestServerFileDownloadContext::pieceSize
                                : response.ResponseDataChunk()->Data().size();
}

// The host and port of an address such as "http://device:8081".
QByteArray Authority(const QByteArray &origin)
{
    const int scheme = origin.indexOf("://");
    return scheme < 0 ? QByteArray() : origin.mid(scheme + 3).toLower();
}

} // namespace

PromptExchange::PromptExchange(const PromptServices &promptServices, mg_connection *conn,
                               RestServerRequestUri uri)
    : services(promptServices)
    , connection(conn)
    , information(*mg_get_request_info(conn))
    , route(uri)
    , method(ParseMethod(information.request_method))
    , begun(std::chrono::steady_clock::now())
{
    services.watch->Identify(PeerName(information.remote_addr, information.remote_port));
    if (services.observation) {
        record = BeginRecord(information);
    }
}

int PromptExchange::Run()
{
    const int code = Answer();
    services.watch->Answered();
    if (services.observation) {
        EndRecord(begun, &record);
        services.observation->Served(record);
    }
    return code;
}

int PromptExchange::Answer()
{
    if (IsForeignPage()) {
        record.reports.append(QStringLiteral("the page that asks is not of this device"));
        return SendError(403, "Requests from other web pages are not allowed");
    }
    if (AsksForLeave()) {
        return GrantLeave();
    }
    RequestBody body(connection, services.memory, services.watch);
    if (body.ReadFirst() == RequestBody::NoMemory) {
        return SendTimeout();
    }
    echo = EchoOf(body);
    if (echo > largestEcho) {
        body.DropRest();
        return SendError(413, "The request is nested too deeply to be answered");
    }
    if (IsParsed() && RepeatsKeyOfJson(body.First())) {
        body.DropRest();
        return SendError(400, "An object of the request has a key twice");
    }
    return IsUpload() ? AnswerUpload(&body) : AnswerByHandlers(&body);
}

const char *PromptExchange::Header(const char *name) const
{
    for (int i = 0; i < information.num_headers; ++i) {
        if (strcasecmp(information.http_headers[i].name, name) == 0) {
            return information.http_headers[i].value;
        }
    }
    return nullptr;
}

// A browser sends the requests of any page that it shows, but says where the page came from.
bool PromptExchange::IsForeignPage() const
{
    const QByteArray origin = Header("Origin");
    if (origin.isEmpty() || services.allowedOrigins.contains("*") ||
        services.allowedOrigins.contains(origin)) {
        return false;
    }
    const QByteArray host = Header("Host");
    return host.isEmpty() || Authority(origin) != host.toLower();
}

// A browser asks for leave before a page of another origin may change something.
bool PromptExchange::AsksForLeave() const
{
    return qstrcmp(information.request_method, "OPTIONS") == 0 && Header("Origin") != nullptr &&
           Header("Access-Control-Request-Method") != nullptr;
}

int PromptExchange::GrantLeave()
{
    const QByteArray headers = Header("Access-Control-Request-Headers");
    QByteArray answer = "HTTP/1.1 200 OK\r\nAccess-Control-Allow-Origin: *\r\n"
                        "Access-Control-Allow-Methods: *\r\n";
    if (!headers.isEmpty()) {
        answer += "Access-Control-Allow-Headers: " + headers + "\r\n";
    }
    answer += "Content-Length: 0\r\nConnection: close\r\n\r\n";
    mg_write(connection, answer.constData(), static_cast<size_t>(answer.size()));
    record.status = 200;
    return 200;
}

bool PromptExchange::IsUpload() const
{
    return method == RestServerRequestMethod::Post &&
           (route == RestServerRequestUri::SyncfilesUserFiles ||
            route == RestServerRequestUri::FilemgrUserFiles);
}

// The bodies of all other requests do not count, whatever they hold.
bool PromptExchange::IsParsed() const
{
    return (method == RestServerRequestMethod::Put &&
            route == RestServerRequestUri::WorkflowActive) ||
           (method == RestServerRequestMethod::Post &&
            (route == RestServerRequestUri::WorkflowWorkorders ||
             route == RestServerRequestUri::TechInfo));
}

// Whoever sets the active work order gets back all that was sent, indented.
qint64 PromptExchange::EchoOf(const RequestBody &body) const
{
    return route == RestServerRequestUri::WorkflowActive ? IndentedJsonLength(body.First()) : 0;
}

// The others have short answers, and go on whatever slow clients hold.
bool PromptExchange::MayHaveLargeAnswer() const
{
    if (echo > largeAnswer) {
        return true;
    }
    return method == RestServerRequestMethod::Get && route != RestServerRequestUri::Info &&
           route != RestServerRequestUri::WorkflowActive &&
           route != RestServerRequestUri::SyncfilesMetadata &&
           route != RestServerRequestUri::FilemgrUserMetadata;
}

std::unique_ptr<RestServerRequestObject> PromptExchange::MakeRequest(const RequestBody &body) const
{
    return std::make_unique<RestServerRequestObject>(
        route, method, new DataChunk(body.First(), !body.HasMore()), information.request_uri);
}

int PromptExchange::AnswerByHandlers(RequestBody *body)
{
    const auto question = std::make_shared<Question>(services.answers);
    question->request = MakeRequest(*body);
    question->body = body->Memory();
    body->Release();
    body->DropRest();
    record.received = body->Received();
    const auto turn = std::make_shared<AnswerMemory::Turn>(services.answers);
    ModelCalls::Condition mayBegin;
    if (MayHaveLargeAnswer()) {
        mayBegin = [turn] { return turn->HasCome(); };
    }
    const ModelCalls::Outcome outcome = services.calls->Wait(services.calls->Post(
        [question, turn, handlers = services.handlers, host = services.host] {
            if (turn->IsRefused()) {
                return;
            }
            host->Reporter().TakeNotes(); // of uploads, which keep their own
            question->response.reset(handlers->Answer(question->request.get()));
            question->answer.Hold(MemoryOf(*question->response));
            question->reports = host->Reporter().TakeNotes();
            question->request.reset();
            question->body.reset(); // others need it while a slow client reads the answer
        },
        std::move(mayBegin)));
    if (outcome != ModelCalls::Done) {
        return SendFailure(outcome);
    }
    if (!question->response) {
        return SendTimeout();
    }
    record.reports = question->reports;
    return Send(std::move(question->response));
}

int PromptExchange::AnswerUpload(RequestBody *body)
{
    ForwardedHost host(services.calls, services.host);
    TransferReport report(services.observation.get(), record, true, body->Announced());
    PromptFileProcessor files(&host, body, &report, &record.reports);
    UploadRequestProcessor handlers(&host, &files);
    const std::unique_ptr<RestServerRequestObject> request = MakeRequest(*body);
    std::unique_ptr<RestServerResponseObject> response(handlers.ProcessRequest(request.get()));
    record.received = body->Received();
    record.reports = host.notes + record.reports;
    const bool stored = response->ResponseCode() == 200;
    if (!stored && host.Outcome() != ModelCalls::Done) {
        return SendFailure(host.Outcome());
    }
    return Send(std::move(response));
}

int PromptExchange::Send(std::unique_ptr<RestServerResponseObject> response)
{
    const int code = response->ResponseCode();
    if (services.observation) {
        NoteAnswer(*response, &record);
    }
    services.watch->Holds(WatchedConnection::OfAnswers);
    if (IsDownload(*response)) {
        SendDownload(std::move(response));
        return code;
    }
    const bool large = response->ResponseDataChunk()->Data().size() > largeAnswer;
    {
        const ConnectionWatch::Waiting waiting(services.watch);
        record.sent = SendReplyAtOnce(connection, *response);
    }
    response.reset();
    if (large) {
        malloc_trim(0);
    }
    return code;
}

void PromptExchange::SendDownload(std::unique_ptr<RestServerResponseObject> response)
{
    const std::unique_ptr<IDownloadContext> owned = response->TakeDownloadContext();
    if (const auto *context = dynamic_cast<WatchedFile *>(owned.get())) {
        PromptDownload(services, connection, *context, &record).Send(std::move(response));
    }
}

int PromptExchange::SendFailure(ModelCalls::Outcome outcome)
{
    switch (outcome) {
    case ModelCalls::NotBegun:
        return SendTimeout();
    case ModelCalls::TooLong:
        return SendError(500, "{\"errorString\":\"internal timeout\"}");
    case ModelCalls::Stopped:
    case ModelCalls::Done:
        break;
    }
    return 500; // the connection is shut down already
}

int PromptExchange::SendTimeout()
{
    if (services.observation) {
        NoteError(408, "Request timed out waiting on other requests", &record);
    }
    return RestServerModel::ReturnHttpMutexTimeout(connection);
}

int PromptExchange::SendError(int status, const char *text)
{
    if (services.observation) {
        NoteError(status, text, &record);
    }
    mg_send_http_error(connection, status, "%s", text);
    return status;
}
