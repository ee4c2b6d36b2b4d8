#ifndef RESTSERVERFILEPROCESSOR_H
#define RESTSERVERFILEPROCESSOR_H

#include <QByteArray>
#include <QString>

#include "hostmodel.h"
#include "multipart_parser.h"
#include "restserverobjects.h"

class RestServerFileCallbackHandler;

/**
 * Moves files in and out: runs the multipart parser over the chunks of an upload, and prepares
 * downloads.
 *
 * Main thread only, one transfer at a time. The static parser callbacks reach the upload handler of
 * the processor that was constructed last, so one processor per process is in use.
 */
class RestServerFileProcessor : public IConstructable
{
public:
    RestServerFileProcessor();

    /** Keeps the host's model and makes the upload handler. Once, before the first transfer. */
    void Construct(IApplicationModel *model) override;
    void Shutdown() override;

    /** Goes on with another model, as between two runs of the server. After `Construct`. */
    void Rewire(IApplicationModel *model);

    /** Whether a download of `path` is allowed; see `IsUserFilesPath`. */
    bool CheckFilePath(QString path);

    /** The length of the first line: the position of the first CR, or 0 when there is none. */
    int FindBoundaryLength(const QByteArray *data);

    /**
     * Stores an upload whose body begins with `firstChunk` (which stays the caller's) and goes on,
     * unless that chunk is the last, on the request chunk queue. Blocks until the last chunk, or
     * until none has come for 10 s, which is reported. True when a file was written and closed,
     * also when chunks behind it were missing; false without a look at the body when the chunk is
     * null (reported) or the guarded storage cannot be entered.
     */
    virtual bool ProcessFileUploadRequest(DataChunk *firstChunk);

    /**
     * Reads the first piece of a file. On success `*chunk` is the caller's new chunk and `*context`
     * the caller's new context for the rest, or null when there is no rest. On failure both are
     * null. A null `chunk` is reported, and nothing is set; `context` must not be null.
     */
    virtual bool ProcessFileDownloadRequest(QString path, DataChunk **chunk,
                                            IDownloadContext **context);

    // The callbacks that the parser gets. All return 0: an upload never stops its parser.
    static int MultipartReceiveUnusedDataCallback(multipart_parser *parser, const char *data,
                                                  unsigned int length);
    static int MultipartReceivePartDataCallback(multipart_parser *parser, const char *data,
                                                unsigned int length);
    static int MultipartNotifyPartStart(multipart_parser *parser);
    static int MultipartNotifyPartEnd(multipart_parser *parser);
    static int MultipartNotifyCallback(multipart_parser *parser);

protected:
    /** Keeps the host's model and nothing else, for a processor that brings its own uploads. */
    void KeepModel(IApplicationModel *model) { applicationModel = model; }

private:
    static multipart_callbacks Callbacks();

    void Report(const QString &message, int line);
    void ParseUpload(const DataChunk &firstChunk, int boundaryLength);
    void ParseFurtherChunks(multipart_parser *parser);
    bool ReadFirstPiece(const QString &path, DataChunk **chunk, IDownloadContext **context);

    RestServerFileCallbackHandler *callbackHandler;
    IApplicationModel *applicationModel;
};

#endif
