#ifndef SYNCFILESMODEL_H
#define SYNCFILESMODEL_H

#include <QMap>
#include <chrono>
#include <functional>

#include "filedigestcache.h"
#include "filesystem.h"
#include "hostmodel.h"
#include "statefile.h"
#include "userfiledirectory.h"

/**
 * The user files that an outside system has yet to confirm, and the technician at work.
 *
 * A file is pending until `MarkFileSynced` confirms it, and again once its content changes. A
 * confirmation names the file's status; as long as that stays the same nothing is read. When it
 * differs, the file is still confirmed if it has the size and the digest that were confirmed; the
 * digest is on record when a client had asked for it before it confirmed the file.
 *
 * Confirmations and the technician's id are kept in the state folder, in `confirmed-files.json` and
 * `technician.json`, and are back after a restart. Main thread only.
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
     * The whole content of a user file of up to 64 MiB. A larger one, and one whose reading fails,
     * is reported and counts as not found, as one that cannot be opened does.
     */
    QByteArray GetFileData(QString path, bool *found) override;

    /**
     * Confirms a user file; true once that is on the disk. False when there is no such file, and
     * when the confirmation could not be stored, which is reported: the file then stays pending.
     * Forgets the confirmations of files that are gone.
     */
    bool MarkFileSynced(QString path) override;

    /** Stores the technician's id. When that fails, which is reported, it holds until the end. */
    void SetTechId(QString techId) override;

    /** The technician's id; empty when none was set yet. */
    QString TechId() const;

private:
    /** The state of a file that a client confirmed. */
    struct Confirmation
    {
        FileStatus status;
        QString sha256; ///< empty when it was not known
    };

    using Confirmations = QMap<QString, Confirmation>;

    static QJsonObject ToJson(const Confirmations &confirmed);
    static bool IsUsable(const QJsonObject &state);
    static Confirmations FromJson(const QJsonObject &state);

    QVector<UserFile> PendingFiles();
    bool IsConfirmed(const UserFile &file);
    bool HasContent(const UserFile &file, const Confirmation &confirmation);
    bool IsSettled(const UserFile &file) const;
    Confirmations WithoutGoneFiles() const;

    const UserFileDirectory &directory;
    FileDigestCache &digestCache;
    IErrorReporter &errorReporter;
    Clock clock;
    StateFile confirmedFile;
    StateFile technicianFile;
    Confirmations confirmations;
    QString technicianId;
};

#endif
