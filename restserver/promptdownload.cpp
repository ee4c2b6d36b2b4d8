#include "promptdownload.h"

#include <QDir>
#include <algorithm>
#include <utility>

#include "promptexchange.h"
#include "requestexchange.h"

WatchedName::WatchedName(QByteArray path)
    : name(std::move(path))
    , identity(FileIdentity::At(name))
{}

bool WatchedName::NamesTheSame() const
{
    return !identity || FileIdentity::At(name) == identity;
}

WatchedFile::WatchedFile(const RestServerFileDownloadContext &rest,
                         QVector<WatchedName> namesOfFile)
    : RestServerFileDownloadContext(rest)
    , names(std::move(namesOfFile))
{}

// Asked after the piece was read: a file that is replaced in between counts as replaced before.
std::unique_ptr<DataChunk> WatchedFile::ReadPieceOfSame(qint64 position, bool *lastChunk) const
{
    std::unique_ptr<DataChunk> piece = ReadPiece(position, lastChunk);
    const bool same = std::all_of(names.cbegin(), names.cend(),
                                  [](const WatchedName &name) { return name.NamesTheSame(); });
    return same ? std::move(piece) : nullptr;
}

// The path comes from a URI, with one character for each of its bytes. A host may go by it as the
// system does or by its text, which differ at ".." behind a link or a folder that is missing.
bool PromptDownloads::ProcessFileDownloadRequest(QString path, DataChunk **chunk,
                                                 IDownloadContext **context)
{
    const QVector<WatchedName> names = {WatchedName(path.toLatin1()),
                                        WatchedName(QDir::cleanPath(path).toLatin1())};
    const bool found = RestServerFileProcessor::ProcessFileDownloadRequest(path, chunk, context);
    const std::unique_ptr<IDownloadContext> rest(*context);
    if (const auto *pieces = dynamic_cast<RestServerFileDownloadContext *>(rest.get())) {
        *context = new WatchedFile(*pieces, names);
    }
    return found;
}

PromptDownload::PromptDownload(const PromptServices &promptServices, mg_connection *conn,
                               const WatchedFile &file, RequestRecord *requestRecord)
    : services(promptServices)
    , connection(conn)
    , context(std::make_shared<WatchedFile>(file))
    , record(requestRecord)
    , report(promptServices.observation.get(), *requestRecord, false, -1)
    , lastChunk(std::make_shared<bool>(true))
    , position(file.FirstOffset())
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
         host = services.host] { *piece = file->ReadPieceOfSame(from, last.get()); });
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
    if (!piece) {
        BreakOff(QStringLiteral("the file was replaced or deleted meanwhile"));
        return nullptr;
    }
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
