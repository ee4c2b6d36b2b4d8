#ifndef RESTSERVEROPTIONS_H
#define RESTSERVEROPTIONS_H

#include <QByteArray>
#include <QList>
#include <functional>

class IRequestObserver;

/**
 * How a `RestServerModel` serves. Without options it serves classically, on port 8081.
 *
 *     RestServerModel server;
 *     server.SetOptions(RestServerOptions::Prompt());
 *     server.Construct(&applicationModel);
 *     server.Start();
 *
 * Classic serving answers one request at a time, at most 100 in a second, from a 10 ms timer; while
 * a large body is transferred the main thread does nothing else, and a client that is slow keeps
 * all others out. Prompt serving answers on the same wire at once, transfers files beside other
 * requests on the HTTP threads, and shuts down connections that hold it up. New applications choose
 * prompt serving; classic serving is for those that must behave as devices in the field do.
 *
 * A plain value.
 */
struct RestServerOptions
{
    /** The two ways of serving. */
    enum class Serving
    {
        Classic, ///< one request at a time, from a timer
        Prompt   ///< at once, with transfers beside each other
    };

    /** Which of the two it is. */
    Serving serving = Serving::Classic;

    /**
     * Where to listen, as the embedded server takes it: "8081", "127.0.0.1:8081", several with
     * commas between them; "0" is a free port, which `RestServerModel::ListeningPorts` tells.
     */
    QByteArray listeningPorts = "8081";

    /** Where the embedded server notes its own errors; empty: nowhere. */
    QByteArray errorLogFile = "error.log";

    /** Is told of each request after its answer. Not owned; must outlive the server's run. */
    IRequestObserver *observer = nullptr;

    /**
     * Called once on each HTTP thread, in its first request: to confine the thread, or to name it.
     * False: the thread serves nothing, and its requests are answered with status 503.
     */
    std::function<bool()> prepareWorker;

    /**
     * Prompt serving only: web pages whose requests are served besides those of the device's own
     * host, such as "https://bench.example". "*" stands for any. Classic serving takes all.
     */
    QList<QByteArray> allowedOrigins;

    /** These defaults with prompt serving. */
    static RestServerOptions Prompt()
    {
        RestServerOptions options;
        options.serving = Serving::Prompt;
        return options;
    }
};

#endif
