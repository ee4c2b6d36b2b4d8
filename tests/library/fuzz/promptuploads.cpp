#include "promptuploads.h"

#include <QStringList>

#include "fakehttpserver.h"
#include "fuzzfailure.h"
#include "observation.h"
#include "promptupload.h"
#include "requestbody.h"

namespace {

// Runs `work` on the thread of `context` and waits for its end.
template <typename Work>
void RunThere(QObject *context, Work work)
{
    QMetaObject::invokeMethod(context, work, Qt::BlockingQueuedConnection);
}

// The read in which the coding of a chunked body breaks: the first one, or the one after the first
// piece, whose buffer has grown five times by then.
int BrokenRead(const QByteArray &body)
{
    return body.size() > static_cast<int>(BodyMemory::largestBody) ? 7 : 1;
}

} // namespace

PromptUploads::PromptUploads(IApplicationModel *model)
    : application(Application())
    , host(std::make_shared<PromptHost>(model))
    , memory(std::make_shared<BodyMemory>(1))
    , watch(1)
{
    modelThread.start();
    QObject there;
    there.moveToThread(&modelThread);
    RunThere(&there, [this, &there] {
        calls = ModelCalls::Create();
        there.moveToThread(nullptr);
    });
}

PromptUploads::~PromptUploads()
{
    calls->Stop();
    modelThread.quit();
    modelThread.wait();
}

// An event loop needs an application in its process.
QCoreApplication *PromptUploads::Application()
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static QCoreApplication instance(count, arguments);
    return &instance;
}

bool PromptUploads::Take(const Body &body)
{
    mg_connection connection("POST", "/api/filemgr/v2/userfiles", body.bytes);
    connection.information.content_length =
        body.announced ? body.bytes.size() + (body.broken ? 1 : 0) : -1;
    connection.failAtRead = body.broken && !body.announced ? BrokenRead(body.bytes) : 0;
    RequestBody requestBody(&connection, memory, &watch);
    Require(requestBody.ReadFirst() == RequestBody::Taken, "there is memory for one body");
    QStringList reasons;
    bool stored = false;
    {
        ForwardedHost forwarded(calls, host);
        TransferReport report(nullptr, RequestRecord(), true, requestBody.Announced());
        PromptFileProcessor files(&forwarded, &requestBody, &report, &reasons);
        DataChunk first(requestBody.First(), !requestBody.HasMore());
        stored = files.ProcessFileUploadRequest(&first);
    }
    Require(connection.failAtRead != 0 || connection.position == body.bytes.size(),
            "a body is taken to its end");
    Require(stored || !reasons.isEmpty(), "a refusal has a reason");
    watch.Leave();
    return stored;
}
