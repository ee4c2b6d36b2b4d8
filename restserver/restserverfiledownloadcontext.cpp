#include "restserverfiledownloadcontext.h"

#include <utility>

namespace {

constexpr long long chunkHandOverWaitMs = 10000;

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

std::unique_ptr<DataChunk> RestServerFileDownloadContext::ReadPiece(qint64 position,
                                                                    bool *lastChunk) const
{
    bool ok = false;
    const QByteArray bytes =
        model->FileManagerModel()->ReadFileChunk(path, &ok, position, pieceSize, lastChunk);
    return std::make_unique<DataChunk>(bytes, *lastChunk);
}

void RestServerFileDownloadContext::SendExtraDownloadContent()
{
    if (model == nullptr) {
        return;
    }
    bool lastChunk = true;
    for (qint64 position = offset;; position += pieceSize) {
        std::unique_ptr<DataChunk> chunk = ReadPiece(position, &lastChunk);
        SharedQueue<DataChunk *> *queue = model->RestServer()->ResponseChunkQueue();
        if (!queue->WaitUntilTaken(chunkHandOverWaitMs)) {
            return;
        }
        queue->push_back(chunk.release());
        if (lastChunk) {
            return;
        }
    }
}
