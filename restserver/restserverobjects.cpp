#include "restserverobjects.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <utility>

namespace {

enum MimeKind
{
    NoMime = 0,
    JsonMime = 1,
    BinaryMime = 2
};

DataChunk *RequireChunk(DataChunk *dataChunk)
{
    if (dataChunk == nullptr) {
        throw ExceptionCodes::NullDataChunk; // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    return dataChunk;
}

MimeKind Classify(const QByteArray &body)
{
    if (body.isEmpty()) {
        return NoMime;
    }
    QJsonParseError error;
    QJsonDocument::fromJson(body, &error);
    return error.error == QJsonParseError::NoError ? JsonMime : BinaryMime;
}

} // namespace

IDownloadContext::~IDownloadContext() = default;

RestServerRequestObject::RestServerRequestObject(RestServerRequestUri route,
                                                 RestServerRequestMethod requestMethod,
                                                 DataChunk *body, const char *path)
    : uri(route)
    , method(requestMethod)
    , dataChunk(RequireChunk(body))
    , fullUri(QString::fromLatin1(path))
{}

RestServerRequestObject::~RestServerRequestObject()
{
    delete dataChunk;
}

RestServerResponseObject::RestServerResponseObject(int code, DataChunk *body, QString error,
                                                   IDownloadContext *context)
    : responseCode(code)
    , dataChunk(RequireChunk(body))
    , errorString(std::move(error))
    , mimeKind(Classify(dataChunk->Data()))
    , downloadContext(context)
{}

RestServerResponseObject::~RestServerResponseObject()
{
    delete dataChunk;
    delete downloadContext;
}

const char *RestServerResponseObject::HeaderMimeType() const
{
    switch (mimeKind) {
    case JsonMime:
        return "application/json; charset=utf-8";
    case BinaryMime:
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
    return std::unique_ptr<IDownloadContext>(std::exchange(downloadContext, nullptr));
}
