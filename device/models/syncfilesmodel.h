#ifndef SYNCFILESMODEL_H
#define SYNCFILESMODEL_H

#include <chrono>
#include <functional>

#include "confirmationlog.h"
#include "filedigestcache.h"
#include "filesystem.h"
#include "hostmodel.h"
#include "statefile.h"
#include "userfiledirectory.h"

/**
 * The user files that an outside system has yet to confirm, and the technician at work.
 *
 * A file is pending until `MarkFileSynced` confirms it, and again once its content changes. A
 * confirmation names the file's path below the user files, its status and its digest. As long as
 * the status stays the same nothing is read; when it differs, the file is still confirmed if it has
 * the confirmed digest, so that confirmations hold for a device's folder that was copied or moved.
 *
 * Confirmations and the technician's id are kept in the state folder, in `confirmed-files.jsonl`
 * and `technician.json`, and are back after a restart. Main thread only.
 */
class SyncFilesModel : public ISyncFilesModel
{
public:
    /** The time since 1970-01-01T00:00:00Z. */
    using Clock = std::function<std::chrono::nanoseconds()>;

    static std::chrono::nanoseconds SystemTime();

    /**
     * Reads what is kept in `stateFolder`, which exists. Keeps the references; the objects outlive
     * this one.
     */
    SyncFilesModel(const UserFileDirectory &userFiles, FileDigestCache &digests, FileSystem &files,
                   const QString &stateFolder, IErrorReporter &errors,
                   Clock currentTime = SystemTime);

    /**
     * The pending files, `{"path", "size", "modifiedTime"}` each, in the order of the paths, but
     * for those that changed within the last 2 s: they may still be being written.
     */
    QJsonArray GetPendingFiles() override;

    /** The pending files, those included that changed a moment ago. */
    QJsonArray GetAllPendingFiles() override;

    /**
     * The whole content of a user file of up to 16 MiB. A larger one, and one whose reading fails,
     * is reported and counts as not found, as one that cannot be opened does.
     */
    QByteArray GetFileData(QString path, bool *found) override;

    /**
     * Confirms a user file as it is now; true once that is on the disk, at the same cost however
     * many are confirmed. False when there is no such file, and when it could not be read or the
     * confirmation not be stored, which is reported: the file then stays pending.
     */
    bool MarkFileSynced(QString path) override;

    /** Stores the technician's id. When that fails, which is reported, the former one holds. */
    void SetTechId(QString techId) override;

    /** Forgets the confirmation of a file that was deleted. */
    void Forget(const UserFile &file);

    /** Whether a file is confirmed, as far as its status tells: nothing is read. */
    bool IsKnownConfirmed(const UserFile &file) const;

    /** The technician's id; empty when none was set yet. */
    QString TechId() const;

private:
    QVector<UserFile> PendingFiles();
    bool IsConfirmed(const UserFile &file);
    bool HasContent(const UserFile &file, const Confirmation &confirmation);
    bool IsSettled(const UserFile &file) const;

    const UserFileDirectory &directory;
    FileDigestCache &digestCache;
    IErrorReporter &errorReporter;
    Clock clock;
    ConfirmationLog confirmations;
    StateFile technicianFile;
    QString technicianId;
};

#endif
