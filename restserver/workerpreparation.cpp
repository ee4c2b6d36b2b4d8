#include "workerpreparation.h"

#include <utility>

namespace {

struct Thread
{
    bool prepared = false;
    bool ready = false;
};

thread_local Thread ownThread;

} // namespace

WorkerPreparation::WorkerPreparation(std::function<bool()> prepareWorker)
    : prepare(std::move(prepareWorker))
{}

bool WorkerPreparation::IsReady() const
{
    if (!prepare) {
        return true;
    }
    if (!ownThread.prepared) {
        ownThread.prepared = true;
        ownThread.ready = prepare();
    }
    return ownThread.ready;
}

int WorkerPreparation::Refuse(mg_connection *conn)
{
    mg_send_http_error(conn, 503, "%s", "The device cannot serve requests");
    return 503;
}
