#include "restserverfileprocessor.h"

#include <QDebug>
#include <memory>

#include "restserverfilecallbackhandler.h"
#include "restserverfiledownloadcontext.h"
#include "storageaccess.h"
#include "userfilespath.h"

namespace {

constexpr char fileProcessorSource[] = "restserverfileprocessor";
constexpr long long chunkWaitMs = 10000;

// Hosts match on the source and the line of a report, so these are stable and do not move with the
// code.
constexpr int nullUploadChunkLine = 96;
constexpr int missingChunkLine = 139;
constexpr int nullDownloadChunkLine = 169;

// What the parser's callbacks reach, which get no object along. One is enough for the process, as
// one upload at a time goes this way. Main thread only.
RestServerFileCallbackHandler *uploadHandler = nullptr;

void Execute(multipart_parser *parser, const QByteArray &data)
{
    // A malformed body only stops producing events; the upload handler's verdict tells.
    multipart_parser_execute(parser, data.constData(), static_cast<size_t>(data.size()));
    uploadHandler->NotifyPieceEnd();
}

} // namespace

RestServerFileProcessor::RestServerFileProcessor()
    : callbackHandler(nullptr)
    , applicationModel(nullptr)
{}

void RestServerFileProcessor::Construct(IApplicationModel *model)
{
    applicationModel = model;
    // Never deleted: the callbacks may be used as long as the process lives.
    callbackHandler = new RestServerFileCallbackHandler();
    callbackHandler->Construct(model);
    uploadHandler = callbackHandler;
}

void RestServerFileProcessor::Shutdown() {}

void RestServerFileProcessor::Rewire(IApplicationModel *model)
{
    applicationModel = model;
    callbackHandler->Construct(model);
}

bool RestServerFileProcessor::CheckFilePath(QString path)
{
    return IsUserFilesPath(path, applicationModel->StorageModel());
}

int RestServerFileProcessor::FindBoundaryLength(const QByteArray *data)
{
    return data != nullptr ? qMax(data->indexOf('\r'), 0) : 0;
}

bool RestServerFileProcessor::ProcessFileUploadRequest(DataChunk *firstChunk)
{
    if (firstChunk == nullptr) {
        Report(QStringLiteral("Chunk null pointer"), nullUploadChunkLine);
        return false;
    }
    IStorageModel *storage = applicationModel->StorageModel();
    if (!storage->IsStorageAvailable()) {
        return false;
    }
    int boundaryLength = 0;
    {
        const StorageAccess access(storage);
        boundaryLength = FindBoundaryLength(&firstChunk->Data());
        if (boundaryLength != 0) {
            ParseUpload(*firstChunk, boundaryLength);
        }
    }
    if (boundaryLength == 0) {
        // The handler was not reset: its verdict is still that of the upload before.
        qDebug() << "zero boundary length";
        return false;
    }
    return uploadHandler->GetFinalResult();
}

void RestServerFileProcessor::ParseUpload(const DataChunk &firstChunk, int boundaryLength)
{
    uploadHandler->Reset();
    // The body's own first line counts, not the boundary that the request's headers announce: these
    // stay with the HTTP thread.
    const QByteArray boundary = firstChunk.Data().left(boundaryLength);
    const multipart_callbacks callbacks = Callbacks();
    const std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser(
        multipart_parser_init(boundary.constData(), &callbacks), &multipart_parser_free);
    Execute(parser.get(), firstChunk.Data());
    if (!firstChunk.LastChunk()) {
        ParseFurtherChunks(parser.get());
    }
}

void RestServerFileProcessor::ParseFurtherChunks(multipart_parser *parser)
{
    bool lastChunk = false;
    while (!lastChunk) {
        DataChunk *taken = nullptr;
        if (!applicationModel->RestServer()->RequestChunkQueue()->FrontWithTimeout(&taken,
                                                                                   chunkWaitMs)) {
            // Not a failure of its own: a file whose part was complete by then counts as stored.
            Report(QStringLiteral("Failed to get expected data chunk"), missingChunkLine);
            return;
        }
        const std::unique_ptr<DataChunk> chunk(taken);
        Execute(parser, chunk->Data());
        lastChunk = chunk->LastChunk();
    }
}

// Names and file names in the headers of parts are never looked at: a part's position says what it
// is.
multipart_callbacks RestServerFileProcessor::Callbacks()
{
    multipart_callbacks callbacks;
    callbacks.on_header_name = MultipartReceiveUnusedDataCallback;
    callbacks.on_header_value = MultipartReceiveUnusedDataCallback;
    callbacks.on_part_data = MultipartReceivePartDataCallback;
    callbacks.on_part_begin = MultipartNotifyPartStart;
    callbacks.on_headers_done = MultipartNotifyCallback;
    callbacks.on_part_end = MultipartNotifyPartEnd;
    callbacks.on_body_end = MultipartNotifyCallback;
    return callbacks;
}

int RestServerFileProcessor::MultipartReceiveUnusedDataCallback(multipart_parser *, const char *,
                                                                unsigned int)
{
    return 0;
}

int RestServerFileProcessor::MultipartReceivePartDataCallback(multipart_parser *, const char *data,
                                                              unsigned int length)
{
    uploadHandler->ProcessPartData(data, static_cast<int>(length));
    return 0;
}

int RestServerFileProcessor::MultipartNotifyPartStart(multipart_parser *)
{
    uploadHandler->NotifyPartStart();
    return 0;
}

int RestServerFileProcessor::MultipartNotifyPartEnd(multipart_parser *)
{
    uploadHandler->NotifyPartEnd();
    return 0;
}

int RestServerFileProcessor::MultipartNotifyCallback(multipart_parser *)
{
    return 0;
}

bool RestServerFileProcessor::ProcessFileDownloadRequest(QString path, DataChunk **chunk,
                                                         IDownloadContext **context)
{
    if (chunk == nullptr) {
        Report(QStringLiteral("Chunk null pointer"), nullDownloadChunkLine);
        return false;
    }
    *chunk = nullptr;
    *context = nullptr;
    if (!CheckFilePath(path)) {
        return false;
    }
    IStorageModel *storage = applicationModel->StorageModel();
    if (!storage->IsStorageAvailable()) {
        return false;
    }
    const StorageAccess access(storage); // for this piece: the others are read while it is sent
    return ReadFirstPiece(path, chunk, context);
}

void RestServerFileProcessor::Report(const QString &message, int line)
{
    applicationModel->ErrorReporter()->ReportError(message, fileProcessorSource, line);
}

bool RestServerFileProcessor::ReadFirstPiece(const QString &path, DataChunk **chunk,
                                             IDownloadContext **context)
{
    constexpr int pieceSize = RestServerFileDownloadContext::pieceSize;
    bool ok = false;
    bool lastChunk = true; // a host that says nothing has no more
    const QByteArray bytes =
        applicationModel->FileManagerModel()->ReadFileChunk(path, &ok, 0, pieceSize, &lastChunk);
    if (!ok) {
        return false;
    }
    *chunk = new DataChunk(bytes, lastChunk);
    if (!lastChunk) {
        auto *rest = new RestServerFileDownloadContext(path, pieceSize);
        rest->Construct(applicationModel);
        *context = rest;
    }
    return true;
}
