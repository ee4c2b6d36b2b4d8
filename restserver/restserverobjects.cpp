#include "restserverobjects.h"

#include <utility>

#include "jsonsyntax.h"

namespace {

DataChunk *RequireChunk(DataChunk *dataChunk)
{
    if (dataChunk == nullptr) {
        // A record without a body is a mistake of the caller's that no answer could hide.
        throw ExceptionCodes::NullDataChunk; // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    return dataChunk;
}

} // namespace

IDownloadContext::~IDownloadContext() = default;

// The bytes are all there is to go by: handlers do not say what they answer with, and a file of
// JSON is to be sent as JSON too.
RestServerResponseObject::MimeKind RestServerResponseObject::Classify(const QByteArray &body)
{
    if (body.isEmpty()) {
        return MimeKind::None;
    }
    return IsJson(body) ? MimeKind::Json : MimeKind::Binary;
}

RestServerRequestObject::RestServerRequestObject(RestServerRequestUri route,
                                                 RestServerRequestMethod requestMethod,
                                                 DataChunk *body, const char *path)
    : uri(route)
    , method(requestMethod)
    , dataChunk(RequireChunk(body))
    , fullUri(QString::fromLatin1(path))
{}

RestServerRequestObject::~RestServerRequestObject() = default;

RestServerResponseObject::RestServerResponseObject(int code, DataChunk *body, QString error,
                                                   IDownloadContext *context)
    : responseCode(code)
    , dataChunk(RequireChunk(body))
    , errorString(std::move(error))
    , mimeKind(Classify(dataChunk->Data()))
    , downloadContext(context) // not before here: without a chunk it stays the caller's
{}

RestServerResponseObject::~RestServerResponseObject()
{
    dataChunk.reset(); // before the context, which a client may have kept waiting
}

const char *RestServerResponseObject::HeaderMimeType() const
{
    switch (mimeKind) {
    case MimeKind::Json:
        return "application/json; charset=utf-8";
    case MimeKind::Binary:
        return "application/octet-stream; charset=utf-8";
    default:
        return "";
    }
}

bool RestServerResponseObject::DownloadRequired() const
{
    return downloadContext != nullptr && !dataChunk->LastChunk();
}

void RestServerResponseObject::Download()
{
    if (downloadContext != nullptr) {
        downloadContext->SendExtraDownloadContent();
    }
}

std::unique_ptr<IDownloadContext> RestServerResponseObject::TakeDownloadContext()
{
    return std::move(downloadContext);
}
