#ifndef PROMPTDOWNLOAD_H
#define PROMPTDOWNLOAD_H

#include <QVector>
#include <memory>

#include "fileidentity.h"
#include "modelcalls.h"
#include "observation.h"
#include "restserverfiledownloadcontext.h"
#include "restserverfileprocessor.h"

struct PromptServices;
struct mg_connection;

/** What a path names at one moment: a file of the file system, or nothing that can be watched. */
class WatchedName
{
public:
    explicit WatchedName(QByteArray path);

    /** False when the path names another file by now, or none. */
    bool NamesTheSame() const;

private:
    QByteArray name;
    std::optional<FileIdentity> identity; // none when the path is not one of the file system
};

/**
 * The rest of a file that another one may take the place of while it is sent: uploads and deletions
 * go on beside downloads.
 */
class WatchedFile : public RestServerFileDownloadContext
{
public:
    /** `namesOfFile` are from before the first piece was read. */
    WatchedFile(const RestServerFileDownloadContext &rest, QVector<WatchedName> namesOfFile);

    /** As `ReadPiece`; null when one of the names stands for another file by now, or for none. */
    std::unique_ptr<DataChunk> ReadPieceOfSame(qint64 position, bool *lastChunk) const;

private:
    QVector<WatchedName> names;
};

/** Reads files for downloads that run beside uploads. Thread of the model. */
class PromptDownloads : public RestServerFileProcessor
{
public:
    explicit PromptDownloads(IApplicationModel *host) { KeepModel(host); }

    bool ProcessFileDownloadRequest(QString path, DataChunk **chunk,
                                    IDownloadContext **context) override;
};

/**
 * Sends a file of several pieces on the HTTP thread of its connection. The host reads each piece on
 * the thread of the model, the next one while this one is sent.
 *
 * A file that cannot be sent to its end is visibly broken for its client, and the record tells why.
 */
class PromptDownload
{
public:
    /** `services` and `record` outlive it. */
    PromptDownload(const PromptServices &services, mg_connection *conn, const WatchedFile &file,
                   RequestRecord *record);

    /** Sends the head and the first piece, which the response holds, and all that follows. */
    void Send(std::unique_ptr<RestServerResponseObject> response);

private:
    using Piece = std::unique_ptr<DataChunk>;

    // A piece on its way from the thread of the model.
    struct Reading
    {
        ModelCalls::Ticket call;
        std::shared_ptr<Piece> piece;
    };

    void ReadAhead();
    void SendFirst(const RestServerResponseObject &response);
    Piece Take();
    bool SendNext(const DataChunk &piece);
    void BreakOff(const QString &reason);

    const PromptServices &services;
    mg_connection *connection;
    std::shared_ptr<const WatchedFile> context;
    RequestRecord *record;
    TransferReport report;
    std::shared_ptr<bool> lastChunk; // thread of the model only
    qint64 position;                 // of the piece that is read next
    Reading ahead;
};

#endif
