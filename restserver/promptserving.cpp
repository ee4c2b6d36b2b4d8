#include "promptserving.h"

#include <QDebug>
#include <atomic>
#include <cstring>
#include <mutex>

#include "restservermodel.h"

namespace {

// Enough for many slow clients beside quick ones; in a small address space their stacks count.
constexpr size_t httpThreads = sizeof(void *) == 8 ? 100 : 50;
constexpr const char *httpThreadsText = sizeof(void *) == 8 ? "100" : "50";

// The callbacks of a connection carry no pointer of ours. One server runs in a process.
std::atomic<ConnectionWatch *> currentWatch{nullptr};

// What the embedded server logged first, which tells why it did not start.
std::mutex messageMutex;
QByteArray firstMessage; // guarded by messageMutex

// The embedded server goes on with the threads that it got, and only logs that.
std::atomic<bool> threadIsMissing{false};

bool TellsOfMissingThread(const char *message)
{
    return std::strstr(message, "Cannot start worker thread") != nullptr;
}

} // namespace

PromptServing::PromptServing(IApplicationModel *host, const RestServerOptions &serverOptions)
    : options(serverOptions)
    , preparation(options.prepareWorker)
    , watch(httpThreads)
{
    for (size_t i = 0; i < routes.size(); ++i) {
        routes[i] = {this, static_cast<RestServerRequestUri>(i)};
    }
    services.allowedOrigins = options.allowedOrigins;
    services.calls = ModelCalls::Create();
    services.host = std::make_shared<PromptHost>(host);
    services.handlers = std::make_shared<PromptHandlers>(services.host.get());
    services.memory = std::make_shared<BodyMemory>(httpThreads);
    services.answers = std::make_shared<AnswerMemory>();
    watch.SetScarcity(WatchedConnection::OfBodies,
                      [memory = services.memory] { return memory->IsScarce(); });
    watch.SetScarcity(WatchedConnection::OfAnswers,
                      [answers = services.answers] { return !answers->HasRoom(); });
    if (options.observer != nullptr) {
        services.observation = std::make_shared<Observation>(options.observer, services.calls);
    }
    services.watch = &watch;
}

PromptServing::~PromptServing()
{
    ConnectionWatch *own = &watch;
    currentWatch.compare_exchange_strong(own, nullptr); // unless another run has set its own
}

std::vector<const char *> PromptServing::Settings()
{
    std::vector<const char *> settings = CommonSettings(options);
    settings.insert(settings.end(), {"num_threads", httpThreadsText, "tcp_nodelay", "1"});
    // Without methods the embedded server answers no preflight itself, which would allow any page.
    settings.insert(settings.end(), {"access_control_allow_methods", ""});
    return settings;
}

void PromptServing::AddCallbacks(mg_callbacks *callbacks)
{
    currentWatch = &watch;
    firstMessage.clear();
    threadIsMissing = false;
    callbacks->log_message = KeepMessage;
    callbacks->init_connection = ConnectionBegins;
    callbacks->connection_closed = ConnectionEnds;
}

IServing::RouteHandler PromptServing::Handler(RestServerRequestUri uri, RouteHandler)
{
    return {Serve, &routes.at(static_cast<size_t>(uri))};
}

void PromptServing::StartFailed()
{
    qWarning("The REST server cannot listen on %s: %s", options.listeningPorts.constData(),
             firstMessage.constData());
}

// With fewer threads than it counts on, the watch would let slow clients take all of them.
bool PromptServing::Begin(mg_context *context, const QVector<ProcessSocket> &listeningSockets)
{
    if (!watch.Start(listeningSockets)) {
        KeepMessage(nullptr, "cannot start a thread");
    } else if (!threadIsMissing) {
        return true;
    }
    Abandon(context);
    return false;
}

void PromptServing::Stop(mg_context *context)
{
    EndThreads(context);
}

void PromptServing::LeaveHost()
{
    if (services.observation) {
        services.observation->TellRest();
    }
    services.host->Storage().EndAll();
}

int PromptServing::KeepMessage(const mg_connection *conn, const char *message)
{
    {
        const std::lock_guard<std::mutex> lock(messageMutex);
        if (firstMessage.isEmpty()) {
            firstMessage = message;
        }
        threadIsMissing = threadIsMissing || TellsOfMissingThread(message);
    }
    return RestServerModel::LogMessage(conn, message);
}

void PromptServing::Abandon(mg_context *context)
{
    EndThreads(context);
    if (services.observation) {
        services.observation->Stop();
    }
}

// Whoever waits is woken up first; then no thread of the embedded server has anything to wait for.
void PromptServing::EndThreads(mg_context *context)
{
    services.calls->Stop();
    services.memory->Stop();
    watch.ShutDownAll();
    mg_stop(context);
    watch.End();
}

int PromptServing::Serve(mg_connection *conn, void *data)
{
    const auto *route = static_cast<Route *>(data);
    PromptServing &serving = *route->serving;
    if (!serving.preparation.IsReady()) {
        return WorkerPreparation::Refuse(conn);
    }
    return PromptExchange(serving.services, conn, route->uri).Run();
}

int PromptServing::ConnectionBegins(const mg_connection *, void **)
{
    if (ConnectionWatch *watch = currentWatch) {
        watch->Enter();
    }
    return 0;
}

void PromptServing::ConnectionEnds(const mg_connection *)
{
    if (ConnectionWatch *watch = currentWatch) {
        watch->Leave();
    }
}
