#include "promptdownload.h"

#include "promptexchange.h"
#include "requestexchange.h"

PromptDownload::PromptDownload(const PromptServices &promptServices, mg_connection *conn,
                               const RestServerFileDownloadContext &fileContext,
                               RequestRecord *requestRecord)
    : services(promptServices)
    , connection(conn)
    , context(std::make_shared<RestServerFileDownloadContext>(fileContext))
    , record(requestRecord)
    , report(promptServices.observation.get(), *requestRecord, false, -1)
    , lastChunk(std::make_shared<bool>(true))
    , position(fileContext.FirstOffset())
{}

void PromptDownload::Send(std::unique_ptr<RestServerResponseObject> response)
{
    ReadAhead();
    SendFirst(*response);
    response.reset();
    for (Piece piece = Take(); piece; piece = Take()) {
        if (!piece->LastChunk()) {
            ReadAhead();
        }
        if (!SendNext(*piece)) {
            BreakOff(QStringLiteral("the client went away"));
            return;
        }
        if (piece->LastChunk()) {
            const ConnectionWatch::Waiting waiting(services.watch);
            SendEndOfPieces(connection);
            return;
        }
    }
}

void PromptDownload::ReadAhead()
{
    ahead.piece = std::make_shared<Piece>();
    ahead.call = services.calls->Post(
        [file = context, from = position, last = lastChunk, piece = ahead.piece,
         host = services.host] { *piece = file->ReadPiece(from, last.get()); });
    position += RestServerFileDownloadContext::pieceSize;
}

void PromptDownload::SendFirst(const RestServerResponseObject &response)
{
    const ConnectionWatch::Waiting waiting(services.watch);
    SendFirstPiece(connection, response);
    record->sent = response.ResponseDataChunk()->Data().size();
}

// The piece that was read ahead, or null when the transfer ends without it.
PromptDownload::Piece PromptDownload::Take()
{
    if (services.calls->Wait(ahead.call) != ModelCalls::Done) {
        BreakOff(QStringLiteral("the next piece of the file was not read in time"));
        return nullptr;
    }
    Piece piece = std::move(*ahead.piece);
    if (piece->Data().isEmpty() && !piece->LastChunk()) {
        BreakOff(QStringLiteral("the file does not end"));
        return nullptr;
    }
    return piece;
}

bool PromptDownload::SendNext(const DataChunk &piece)
{
    const ConnectionWatch::Waiting waiting(services.watch);
    if (!SendPiece(connection, piece)) {
        return false;
    }
    record->sent += piece.Data().size();
    report.Moved(record->sent);
    return true;
}

void PromptDownload::BreakOff(const QString &reason)
{
    record->reports.append(reason);
}
