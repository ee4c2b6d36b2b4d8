#ifndef DEVICEPATHS_H
#define DEVICEPATHS_H

#include <QString>
#include <QVector>

#include "filerecord.h"

/**
 * The folder of the user files, see `DevicePaths`, found from one listed path after the other: a
 * long list need not be kept for it.
 */
class UserFilesFolder
{
public:
    void Add(const QString &listedPath);

    /** Without a slash at its end; empty when no file is listed. */
    QString Path() const;

private:
    QString shared;
    bool isKnown = false;
};

/**
 * Finds out what relative paths mean on a device. The device takes absolute paths alone and does
 * not say where its user files lie, but the paths that it lists all begin with that folder: it is
 * the one named "userfiles" that they share, or else the deepest folder that they share.
 */
class DevicePaths
{
public:
    explicit DevicePaths(const QVector<FileRecord> &listing);

    /** An absolute path as the device writes it: without empty names, "." and "..". */
    static QString Cleaned(const QString &absolutePath);

    /** The folder of the user files without a slash at its end; empty when no file is listed. */
    QString Root() const;

    /**
     * The listed file that `path` means: below the root, or else the only one that ends so. An
     * absolute path is returned as it is. Throws a `ClientError`: `DeviceRefused` when there is
     * none, as the device answers for an absolute path, and `Usage` when there is more than one.
     */
    QString File(const QString &path) const;

    /**
     * Every listed file that a shell pattern means: an absolute one the whole path, a relative one
     * the path below the root. None is `DeviceRefused`. A pattern that is itself the name of a
     * listed file means that one alone.
     */
    QVector<QString> Matching(const QString &pattern) const;

    /** The same for a folder; "." is the root. */
    QString Folder(const QString &path) const;

private:
    QString Find(const QString &path, const QVector<QString> &candidates, const char *kind) const;

    QVector<QString> files;
    QVector<QString> folders;
    QString root;
};

#endif // DEVICEPATHS_H
