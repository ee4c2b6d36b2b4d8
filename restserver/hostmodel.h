#ifndef HOSTMODEL_H
#define HOSTMODEL_H

/**
 * What the library needs of the device application that loads it.
 *
 * The application implements `IApplicationModel` and every sub-model that it returns, creates one
 * `RestServerModel`, hands its model to `RestServerModel::Construct` and then calls `Start`. From
 * there on the library calls these interfaces to answer HTTP requests.
 *
 * Threads: every operation that the application implements is called on the thread that made the
 * server and called `Start`, most often the Qt main thread, and "main thread" stands for it here.
 * It is called from the event loop, one call at a time; implementations need no locks for the
 * library's sake. While an operation runs, the client waits, for 10 s at most; then it is told of
 * an internal time-out. Served classically, the late answer goes to the next client; served
 * promptly, it is dropped. The pieces of a transfer have 10 s each.
 *
 * Ownership: the application owns the objects behind these interfaces and the library deletes none
 * of them; the pointers that the accessors return must not be null and must stay valid
 * for the life of the library. The destructors are protected for that reason.
 *
 * Text: paths and work order ids that come from a URI hold one character per byte that the client
 * sent, after percent decoding. A name in UTF-8 is read back with
 * `QString::fromUtf8(path.toLatin1())`. Texts from JSON bodies are ordinary Unicode strings.
 *
 * Paths: one text names a file everywhere. It is absolute and begins with
 * `Directory(UserFilesDirectory).absolutePath()`, links in it as they are. The listing, the pending
 * lists and the metadata give it out, clients send it back unchanged, and the library compares it
 * as text with that beginning. So where the directory lies behind a symbolic link, either give out
 * paths through the link, or return the canonical directory; a mixture fails each upload or
 * download. To see whether a path is inside, compare canonical with canonical:
 *
 *     QString real = QFileInfo(QString::fromUtf8(path.toLatin1())).canonicalFilePath();
 *     QString root = QFileInfo(directory).canonicalFilePath();
 *     bool inside = real.startsWith(root + '/');
 *
 * JSON: objects and arrays that the application returns are sent as they are. The members named
 * here are those that clients of this interface read; more are allowed. A time is a text in UTC,
 * "2024-05-31T12:00:00Z", and a size a number of bytes.
 *
 * Errors are reported through return values. An exception that leaves one of these operations is
 * not caught.
 */

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <QtGlobal>

#include "datachunk.h"
#include "sharedqueue.h"

class IApplicationModel;
class IRootModel;

/** An object that is built in two steps: its constructor, then `Construct` with the host. */
class IConstructable
{
public:
    /** Connects the object to the host. Called once, before any other use. */
    virtual void Construct(IApplicationModel *model) = 0;

    /** The counterpart of `Construct`; the library's own classes do nothing here. */
    virtual void Shutdown() = 0;

protected:
    ~IConstructable() = default;
};

/** A sub-model of the application that may need nothing of it. */
class IApplicationSubModel : public IConstructable
{
public:
    void Construct(IApplicationModel *model) override { Q_UNUSED(model) }

protected:
    ~IApplicationSubModel() = default;
};

/**
 * The REST server as the application and the library's own transfer code see it.
 * `RestServerModel` implements it; the application returns that object from
 * `IApplicationModel::RestServer`.
 *
 * `Start`, `Stop` and `Running` are called by the application, on its main thread. The queues are
 * the server's, never null, and live as long as the process. Each carries the chunks of the one
 * transfer that is on its way, in order: whoever pushes a chunk, made with `new`, gives it away,
 * and whoever takes it deletes it. At most one chunk waits in a queue; push when it is empty. The
 * next request begins with emptying both, and what it finds in them is not deleted.
 */
class IRestServerModel
{
public:
    /** Starts to serve HTTP on port 8081. On failure `Running` stays false. */
    virtual void Start() = 0;

    /** Stops to serve; returns when the requests in flight have ended. */
    virtual void Stop() = 0;

    /** True between a successful `Start` and `Stop`. */
    virtual bool Running() = 0;

    /** Upload body chunks, pushed by an HTTP thread and taken by the main thread. */
    virtual SharedQueue<DataChunk *> *RequestChunkQueue() = 0;

    /** Download body chunks, pushed by the main thread and taken by an HTTP thread. */
    virtual SharedQueue<DataChunk *> *ResponseChunkQueue() = 0;

protected:
    ~IRestServerModel() = default;
};

/** Directories by key, and a storage area that is entered and left around every use. */
class IStorageModel
{
public:
    /** The keys that the library asks for. */
    enum DirectoryKey
    {
        /**
         * User files. The path of an upload or a download must begin with the text of its absolute
         * path, which is neither cleaned nor resolved first: "..", links and siblings with a longer
         * name pass, and an upload is written without asking the application. Only the operating
         * system can hold uploads inside; see `hostsupport/` for a sandbox.
         */
        UserFilesDirectory = 9,

