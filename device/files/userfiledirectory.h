#ifndef USERFILEDIRECTORY_H
#define USERFILEDIRECTORY_H

#include <QByteArrayList>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <optional>

#include "filedescriptor.h"
#include "filestatus.h"

/** A regular file below the user-files directory. */
struct UserFile
{
    QString path; ///< absolute and clean: the directory's path and the names below it
    FileStatus status;

    /** The members "path", "size" and "modifiedTime", as clients get them. */
    QJsonObject Describe() const;
};

/** A user file that is open for reading. */
struct OpenUserFile
{
    UserFile file;
    FileDescriptor descriptor;
};

/**
 * The user-files directory: the one way from a client's path to a file.
 *
 * A client's path is absolute, holds one character per byte or is an ordinary Unicode string (see
 * `TextFromClient`), and is taken apart as text first: "." and ".." are resolved, repeated slashes
 * count as one. What is left must lie inside the directory. The names are then followed from the
 * directory downwards, one by one, and only folders and at the end a regular file are entered:
 * a symbolic link anywhere below the directory, a fifo, a socket or a device is no file at all, and
 * nothing that could block is ever opened. A path that ends in "/", "/." or "/.." names no file,
 * nor does one that holds a NUL.
 *
 * Names on disk are bytes and are taken as UTF-8, whatever the locale. A name that is not valid
 * UTF-8 can be written neither in JSON nor by a client: such a file, and all below such a folder,
 * is not listed and cannot be reached. Nor is a file whose name begins with ".parlowen-upload-": an
 * upload that is on its way.
 *
 * The directory need not exist; it is looked up anew at each call and may itself be reached through
 * symbolic links. Nothing stays open between calls. One thread at a time.
 */
class UserFileDirectory
{
public:
    /** `path` is the directory's absolute path, as clients see it in front of every name. */
    explicit UserFileDirectory(const QString &path);

    /** The file that a client names; none when there is no such regular file. */
    std::optional<UserFile> Find(const QString &clientPath) const;

    /** The file with this path below the directory; none when there is no such regular file. */
    std::optional<UserFile> FindRelative(const QString &relativePath) const;

    /** A file's path below the directory. */
    QString RelativePath(const UserFile &file) const;

    /** The directory's path. */
    QString Path() const;

    /** The file that a client names, open for reading; none also when it may not be read. */
    std::optional<OpenUserFile> Open(const QString &clientPath) const;

    /**
     * Removes the file that a client names, and returns once that is on the disk. False when it is
     * still there: `*error` then says why, and is empty when there never was such a file. True with
     * an error means that the file is gone but may be back after a loss of power.
     */
    bool Remove(const QString &clientPath, QString *error) const;

    /**
     * All files, those in sub-folders included, in ascending order of the code units of their
     * paths. A folder that cannot be read is left out.
     */
    QVector<UserFile> Files() const;

    /**
     * How many regular files there are, listed or not, in sub-folders too. Counted by their names
     * alone, up to `most`.
     */
    int Count(int most) const;

private:
    /** A name in an open folder. */
    struct Location
    {
        FileDescriptor folder;
        QByteArray name;
        QString path;
    };

    std::optional<QByteArrayList> NamesBelow(const QString &clientPath) const;
    FileDescriptor OpenFolder(const QByteArrayList &names) const;
    std::optional<Location> Locate(const QString &clientPath) const;
    QString PathOf(const QByteArray &relativePath) const;
    int CountIn(const QByteArray &folder, int most, QByteArrayList *folders) const;
    void ListFolder(const QByteArray &folder, QByteArrayList *folders,
                    QVector<UserFile> *files) const;
    static std::optional<FileStatus> RegularFileStatus(const Location &location);

    QByteArrayList rootNames;
};

#endif
