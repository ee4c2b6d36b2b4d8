#ifndef USERFILES_H
#define USERFILES_H

#include <QHash>
#include <QString>
#include <QVector>
#include <optional>

#include "deviceconnection.h"
#include "devicepaths.h"
#include "filerecord.h"

/**
 * The user files of a device. Whatever moves a file compares size and sum at both ends before it
 * reports success. Paths are absolute paths on the device. Every operation throws `ClientError`.
 */
class UserFiles
{
public:
    using Progress = DeviceConnection::Progress;

    explicit UserFiles(DeviceConnection &deviceConnection);

    QVector<FileRecord> List();

    /** Files that wait for synchronisation; `all` includes those that are just being written. */
    QVector<FileRecord> Pending(bool all);

    /**
     * What a path means, see `DevicePaths`; asks the device for its listing if need be, and once
     * for all of them.
     */
    QString Resolve(const QString &path);

    /** The files that a path or a shell pattern means. */
    QVector<QString> Select(const QString &pathOrPattern);

    /** The bytes of these files, as far as the listing was asked for and names them. */
    qint64 SizeOf(const QVector<QString> &chosen) const;

    /** Throws `Unnameable` for a path that no request can name. */
    static void RequireAskable(const QString &path);
    QString ResolveFolder(const QString &path);

    /** The folder of the user files, see `DevicePaths::Root`. */
    QString Root();

    /** The record is of this path: an answer that names another file is `TransferCorrupt`. */
    FileRecord Metadata(const QString &path);

    /** Nothing when the device says that it has no such file. */
    std::optional<FileRecord> Find(const QString &path);

    /**
     * Fetches what `expected` describes. It is written as `staging` and appears as `target` when
     * size and sum are right. A file that changed in the meantime is fetched anew, a few times.
     * Returns the metadata of what was stored.
     */
    FileRecord Fetch(const FileRecord &expected, const QString &target, const QString &staging,
                     const Progress &progress);

    /**
     * Sends a local file and compares what the device then has. Returns its metadata. When it
     * breaks off, the error tells what the device has of it.
     */
    FileRecord Store(const QString &localFile, const QString &path, const Progress &progress);

    /** Deletes a file and looks that it is gone. */
    void Remove(const QString &path);

    /** Marks a file as synchronised. */
    void Confirm(const QString &path);

private:
    bool TryFetch(const FileRecord &expected, const QString &target, const QString &staging,
                  const Progress &progress);

    using Taker = std::function<void(const FileRecord &)>;
    void ForEachListed(const Taker &take);
    const DevicePaths &Paths();
    QString WhatIsThere(const QString &path, qint64 size);

    DeviceConnection &connection;
    std::optional<DevicePaths> paths;
    QHash<QString, qint64> sizes; ///< of the listed files
};

#endif // USERFILES_H
