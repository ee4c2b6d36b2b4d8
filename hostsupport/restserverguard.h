#ifndef RESTSERVERGUARD_H
#define RESTSERVERGUARD_H

#include <QElapsedTimer>
#include <QObject>
#include <hostmodel.h>

/**
 * A REST server that recovers from late answers, and that can always be stopped.
 *
 * Put it between the application and its `RestServerModel`:
 *
 *     RestServerModel server;
 *     RestServerGuard guard(&server);
 *     server.Construct(&applicationModel);   // applicationModel.RestServer() returns &guard
 *     guard.Start();
 *     application.exec();
 *     guard.Stop();
 *
 * What it guards against:
 *
 * - A request that keeps the main thread for more than 10 s is answered with an internal time-out,
 *   and its late answer waits for the next client, whose own answer then goes to the one after, and
 *   so on. The guard sees that the event loop came back too late and runs `Stop` and `Start` before
 *   anything else, which drops what was left over. Transfers in flight at that moment break off,
 *   visibly for their clients. Long uploads and downloads do not count as late answers and do not
 * restart.
 * - A thread that waits for a piece of a download which nobody will send keeps `Stop` waiting
 *   without end. The guard releases it; its client sees a connection that broke off, not a
 *   shorter file, unless the main thread is held up for more than 50 ms on its way into the
 *   server's `Stop`: nothing tells the guard when the server has ceased to send.
 *
 * What it does not do: a client whose request was already waiting when the late answer came may get
 * that answer; the guard acts when the event loop turns. A client that sends its body slowly keeps
 * the others waiting for as long as it likes. Nested event loops inside the application's models
 * are not supported.
 *
 * Main thread only, and an application object must exist at `Start`. It owns nothing: the server
 * must outlive it.
 */
class RestServerGuard : public QObject, public IRestServerModel
{
    Q_OBJECT

public:
    /**
     * Just below the 10 s that a client's thread waits: the request may have waited for the timer
     * of the server before the event loop took it.
     */
    static constexpr int defaultAnswerLimitMs = 9900;

    /** `answerLimitMs` is the longest turn of the event loop that does not count as a late answer.
     */
    explicit RestServerGuard(IRestServerModel *guardedServer,
                             int answerLimitMs = defaultAnswerLimitMs);

    /** Starts the server and watches the event loop of the calling thread from now on. */
    void Start() override;

    /** Stops the server, also when a thread waits for a piece of a download. */
    void Stop() override;

    bool Running() override;

    // The library asks for these queues before it waits for each further piece of an upload, and
    // after it has answered a download: that is how the guard knows long transfers from late
    // answers.
    SharedQueue<DataChunk *> *RequestChunkQueue() override;
    SharedQueue<DataChunk *> *ResponseChunkQueue() override;

    /** The guarded server, whose queues can be used without telling the guard. */
    IRestServerModel *Server() const { return server; }

    /** Whether an answer given now would come too late for its client. */
    bool AnswerWouldBeLate() const;

    /** The request at hand has its answer; the rest of this turn sends its body. */
    void NoteAnswer();

    /** While true a download occupies the server, so that no answer can be late. */
    void SetStreaming(bool active) { streaming = active; }

Q_SIGNALS:
    /** The server has been stopped, by the application or for a restart. */
    void Stopped();

private:
    void WatchEventLoop();
    void EventLoopTurned();
    void Restart();
    void StartAgain();

    IRestServerModel *server;
    int answerLimit;
    QElapsedTimer waitingSince; // invalid once the request at hand has its answer
    bool late = false;          // an answer of this turn came too late
    bool streaming = false;
    bool wanted = false; // between the application's Start and Stop
    bool watching = false;
};

#endif
