#ifndef RESTSERVEROBJECTS_H
#define RESTSERVEROBJECTS_H

#include <QString>
#include <memory>

#include "datachunk.h"

/** The routes that are served. The dispatcher switches on them; `Test` has no pattern. */
enum class RestServerRequestUri
{
    Info,
    WorkflowWorkorders,
    WorkflowList,
    WorkflowTemplates,
    WorkflowActive,
    WorkflowWorkorderById,
    SyncfilesPendingFiles,
    SyncfilesPendingFilesAll,
    SyncfilesMetadata,
    SyncfilesUserFilesByPath,
    SyncfilesUserFiles,
    FilemgrUserFiles,
    FilemgrUserMetadata,
    FilemgrUserFilesByPath,
    TechInfo,
    Test
};

/** The method of a request; `Unknown` is every text but the five. */
enum class RestServerRequestMethod
{
    Post = 0,
    Get = 1,
    Put = 2,
    Patch = 3,
    Delete = 4,
    Unknown = 5
};

/** What the constructors of the records throw, by value. Nothing in the library catches it. */
enum class ExceptionCodes
{
    NullDataChunk = 911
};

/** Sends what follows the first chunk of a download. Owned by the response that carries it. */
class IDownloadContext
{
public:
    virtual ~IDownloadContext();

    /** Queues the rest of the body, on the main thread, while an HTTP thread sends it. */
    virtual void SendExtraDownloadContent() = 0;
};

/**
 * One request on its way from an HTTP thread to the main thread.
 *
 * Not synchronised: it is touched by one thread at a time, and the request queue is the hand-over.
 */
class RestServerRequestObject
{
public:
    /**
     * Owns `body` from here on; throws `ExceptionCodes::NullDataChunk` when it is null. The path is
     * kept with one character per byte; null gives an empty string.
     */
    RestServerRequestObject(RestServerRequestUri route, RestServerRequestMethod requestMethod,
                            DataChunk *body, const char *path);
    ~RestServerRequestObject();
    RestServerRequestObject(const RestServerRequestObject &) = delete;
    RestServerRequestObject &operator=(const RestServerRequestObject &) = delete;

    RestServerRequestUri RequestUri() const { return uri; }
    RestServerRequestMethod RequestMethod() const { return method; }

    /** The first, or only, chunk of the body. Never null; stays the record's. */
    DataChunk *RequestDataChunk() const { return dataChunk.get(); }

    /** The decoded path of the request, without its query. */
    QString FullUri() const { return fullUri; }

private:
    RestServerRequestUri uri;
    RestServerRequestMethod method;
    std::unique_ptr<DataChunk> dataChunk;
    QString fullUri;
};

/**
 * One response on its way from the main thread to an HTTP thread.
 *
 * From the moment it is on the response queue it belongs to the HTTP thread that takes it, with one
 * exception: a download's context runs on the main thread until it has queued the last chunk, and
 * the HTTP thread does not delete the response before it has that chunk. Only where the first piece
 * is empty does the HTTP thread not wait for more; the context is taken out of such a response.
 */
class RestServerResponseObject
{
public:
    /**
     * Owns `body` and `context` (which may be null) from here on; throws
     * `ExceptionCodes::NullDataChunk` when the chunk is null. The bytes decide the content type:
     * what parses as JSON is sent as JSON. `error` is the text sent when the chunk is empty.
     */
    RestServerResponseObject(int code, DataChunk *body, QString error, IDownloadContext *context);
    ~RestServerResponseObject();
    RestServerResponseObject(const RestServerResponseObject &) = delete;
    RestServerResponseObject &operator=(const RestServerResponseObject &) = delete;

    int ResponseCode() const { return responseCode; }

    /** The body, or its first chunk. Never null; stays the record's. */
    DataChunk *ResponseDataChunk() const { return dataChunk.get(); }

    QString ErrorString() const { return errorString; }

    /** The content type, a constant; empty for an empty body. */
    const char *HeaderMimeType() const;

    /** True when a context is set and the chunk is not the last of its body. */
    bool DownloadRequired() const;

    /** Runs the download context, if there is one. */
    void Download();

    /**
     * Takes the context out of the record, which is left without one. For a context that runs
     * longer than its response lives.
     */
    std::unique_ptr<IDownloadContext> TakeDownloadContext();

private:
    enum class MimeKind
    {
        None = 0,
        Json = 1,
        Binary = 2
    };

    static MimeKind Classify(const QByteArray &body);

    int responseCode;
    std::unique_ptr<DataChunk> dataChunk;
    QString errorString;
    MimeKind mimeKind;
    std::unique_ptr<IDownloadContext> downloadContext;
};

#endif
