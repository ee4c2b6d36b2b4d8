#ifndef PROMPTDOWNLOAD_H
#define PROMPTDOWNLOAD_H

#include <memory>

#include "modelcalls.h"
#include "observation.h"
#include "restserverfiledownloadcontext.h"

struct PromptServices;
struct mg_connection;

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
    PromptDownload(const PromptServices &services, mg_connection *conn,
                   const RestServerFileDownloadContext &context, RequestRecord *record);

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
    std::shared_ptr<const RestServerFileDownloadContext> context;
    RequestRecord *record;
    TransferReport report;
    std::shared_ptr<bool> lastChunk; // thread of the model only
    qint64 position;                 // of the piece that is read next
    Reading ahead;
};

#endif