        /**
         * Work order templates: the files "*.json" that lie in it itself, not hidden, suffix in
         * lower case. Each is an object whose "cdm" is an array; its elements are listed, one that
         * is not an object as {}. A file of another content counts for nothing, and nobody is told.
         */
        TemplateDirectory = 10,
        GuardedTemplateDirectory = 11 ///< further templates, listed behind, on the guarded storage
    };

    /** The directory behind `key`. It need not exist. */
    virtual QDir Directory(int key) = 0;

    /** Whether the guarded storage can be entered now. */
    virtual bool IsStorageAvailable() = 0;

    /** Enters the guarded storage; one `EndStorageAccess` follows on every path. */
    virtual void BeginStorageAccess() = 0;

    /** Leaves the guarded storage. The later pieces of a download are read after this. */
    virtual void EndStorageAccess() = 0;

    /**
     * Whether `bytes` more bytes fit. Asked with the "fileSize" that an upload announces, which may
     * be wrong or negative, and is 0 where it is not a number or does not fit 32 bits, as for a
     * file of 3 GiB. False refuses the upload. What the disk does not take later is not noticed:
     * the upload succeeds, and the client finds the file too short by its metadata.
     */
    virtual bool HasFreeSpace(qint64 bytes) = 0;

protected:
    ~IStorageModel() = default;
};

/** The operating mode of the instrument. */
class IModeModel
{
public:
    /** In mode 2 a change of the active work order resets the job view and closes the panel. */
    virtual int CurrentMode() = 0;

protected:
    ~IModeModel() = default;
};

/** The panel that shows the jobs. */
class IJobPanelModel
{
public:
    /** Called with false after the active work order changed in mode 2. */
    virtual void SetJobPanelOpen(bool open) = 0;

protected:
    ~IJobPanelModel() = default;
};

/** A command of the application. */
class ICommand
{
public:
    /** Runs it. Command 40 runs after every change of the active work order. */
    virtual void Execute() = 0;

protected:
    ~ICommand() = default;
};

/** Where the library reports errors that somebody on the device should see. */
class IErrorReporter
{
public:
    /**
     * Records one error. `sourceFile` is the bare name of the library's source file, without a
     * path or suffix; it and `line` tell one kind of error from another. `line` is not always a
     * line of the present source.
     */
    virtual void ReportError(QString message, const char *sourceFile, int line) = 0;

protected:
    ~IErrorReporter() = default;
};

/** One work order in the application's list. Owned by the `IJobModel`. */
class Job
{
public:
    /** The id; compared with clients' ids to the letter. */
    virtual QString WorkOrderId() = 0;

    /** When it last changed. Printed as it is, with a "Z": return UTC. */
    virtual QDateTime ModifiedTime() = 0;

protected:
    ~Job() = default;
};

/** The work orders in memory and the active one among them. */
class IJobModel
{
public:
    /**
     * All jobs, in the order that clients see. Called four times for each that is listed, so return
     * an implicitly shared copy of a kept vector: a vector that is built at each call makes a list
     * of 5,000 take seconds. The jobs stay valid until the next `RefreshJobs`.
     */
    virtual QVector<Job *> Jobs() = 0;

    /**
     * Reloads the jobs after the store changed, so that `Jobs` reflects it. The library keeps no
     * job and looks `ActiveJob` up anew afterwards: let it be the new job of the same work order.
     */
    virtual void RefreshJobs() = 0;

    /** Makes one of `Jobs` the active one; also called when it already is. */
    virtual void SetActiveJob(Job *job) = 0;

    /** The active job, or null when none is. */
    virtual Job *ActiveJob() = 0;

protected:
    ~IJobModel() = default;
};

/** The work orders on disk. */
class IWorkOrderStore
{
public:
    /**
     * Stores the documents of one update, the elements of the client's "cdm", unchecked: they may
     * be anything. What an element replaces is the store's decision. A "cdm" of another type than
     * array arrives as an empty array, which is a success unless the store says otherwise. False
     * means failure; the client is then told so, and nothing should have been stored.
     */
    virtual bool UpdateWorkOrders(QJsonArray workOrders) = 0;

    /**
     * The stored document of `id`, alone. Must set `*found` on every call; the result counts only
     * when that is true. The library sends {"cdmVersion": "2.1", "cdm": document}, after it took
     * "imageData" out of the result data of each test; a document without "tests" gains an empty
     * array of that name.
     */
    virtual QJsonObject GetWorkOrder(QString id, bool *found) = 0;

protected:
    ~IWorkOrderStore() = default;
};

/** The files that an outside system has yet to fetch, and the technician at work. */
class ISyncFilesModel
{
public:
    /**
     * The files that a client is to fetch now: those that nobody has confirmed as they are, without
     * those that may still be written to, as an upload that is on its way. Each element is
     * {"path", "size", "modifiedTime"}; sorted by path.
     */
    virtual QJsonArray GetPendingFiles() = 0;

