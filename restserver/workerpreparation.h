#ifndef WORKERPREPARATION_H
#define WORKERPREPARATION_H

#include <functional>

#include <civetweb.h>

/**
 * Has each HTTP thread prepared by the application before it serves its first request. An object
 * belongs to one run of the server, whose threads are made with it.
 */
class WorkerPreparation
{
public:
    explicit WorkerPreparation(std::function<bool()> prepareWorker);

    /** Whether the calling thread may serve; the first call on a thread prepares it. */
    bool IsReady() const;

    /** Answers a request of a thread that may not serve. Returns 503. */
    static int Refuse(mg_connection *conn);

private:
    std::function<bool()> prepare; // may be empty
};

#endif
