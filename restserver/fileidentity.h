#ifndef FILEIDENTITY_H
#define FILEIDENTITY_H

#include <QByteArray>
#include <QtGlobal>
#include <optional>
#include <tuple>

/**
 * Tells a file from another one that has taken its name. A file that grows or changes stays the
 * same; its number may be used again once it is gone, so the time at which it was made counts too,
 * where the file system keeps it.
 */
class FileIdentity
{
public:
    /** None where nothing has this name. */
    static std::optional<FileIdentity> At(const QByteArray &path);

    bool operator==(const FileIdentity &other) const { return members == other.members; }

private:
    // Device, number, and seconds and nanoseconds of the time at which it was made.
    std::tuple<quint32, quint32, quint64, qint64, quint32> members;
};

#endif