    /** All files that nobody has confirmed, the ones that may still be written to as well. */
    virtual QJsonArray GetAllPendingFiles() = 0;

    /**
     * The whole content of a file. Must set `*found` on every call; the result counts only when
     * that is true. `path` is the client's, unchecked.
     */
    virtual QByteArray GetFileData(QString path, bool *found) = 0;

    /**
     * Notes that a client has the file as it is now, so that it is pending again only once its
     * content changes. False when it is unknown. `path` is unchecked.
     */
    virtual bool MarkFileSynced(QString path) = 0;

    /** Records the technician: 1 to 20 word characters, already checked. */
    virtual void SetTechId(QString techId) = 0;

protected:
    ~ISyncFilesModel() = default;
};

/** The user files: listing, reading in pieces, deleting. */
class IFileManagerModel
{
public:
    /**
     * The listing: {"files": [{"path", "size", "modifiedTime"}]}, with the files of all folders
     * below the user-files directory, each once and sorted by path. Leave hidden files out, here
     * and among the pending ones: on a file system that cannot hold files without a name, as FAT,
     * an upload that is on its way is one, ".parlowen-upload-...".
     */
    virtual QJsonObject GetUserFiles() = 0;

    /**
     * Up to `maxLength` bytes of a file from `offset`. Must set `*ok`, whether the file could be
     * read, and `*lastChunk`, whether these bytes reach its end. Only the first piece's `*ok` is
     * looked at: later the stream ends at `*lastChunk`, so report the last piece on a read error
     * and past the end too. Where `*lastChunk` never comes, prompt serving breaks the transfer off
     * at the first empty piece; classic serving asks for ever, and neither the interface nor the
     * main thread gets out of it. The stream also ends, without another call, when the client does
     * not take a piece within 10 s. Only the last piece may be empty. Each piece but the last is to
     * have `maxLength` bytes, because the next `offset` counts it so. `path` begins with the text
     * of the user-files directory's path and is otherwise unchecked: it may hold "..". The calls
     * for the later pieces come outside the storage bracket.
     */
    virtual QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                                     bool *lastChunk) = 0;

    /** Deletes a file. False when that was not possible. `path` is the client's, unchecked. */
    virtual bool DeleteUserFile(QString path) = 0;

protected:
    ~IFileManagerModel() = default;
};

/** The description of the device, and metadata of its files. */
class IAssetModel
{
public:
    /**
     * The metadata of a file: {"path", "size", "modifiedTime", "sha256"}, the digest in lower-case
     * hexadecimal, by which clients verify what they moved. Must set `*found` on every call; the
     * result counts only when that is true. `fileName` is the path that the client sent, unchecked.
     * Keep each digest with the size and time of its file: to sum up 3 GB takes more than the 10 s
     * of an operation, in which nobody else is served. Where that happens, answer without "sha256"
     * and sum up outside, until the digest is known.
     */
    virtual QJsonObject GetFileMetadata(QString fileName, bool *found) = 0;

    /**
     * The description of the device, sent as it is. All members are the application's choice.
     * Clients show "model", "serialNumber" and "firmwareVersion", texts; with "techId", the
     * technician, they can tell who was set.
     */
    virtual QJsonObject GetAssetInfo() = 0;

protected:
    ~IAssetModel() = default;
};

/** The application as the library sees it: the way to every sub-model. */
class IApplicationModel
{
public:
    /** The top-level model, itself a way to every sub-model. */
    virtual IRootModel *RootModel() = 0;

    /** The directories and the guarded storage. */
    virtual IStorageModel *StorageModel() = 0;

    /** The operating mode. */
    virtual IModeModel *ModeModel() = 0;

    /** The panel that shows the jobs. */
    virtual IJobPanelModel *JobPanelModel() = 0;

    /** The command with this id; the library asks for 40. */
    virtual ICommand *Command(int id) = 0;

    /** Where errors are reported; asked for whenever one is met. */
    virtual IErrorReporter *ErrorReporter() = 0;

    /** The work orders in memory. */
    virtual IJobModel *JobModel() = 0;

    /** The `RestServerModel` that the application created. */
    virtual IRestServerModel *RestServer() = 0;

    /** The work orders on disk. */
    virtual IWorkOrderStore *WorkOrderStore() = 0;

    /** The files to be synchronised, and the technician. */
    virtual ISyncFilesModel *SyncFilesModel() = 0;

    /** The user files. */
    virtual IFileManagerModel *FileManagerModel() = 0;

    /** The description of the device, and metadata of its files. */
    virtual IAssetModel *AssetModel() = 0;

protected:
    ~IApplicationModel() = default;
};

/** The application's top-level model. An application with one model tree returns itself. */
class IRootModel : public IApplicationModel
{
public:
    /** Shows the job view afresh, after the active work order changed in mode 2. */
    virtual void ResetJobView() = 0;

protected:
    ~IRootModel() = default;
};

#endif
