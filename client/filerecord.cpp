#include "filerecord.h"

#include <QJsonValue>

#include "clienterror.h"

bool FileRecord::operator==(const FileRecord &other) const
{
    return path == other.path && size == other.size && modifiedTime == other.modifiedTime &&
           sha256 == other.sha256;
}

bool FileRecord::operator!=(const FileRecord &other) const
{
    return !(*this == other);
}

bool FileRecord::Describes(qint64 contentSize, const QString &contentSha256) const
{
    return size == contentSize && sha256 == contentSha256;
}

FileRecord FileRecord::FromListing(const QJsonObject &object)
{
    // Whole numbers are exact up to here, in JSON too.
    constexpr double largestSize = 9007199254740992.0;
    const QJsonValue size = object.value("size");
    if (!object.value("path").isString() || !size.isDouble() || size.toDouble() < 0 ||
        size.toDouble() > largestSize) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the device names a file without its path and size"));
    }
    return {object.value("path").toString(), static_cast<qint64>(size.toDouble()),
            object.value("modifiedTime").toString(), object.value("sha256").toString()};
}

FileRecord FileRecord::FromMetadata(const QJsonObject &object)
{
    FileRecord record = FromListing(object);
    record.sha256 = object.value("sha256").toString();
    constexpr int digits = 64;
    if (record.sha256.size() != digits) {
        throw ClientError(
            ExitStatus::TransferCorrupt,
            QString("the device gives no sha256 of %1: it cannot be verified").arg(record.path));
    }
    return record;
}

QVector<FileRecord> FileRecord::FromListing(const QJsonArray &array)
{
    QVector<FileRecord> records;
    records.reserve(array.size());
    for (const QJsonValue &element : array) {
        records.append(FromListing(element.toObject()));
    }
    return records;
}

QString FileLines::Line(const FileRecord &record)
{
    constexpr int sizeWidth = 12;
    return QString("%1  %2  %3").arg(record.size, sizeWidth).arg(record.modifiedTime, record.path);
}

QJsonObject FileLines::Json(const FileRecord &record)
{
    QJsonObject object{
        {"path", record.path}, {"size", record.size}, {"modifiedTime", record.modifiedTime}};
    if (!record.sha256.isEmpty()) {
        object.insert("sha256", record.sha256);
    }
    return object;
}

QJsonArray FileLines::Json(const QVector<FileRecord> &records)
{
    QJsonArray array;
    for (const FileRecord &record : records) {
        array.append(Json(record));
    }
    return array;
}

ListOfObjects FileLines::JsonList(const QVector<FileRecord> &records, const QByteArray &key)
{
    return {key, records.size(), [&records](int number) { return Json(records[number]); }};
}
