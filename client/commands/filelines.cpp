#include "filelines.h"

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
