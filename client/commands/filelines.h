#ifndef FILELINES_H
#define FILELINES_H

#include <QJsonArray>
#include <QString>
#include <QVector>

#include "filerecord.h"

/** How files are printed: size, time of the last change and path. */
namespace FileLines {

QString Line(const FileRecord &record);
QJsonObject Json(const FileRecord &record);
QJsonArray Json(const QVector<FileRecord> &records);

} // namespace FileLines

#endif // FILELINES_H
