#ifndef SERVING_H
#define SERVING_H

#include <civetweb.h>
#include <vector>

#include "processsockets.h"
#include "restserverobjects.h"
#include "restserveroptions.h"

/**
 * One way of serving: what a `RestServerModel` does between start and stop. There are two,
 * `ClassicServing` and `PromptServing`, each of which can be read alone.
 *
 * All calls come on the thread of the model, in this order: `Prepare`, `Settings`, `AddCallbacks`,
 * then, once the embedded server runs, `Handler` for each route, and `Begin`; `Stop` and
 * `LeaveHost` at the end. When the embedded server does not start, or `Begin` fails, `StartFailed`
 * is all that follows.
 */
class IServing
{
public:
    /** What the embedded server calls for a route. */
    struct RouteHandler
    {
        mg_request_handler function;
        void *data;
    };

    virtual ~IServing() = default;

    /** Drops what an earlier run left. */
    virtual void Prepare() = 0;

    /** Settings of the embedded server, names and values in turn; the texts live as long as this.
     */
    virtual std::vector<const char *> Settings() = 0;

    /** Adds to the callbacks that are zero but for `log_message`. */
    virtual void AddCallbacks(mg_callbacks *callbacks) = 0;

    /** The embedded server did not start, or runs no longer because `Begin` ended it. */
    virtual void StartFailed() {}

    /** What serves `uri`; `classic` is the static handler that the model has for it. */
    virtual RouteHandler Handler(RestServerRequestUri uri, RouteHandler classic) = 0;

    /** Begins to answer what comes to these sockets. False: it cannot, and ended the server. */
    virtual bool Begin(mg_context *context, const QVector<ProcessSocket> &listeningSockets) = 0;

    /** Stops the embedded server and answers nothing from then on. No host is called. */
    virtual void Stop(mg_context *context) = 0;

    /**
     * The last of a stop, when the model has stopped: ends what the host still counts on, and tells
     * the observer what was served last. The host may start the model again, or destroy it.
     */
    virtual void LeaveHost() {}

    /** What is left to do when the model is destroyed while it serves. No host is called. */
    virtual void Abandon(mg_context *context) = 0;
};

/** The settings that both ways of serving share, in the order in which they are passed. */
inline std::vector<const char *> CommonSettings(const RestServerOptions &options)
{
    std::vector<const char *> settings{"listening_ports", options.listeningPorts.constData(),
                                       "request_timeout_ms", "10000"};
    if (!options.errorLogFile.isEmpty()) {
        settings.insert(settings.end(), {"error_log_file", options.errorLogFile.constData()});
    }
    settings.insert(settings.end(), {"enable_auth_domain_check", "no"});
    return settings;
}

#endif
