#ifndef FILERECORD_H
#define FILERECORD_H

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include "indentedjson.h"

/** What the device says of one of its files. */
struct FileRecord
{
    QString path; ///< absolute, on the device
    qint64 size = 0;
    QString modifiedTime;
    QString sha256; ///< always in metadata, in listings where the device tells it

    bool operator==(const FileRecord &other) const;
    bool operator!=(const FileRecord &other) const;

    /** True when a content of this size and sum is what the record describes. */
    bool Describes(qint64 contentSize, const QString &contentSha256) const;

    /** Both throw a `ClientError` of status `TransferCorrupt` when something is missing. */
    static FileRecord FromListing(const QJsonObject &object);
    static FileRecord FromMetadata(const QJsonObject &object);
    static QVector<FileRecord> FromListing(const QJsonArray &array);
};

/** How files are printed: size, time of the last change and path. */
namespace FileLines {

QString Line(const FileRecord &record);
QJsonObject Json(const FileRecord &record);
QJsonArray Json(const QVector<FileRecord> &records);

/** The same as a list to print, for as long as the records are there. */
ListOfObjects JsonList(const QVector<FileRecord> &records, const QByteArray &key);

} // namespace FileLines

#endif // FILERECORD_H
