#ifndef WORKORDERSTORE_H
#define WORKORDERSTORE_H

#include <QDateTime>
#include <QSet>
#include <map>

#include "batchjournal.h"
#include "diskspace.h"
#include "hostmodel.h"

/**
 * The work orders, one JSON document per file.
 *
 * Usual order of calls: `Load` once, then the others. A document's id is its member "workOrderId";
 * `WorkOrderId` tells which ids are valid and how the file of a new work order is named. A file
 * placed by hand may have any name that ends in ".json" and is not hidden; it keeps that name when
 * its work order is replaced. A file that holds no work order, or one whose id another file has
 * already, is reported and skipped, and never changed, moved or written over. Of two files with the
 * same id the one counts that is named after it, otherwise the first by name.
 *
 * A batch is stored whole or not at all, whatever happens: `BatchJournal` tells how. Only the index
 * of ids is kept in memory, so that finding one document takes the same time however many there
 * are; documents are read from their files.
 *
 * Files are named in `QFile`'s encoding, which the program sets to UTF-8. Main thread only.
 */
class WorkOrderStore : public IWorkOrderStore
{
public:
    /** A stored work order. */
    struct Entry
    {
        QString fileName;
        QDateTime modifiedTime; ///< when it was last stored: the file's time, in UTC
        qint64 size;            ///< of the file, in bytes
    };

    /** By id, in ascending order of code units. */
    using Index = std::map<QString, Entry>;

    /** How many are stored at most: each costs a file, and no request takes one away. */
    static constexpr int defaultLimit = 10000;

    /**
     * How many bytes the files of all work orders have at most: a start reads them all, which takes
     * half a second for 8 MiB that are made to be slow.
     */
    static constexpr qint64 mostBytes = qint64{256} * 1024 * 1024;

    /** Keeps the references; both objects outlive this one, and both folders exist. */
    WorkOrderStore(FileSystem &files, const QString &workOrderFolder, const QString &stateFolder,
                   IErrorReporter &errors, int limit = defaultLimit, qint64 bytes = mostBytes);

    /**
     * Finishes or throws away a batch that was cut short, then reads every file. What is skipped is
     * reported once, and again when it was gone in between. `goesOn` is asked before each file;
     * once it is false the rest is not read, and the store is of no use.
     */
    void Load(const std::function<bool()> &goesOn = [] { return true; });

    /**
     * Loads when somebody else has added, removed or renamed a file since; true if so. Changes
     * inside a file show whenever its document is asked for.
     */
    bool LoadIfChanged();

    /**
     * Each element replaces the document of its id or is added; of two elements with the same id
     * the later one counts. True once all of them are on the disk, also when there are none.
     *
     * False, with a report and with nothing stored, when an element is no object or has no valid
     * id, when there would be more work orders than the limit allows, when one is larger than can
     * be read again or all together have more than 64 MiB, when they are larger than those they
     * replace and all stored work orders would have more bytes than are allowed, when they take
     * more of the disk than those they replace and would leave less than its reserve, when the file
     * name of a new work order is taken by a file that is not its own, when a write fails before
     * the batch is committed, and while an earlier batch cannot be finished. A failure after the
     * commit is reported; the batch counts, and is finished later. Until the old files are gone the
     * new ones beside them may take the reserve.
     */
    bool UpdateWorkOrders(QJsonArray workOrders) override;

    /**
     * The document as its file holds it now. `id` may come from a URI, see `TextFromClient`. A file
     * that can no longer be read, or no longer holds this work order, is reported and counts as
     * not found.
     */
    QJsonObject GetWorkOrder(QString id, bool *found) override;

    /** All stored work orders. Changes with `Load` and `UpdateWorkOrders`. */
    const Index &Entries() const { return index; }

private:
    class Growth;
    using Documents = std::map<QString, QJsonObject>;

    void FolderIsKnown();
    bool HasKnownFiles();
    void AddFile(const QString &fileName);
    void ReportSkipped(const QString &message);
    void SkipDuplicate(const QString &id, const QString &fileName);
    bool Collect(const QJsonArray &workOrders, Documents *documents, QString *error) const;
    bool NameFiles(const Documents &documents, BatchJournal::Batch *batch, QString *error) const;
    bool FitsLimit(const Documents &documents, QString *error) const;
    static bool CanBeReadAgain(const Documents &documents, QString *error);
    bool StoreBatch(const Documents &documents, QString *error);
    bool FitsBytes(Growth *growth, QString *error) const;
    bool LeavesReserve(Growth *growth, QString *error) const;
    qint64 StoredBytes() const;
    void Remember(const Documents &documents);
    QString FileNameFor(const QString &id) const;
    Entry EntryOf(const QString &fileName) const;

    FileSystem &fileSystem;
    QString folder;
    int mostWorkOrders;
    qint64 byteLimit;
    IErrorReporter &errorReporter;
    BatchJournal journal;
    Index index;
    QDateTime loadedFolderTime; // of the folder's last change that is known here
    bool settled = false;       // a later change cannot have that time any more
    QSet<QString> knownFiles;   // in the folder, as last loaded or stored
    QSet<QString> skipped;      // what the last load reported
    QSet<QString> formerlySkipped;
};

#endif
