#ifndef FILESTATUS_H
#define FILESTATUS_H

#include <QString>
#include <QtGlobal>

struct stat;

/**
 * What identifies one state of a file's content without reading it: as long as all of this stays
 * the same, the content is taken to be the same.
 */
struct FileStatus
{
    quint64 inode = 0;
    qint64 size = 0;                ///< in bytes
    qint64 modifiedSeconds = 0;     ///< since 1970-01-01T00:00:00Z, rounded down
    qint64 modifiedNanoseconds = 0; ///< the rest of the second, 0 to 999,999,999

    static FileStatus From(const struct stat &status);

    /** The time of the last change in UTC, as `yyyy-MM-ddThh:mm:ssZ`; kept within the years 1 to
     * 9999. */
    QString ModifiedTime() const;
};

bool operator==(const FileStatus &left, const FileStatus &right);
bool operator!=(const FileStatus &left, const FileStatus &right);
uint qHash(const FileStatus &status, uint seed = 0);

/** Whether anything has this path, even a link that leads nowhere. */
bool IsTaken(const QString &path);

#endif
