#include "restserverfiledownloadcontext.h"

#include <utility>

namespace {

constexpr long long pieceHandOverWaitMs = 10000;

} // namespace

RestServerFileDownloadContext::RestServerFileDownloadContext(QString filePath, int firstOffset)
    : path(std::move(filePath))
    , offset(firstOffset)
    , applicationModel(nullptr)
{}

RestServerFileDownloadContext::~RestServerFileDownloadContext() = default;

void RestServerFileDownloadContext::Construct(IApplicationModel *model)
{
    applicationModel = model;
}

void RestServerFileDownloadContext::Shutdown() {}

std::unique_ptr<DataChunk> RestServerFileDownloadContext::ReadPiece(qint64 position,
                                                                    bool *lastChunk) const
{
    bool ok = false; // not asked: the status is on its way, and nothing but an end can be told
    const QByteArray bytes = applicationModel->FileManagerModel()->ReadFileChunk(
        path, &ok, position, pieceSize, lastChunk);
    return std::make_unique<DataChunk>(bytes, *lastChunk);
}

void RestServerFileDownloadContext::SendExtraDownloadContent()
{
    if (applicationModel == nullptr) {
        return;
    }
    // Not set anew for each piece: a host that says nothing of one goes on as it did before.
    bool lastChunk = true;
    for (qint64 position = offset;; position += pieceSize) {
        std::unique_ptr<DataChunk> chunk = ReadPiece(position, &lastChunk);
        SharedQueue<DataChunk *> *queue = applicationModel->RestServer()->ResponseChunkQueue();
        if (!queue->WaitUntilTaken(pieceHandOverWaitMs)) {
            return; // this chunk goes, and the HTTP thread goes on waiting for it
        }
        // From here on the HTTP thread may delete this object, if it now has the last chunk.
        queue->push_back(chunk.release());
        if (lastChunk) {
            return;
        }
    }
}
