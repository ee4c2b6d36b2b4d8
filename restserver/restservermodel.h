#ifndef RESTSERVERMODEL_H
#define RESTSERVERMODEL_H

#include <QObject>
#include <QVector>
#include <civetweb.h>

#include "hostmodel.h"
#include "restserveroptions.h"

class QTimer;
class RestServerRequestProcessor;
class RestServerResponseObject;
enum class RestServerRequestUri;

/**
 * The REST interface of the device, as one sub-model of the application that loads it.
 *
 * Usual order of calls, all on the Qt main thread, whose event loop must run while it serves:
 *
 *     RestServerModel server;
 *     server.Construct(&applicationModel);   // applicationModel.RestServer() returns &server
 *     server.Start();
 *     if (!server.Running()) { ... }         // port 8081 is taken
 *     application.exec();
 *     server.Stop();
 *
 * HTTP is read and written on threads of the embedded server. They never touch the application's
 * models: each request is handed to the main thread, where a timer serves it within 10 ms, and its
 * answer is handed back. One request at a time is on its way; others wait up to 10 s for their turn
 * and are then answered with status 408. While a request waits for its answer one core is busy, and
 * while a large body is transferred the main thread is.
 *
 * The HTTP threads write to Qt's log as well, so a message handler of the application must be
 * thread-safe.
 *
 * Only one may exist in a process. Its destructor does not stop the server: call `Stop` first. What
 * the constructor made, the timer excepted, is kept until the process ends.
 */
class __attribute__((visibility("default"))) RestServerModel : public QObject,
                                                               public IApplicationSubModel,
                                                               public IRestServerModel
{
    Q_OBJECT

public:
    RestServerModel();
    ~RestServerModel() override;

    /** Keeps the application's model, which must outlive the server. Once, before `Start`. */
    void Construct(IApplicationModel *model) override;

    /** Does nothing. */
    void Shutdown() override;

    /**
     * Starts to serve on port 8081, on all IPv4 addresses. Requests left over from an earlier run
     * are dropped. On failure, most often because the port is taken, it logs "Failed to start REST
     * server" and `Running` stays false. When already running it only logs so. From then on the
     * process ignores SIGPIPE.
     */
    void Start() override;

    /**
     * Stops to serve and returns when the requests in flight have ended: within 2 s when there is
     * none, after up to 20 s with a request on its way, never while a download waits for a piece
     * that nobody will send. Does nothing when not running. `Start` may follow.
     */
    void Stop() override;

    bool Running() override;

    /**
     * How to serve, from the next `Start` on; see `RestServerOptions`. Without a call it serves
     * classically.
     */
    void SetOptions(const RestServerOptions &options);

    /** The ports that are served, while running; they tell what a port of 0 became. */
    QVector<int> ListeningPorts() const;

    /** Stays the server's; see `IRestServerModel`. */
    SharedQueue<DataChunk *> *RequestChunkQueue() override;

    /** Stays the server's; see `IRestServerModel`. */
    SharedQueue<DataChunk *> *ResponseChunkQueue() override;

    /// @{
    /**
     * The handlers that the embedded server calls, on its own threads, one for each route. `cbdata`
     * is ignored. The result is the status that was meant for the request.
     */
    static int InfoHandler(mg_connection *conn, void *cbdata);
    static int WorkflowWorkordersHandler(mg_connection *conn, void *cbdata);
    static int WorkflowListHandler(mg_connection *conn, void *cbdata);
    static int WorkflowTemplatesHandler(mg_connection *conn, void *cbdata);
    static int WorkflowActiveHandler(mg_connection *conn, void *cbdata);
    static int WorkflowWorkorderByIdHandler(mg_connection *conn, void *cbdata);
    static int SyncfilesPendingFilesHandler(mg_connection *conn, void *cbdata);
    static int SyncfilesPendingFilesAllHandler(mg_connection *conn, void *cbdata);
    static int SyncfilesMetadataHandler(mg_connection *conn, void *cbdata);
    static int SyncfilesUserFilesByPathHandler(mg_connection *conn, void *cbdata);
    static int SyncfilesUserFilesHandler(mg_connection *conn, void *cbdata);
    static int FilemgrUserFilesHandler(mg_connection *conn, void *cbdata);
    static int FilemgrUserMetadataHandler(mg_connection *conn, void *cbdata);
    static int FilemgrUserFilesByPathHandler(mg_connection *conn, void *cbdata);
    static int TechInfoHandler(mg_connection *conn, void *cbdata);
    /// @}

    /** Registered for no route. */
    static int TestHandler(mg_connection *conn, void *cbdata);

    /** Passes a message of the embedded server to the Qt debug log. Returns 1: it is handled. */
    static int LogMessage(const mg_connection *conn, const char *message);

    /**
     * Takes one request through the pipeline, on a thread of the embedded server: reads its body,
     * hands it to the main thread, waits for the answer and writes it. Returns the status that was
     * meant for the request, which an answer with a body does not show.
     */
    static int HandleRequestAndSendResponse(mg_connection *conn, RestServerRequestUri uri);

    /** Answers a request whose turn did not come within 10 s. Returns 408. */
    static int ReturnHttpMutexTimeout(mg_connection *conn);

    /** Answers a request whose outstanding operations did not end. Returns 408. */
    static int ReturnHttpQueueTimeout(mg_connection *conn);

    /** Empties both chunk queues; the chunks are not deleted. */
    static void ClearChunkQueues();

public Q_SLOTS:
    /** Serves every request that is queued. Called by the timer, on the main thread. */
    void ServerUpdateTickHandler();

private:
    void RegisterRoutes();
    void ServeOneRequest();

    QTimer *updateTimer; // child of this object
    mg_callbacks callbacks;
    mg_context *context; // null before the first start
    bool running;
    IApplicationModel *applicationModel;
    RestServerRequestProcessor *requestProcessor;
    SharedQueue<DataChunk *> *requestChunkQueue;
    SharedQueue<DataChunk *> *responseChunkQueue;
};

#endif
