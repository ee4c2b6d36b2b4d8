#include "restserverfiledownloadcontext.h"

#include <memory>
#include <utility>

namespace {

constexpr long long chunkHandOverWaitMs = 10000;

// False when the HTTP thread has not taken the piece before this one in time.
bool WaitUntilTaken(SharedQueue<DataChunk *> *queue)
{
    TimeStamp start = TimeStamp::GetTimeStamp();
    while (queue->size() != 0 && !TimeStamp::CheckTimeout(&start, chunkHandOverWaitMs)) {
        SharedQueue<DataChunk *>::PauseProcessor();
    }
    return !TimeStamp::CheckTimeout(&start, chunkHandOverWaitMs);
}

} // namespace

RestServerFileDownloadContext::RestServerFileDownloadContext(QString filePath, int firstOffset)
    : path(std::move(filePath))
    , offset(firstOffset)
    , model(nullptr)
{}

RestServerFileDownloadContext::~RestServerFileDownloadContext() = default;

void RestServerFileDownloadContext::Construct(IApplicationModel *applicationModel)
{
    model = applicationModel;
}

void RestServerFileDownloadContext::Shutdown() {}

void RestServerFileDownloadContext::SendExtraDownloadContent()
{
    if (model == nullptr) {
        return;
    }
    bool lastChunk = true;
    for (qint64 position = offset;; position += pieceSize) {
        bool ok = false;
        const QByteArray bytes =
            model->FileManagerModel()->ReadFileChunk(path, &ok, position, pieceSize, &lastChunk);
        const bool wasLast = lastChunk;
        auto chunk = std::make_unique<DataChunk>(bytes, wasLast);
        SharedQueue<DataChunk *> *queue = model->RestServer()->ResponseChunkQueue();
        if (!WaitUntilTaken(queue)) {
            return;
        }
        queue->push_back(chunk.release());
        if (wasLast) {
            return;
        }
    }
}
