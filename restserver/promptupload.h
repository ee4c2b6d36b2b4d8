#ifndef PROMPTUPLOAD_H
#define PROMPTUPLOAD_H

#include <QStringList>
#include <memory>

#include "modelcalls.h"
#include "multipart_parser.h"
#include "prompthost.h"
#include "replacingfile.h"
#include "requestbody.h"
#include "restserverfilecallbackhandler.h"
#include "restserverfileprocessor.h"
#include "restserverrequestprocessor.h"

class TransferReport;

/**
 * The host's model as an upload sees it on its HTTP thread: each question goes to the thread of the
 * model and its answer comes back as a plain value. Only what an upload asks is there.
 *
 * Once a question was not answered in time, or the server stops, every further one is answered with
 * a refusal at once, and `Outcome` tells why.
 */
class ForwardedHost : public IApplicationModel, public IStorageModel, public IErrorReporter
{
public:
    ForwardedHost(std::shared_ptr<ModelCalls> calls, std::shared_ptr<PromptHost> host);

    /** How the questions went: `Done`, or what happened to the one that failed. */
    ModelCalls::Outcome Outcome() const { return outcome; }

    /** Enters the guarded storage, if it is there; waits while it takes no transfers. */
    bool Enter();

    /** Leaves it, whatever became of `Enter`. Returns when the host was told, or after 10 s. */
    void Leave();

    /**
     * Has metadata read where there is room for it: JSON may be nested a thousand levels deep, and
     * each takes its piece of the stack, of which an HTTP thread has 100 KB.
     */
    UploadMetadata Read(std::function<UploadMetadata()> metadata);

    /** What was reported. */
    QStringList notes;

    IStorageModel *StorageModel() override { return this; }
    IErrorReporter *ErrorReporter() override { return this; }
    QDir Directory(int key) override;
    bool IsStorageAvailable() override;
    void BeginStorageAccess() override;
    void EndStorageAccess() override;
    bool HasFreeSpace(qint64 bytes) override;
    void ReportError(QString message, const char *sourceFile, int line) override;

    // Asked by no upload.
    IRootModel *RootModel() override { return nullptr; }
    IModeModel *ModeModel() override { return nullptr; }
    IJobPanelModel *JobPanelModel() override { return nullptr; }
    ICommand *Command(int) override { return nullptr; }
    IJobModel *JobModel() override { return nullptr; }
    IRestServerModel *RestServer() override { return nullptr; }
    IWorkOrderStore *WorkOrderStore() override { return nullptr; }
    ISyncFilesModel *SyncFilesModel() override { return nullptr; }
    IFileManagerModel *FileManagerModel() override { return nullptr; }
    IAssetModel *AssetModel() override { return nullptr; }

private:
    template <typename Answer>
    Answer Ask(std::function<Answer(PromptHost *)> question, Answer refusal,
               ModelCalls::Condition mayBegin = ModelCalls::Condition());

    std::shared_ptr<ModelCalls> calls;
    std::shared_ptr<PromptHost> host; // thread of the model only
    std::shared_ptr<bool> entered;    // thread of the model only
    ModelCalls::Outcome outcome = ModelCalls::Done;
};

/** Writes the file part of an upload so that nobody sees half of it. */
class PromptUploadHandler : public RestServerFileCallbackHandler
{
public:
    PromptUploadHandler(ForwardedHost *host, ReplacingFile::RoomForMore roomForMore,
                        QStringList *reasons);
    ~PromptUploadHandler();

    /** The piece whose slices follow. */
    void BeginPiece(const QByteArray &piece);

    /** False when the file could not be written. */
    bool Writes() const;

    /** Puts the file in its place; true when it is there. */
    bool Commit();

protected:
    IUploadFile *NewFile(const QString &path) override;
    UploadMetadata ReadMetadata(const QByteArray &json) override;
    void Refused(const QString &reason) override;

private:
    ForwardedHost *host;
    ReplacingFile::RoomForMore room;
    QStringList *reasons;
    BodyPiece pieces;
    ReplacingFile *file = nullptr; // the handler's base owns it
};

/**
 * Takes one upload apart and writes it, on the HTTP thread of its connection. An upload whose first
 * part is longer than 1 MiB, or that has more than 64 parts, fails.
 */
class PromptFileProcessor : public RestServerFileProcessor
{
public:
    PromptFileProcessor(ForwardedHost *host, RequestBody *body, TransferReport *report,
                        QStringList *reasons);

    bool ProcessFileUploadRequest(DataChunk *firstChunk) override;

private:
    struct Parts
    {
        PromptUploadHandler *handler;
        int begun;
        qint64 firstPartLength;
        QStringList *reasons;
    };

    static int TakeUnusedBytes(multipart_parser *parser, const char *data, unsigned int length);
    static int TakePartData(multipart_parser *parser, const char *data, unsigned int length);
    static int TakePartBegin(multipart_parser *parser);
    static int TakePartEnd(multipart_parser *parser);
    static int TakeNotice(multipart_parser *parser);

    bool Store(const DataChunk &firstChunk);
    bool Parse(const DataChunk &firstChunk, PromptUploadHandler *handler);
    bool TakePiece(multipart_parser *parser, PromptUploadHandler *handler, const QByteArray &piece);
    qint64 RoomForMore(qint64 bytes);

    ForwardedHost *host;
    RequestBody *body;
    TransferReport *report;
    QStringList *reasons;
};

/** The shared request handlers in front of one upload. */
class UploadRequestProcessor : public RestServerRequestProcessor
{
public:
    UploadRequestProcessor(IApplicationModel *model, RestServerFileProcessor *files)
    {
        Wire(model, files);
    }
};

#endif
