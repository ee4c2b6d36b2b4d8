#ifndef FILECHECKS_H
#define FILECHECKS_H

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

struct HttpAnswer;
class CheckedDevice;

/** What several families ask of files. All throw a `Finding` when the device does otherwise. */
namespace FileChecks {

/** Of a long listing as many files are looked at one by one. */
constexpr int filesLookedAt = 20;

QJsonArray Listing(CheckedDevice &device);
QJsonArray Pending(CheckedDevice &device);
QJsonArray AllPending(CheckedDevice &device);

/** The answer to a read of the whole file (version 1) and of a download (version 2). */
HttpAnswer Whole(CheckedDevice &device, const QString &path);
HttpAnswer Download(CheckedDevice &device, const QString &path);

QJsonObject Metadata(CheckedDevice &device, const QString &path);

/** Stores a file of the check under this name and returns its path. */
QString Store(CheckedDevice &device, const QString &name, const QByteArray &content);

/** Both ways to fetch a file bring this content, and its metadata tell size and digest. */
void RequireContent(CheckedDevice &device, const QString &path, const QByteArray &content);

/** Nothing knows of the file any more. */
void RequireGone(CheckedDevice &device, const QString &path);

/** No record is later than the clock of the device when it answered. */
void RequireNotLater(const HttpAnswer &answer, const QJsonArray &records);

/** Each record once; warns unless they are sorted by path. */
void RequireSorted(const QJsonArray &records);

bool Has(const QJsonArray &records, const QString &path);

} // namespace FileChecks

#endif
