#ifndef BATCHJOURNAL_H
#define BATCHJOURNAL_H

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <map>

#include "filesystem.h"
#include "hostmodel.h"

/**
 * Replaces a batch of files in a folder so that a kill or a loss of power at any moment leaves
 * either all of the old files or all of the new ones.
 *
 * 1. Stage: every new file is written into the folder NAME.staged beside other state, and flushed.
 * 2. Commit: NAME.staged becomes NAME.committed, by one rename, and that is flushed. This is the
 *    moment at which the batch counts.
 * 3. Apply: the files are moved one by one over the old ones, the folder is flushed, and the empty
 *    NAME.committed is removed.
 *
 * After a restart a staged folder is half a batch and is thrown away with `Discard`; a committed
 * one is a whole batch and `Apply` finishes what was begun, however far it had come. Until then
 * `PathOf` leads to the newest content of a file. A batch must be applied before the next is
 * staged.
 *
 * Whatever else stands where these two folders belong is kept under another name, with a report.
 *
 * Both folders lie on one file system. Operations that return false put one line about it into
 * `*error`. Main thread only.
 */
class BatchJournal
{
public:
    /** File names and what goes into the files. */
    using Batch = std::map<QString, QJsonObject>;

    /**
     * Batches are for files in `targetFolder`; the two folders of a batch are made in
     * `stateFolder`, and their names begin with `name`. Keeps the references.
     */
    BatchJournal(FileSystem &files, const QString &targetFolder, const QString &stateFolder,
                 const QString &name, IErrorReporter &errors);

    /** Throws away what was staged and not committed. */
    bool Discard(QString *error);

    /** Writes a batch beside the old files. On failure nothing of it is left. */
    bool Stage(const Batch &batch, QString *error);

    /**
     * Makes the staged batch count. False means that it does not and never will. True with an error
     * means that it does, but may be lost with the power.
     */
    bool Commit(QString *error);

    /** Finishes a committed batch; true also when there is none. May be repeated. */
    bool Apply(QString *error);

    /** The names of the files that are committed and not yet in the folder. */
    QStringList PendingFiles() const;

    /** Where the newest content of a file is. */
    QString PathOf(const QString &fileName) const;

private:
    bool WriteStaged(const Batch &batch, QString *error);
    void ClearWay(const QString &folder);
    bool RemoveOrSetAside(const QString &folder);

    FileSystem &fileSystem;
    IErrorReporter &errorReporter;
    QString target;
    QString state;
    QString staged;
    QString committed;
    bool pending; // whether the committed folder exists
};

#endif
