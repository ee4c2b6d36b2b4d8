#ifndef PROMPTUPLOADS_H
#define PROMPTUPLOADS_H

#include <QByteArray>
#include <QCoreApplication>
#include <QThread>
#include <memory>

#include "bodymemory.h"
#include "connectionwatch.h"
#include "hostmodel.h"
#include "modelcalls.h"
#include "prompthost.h"

/**
 * Takes uploads as prompt serving does: on the calling thread, with a host that is asked on another
 * thread, the one of the model. The body comes from a stand-in for the embedded server.
 */
class PromptUploads
{
public:
    struct Body
    {
        QByteArray bytes;
        bool announced; // the head of the request tells its length
        bool broken;    // it ends before all of it came
    };

    /** The host is not owned, and asked by nobody else while `Take` runs. */
    explicit PromptUploads(IApplicationModel *model);
    ~PromptUploads();

    /** Takes one upload to its end; true when it is stored. */
    bool Take(const Body &body);

private:
    static QCoreApplication *Application();

    QCoreApplication *application;
    std::shared_ptr<PromptHost> host;
    std::shared_ptr<BodyMemory> memory;
    ConnectionWatch watch;
    QThread modelThread;
    std::shared_ptr<ModelCalls> calls; // made and released on the thread of the model
};

#endif
