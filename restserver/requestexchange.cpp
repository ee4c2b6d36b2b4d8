#include "requestexchange.h"

#include <algorithm>
#include <array>
#include <memory>

#include "readbuffers.h"

namespace {

constexpr long long chunkHandOverWaitMs = 10000;

// A broken connection (a negative count) ends the body. What is read is copied into `bytes`, whose
// memory is used again when nobody shares it.
DataChunk *ReadChunk(mg_connection *conn, char *buffer, QByteArray *bytes)
{
    const int count = mg_read(conn, buffer, readSize);
    bytes->resize(qMax(count, 0));
    std::copy_n(buffer, bytes->size(), bytes->data());
    ReleaseReadPages(buffer);
    return new DataChunk(*bytes, count < readSize);
}

// While one chunk is read the one before it may wait in the queue and the one before that be
// parsed: the memory of the third one back is free, and the kernel need not prepare any anew.
qint64 StreamRestOfBody(mg_connection *conn, SharedQueue<DataChunk *> *chunks)
{
    std::array<QByteArray, 3> places;
    qint64 received = 0;
    bool lastChunk = false;
    for (size_t turn = 0; !lastChunk; turn = (turn + 1) % places.size()) {
        std::unique_ptr<DataChunk> chunk(
            ReadChunk(conn, AllocateReadBufferWithPages(), &places[turn]));
        received += chunk->Data().size();
        lastChunk = chunk->LastChunk();
        if (!chunks->WaitUntilTaken(chunkHandOverWaitMs)) {
            return received;
        }
        chunks->push_back(chunk.release());
    }
    return received;
}

// Waits for the next piece without limit: only the last one ends a download.
qint64 SendDownload(mg_connection *conn, const RestServerResponseObject &response,
                    SharedQueue<DataChunk *> *chunks)
{
    SendFirstPiece(conn, response);
    qint64 sent = response.ResponseDataChunk()->Data().size();
    bool lastChunk = response.ResponseDataChunk()->LastChunk();
    while (!lastChunk) {
        const std::unique_ptr<DataChunk> chunk(chunks->front());
        chunks->pop_front();
        SendPiece(conn, *chunk);
        sent += chunk->Data().size();
        lastChunk = chunk->LastChunk();
    }
    SendEndOfPieces(conn);
    return sent;
}

} // namespace

RestServerRequestMethod ParseMethod(const char *text)
{
    const QString method = QString::fromLatin1(text);
    if (method == QLatin1String("POST")) {
        return RestServerRequestMethod::Post;
    }
    if (method == QLatin1String("GET")) {
        return RestServerRequestMethod::Get;
    }
    if (method == QLatin1String("PUT")) {
        return RestServerRequestMethod::Put;
    }
    if (method == QLatin1String("PATCH")) {
        return RestServerRequestMethod::Patch;
    }
    if (method == QLatin1String("DELETE")) {
        return RestServerRequestMethod::Delete;
    }
    return RestServerRequestMethod::Unknown;
}

// An answer with a body always goes out with status 200, whatever its code: clients of devices in
// the field look for "errorMessage" in the body. Only an empty body lets the code show.
qint64 SendWholeReply(mg_connection *conn, const RestServerResponseObject &response)
{
    const QByteArray &body = response.ResponseDataChunk()->Data();
    if (body.isEmpty()) {
        const QByteArray text = response.ErrorString().toUtf8();
        mg_send_http_error(conn, response.ResponseCode(), "%s", text.constData());
        return text.size();
    }
    mg_send_http_ok(conn, response.HeaderMimeType(), body.size());
    mg_write(conn, body.constData(), static_cast<size_t>(body.size()));
    return body.size();
}

void SendFirstPiece(mg_connection *conn, const RestServerResponseObject &response)
{
    mg_send_http_ok(conn, response.HeaderMimeType(), -1);
    SendPiece(conn, *response.ResponseDataChunk());
}

bool SendPiece(mg_connection *conn, const DataChunk &piece)
{
    const QByteArray &bytes = piece.Data();
    return mg_send_chunk(conn, bytes.constData(), static_cast<unsigned int>(bytes.size())) >= 0;
}

void SendEndOfPieces(mg_connection *conn)
{
    mg_send_chunk(conn, "", 0);
}

bool IsDownload(const RestServerResponseObject &response)
{
    const DataChunk &body = *response.ResponseDataChunk();
    return !body.Data().isEmpty() && !body.LastChunk();
}

qint64 HandOverRequest(mg_connection *conn, RestServerRequestUri uri, const RequestQueues &queues)
{
    const mg_request_info *information = mg_get_request_info(conn);
    const RestServerRequestMethod method = ParseMethod(information->request_method);
    QByteArray bytes;
    DataChunk *firstChunk = ReadChunk(conn, AllocateReadBuffer(), &bytes);
    const bool wholeBody = firstChunk->LastChunk();
    queues.requests->push_back(
        new RestServerRequestObject(uri, method, firstChunk, information->request_uri));
    return bytes.size() + (wholeBody ? 0 : StreamRestOfBody(conn, queues.requestChunks));
}

qint64 SendReply(mg_connection *conn, const RestServerResponseObject &response,
                 const RequestQueues &queues)
{
    return IsDownload(response) ? SendDownload(conn, response, queues.responseChunks)
                                : SendWholeReply(conn, response);
}
