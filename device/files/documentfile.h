#ifndef DOCUMENTFILE_H
#define DOCUMENTFILE_H

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <optional>

/**
 * Reads whole documents of the device that anybody may have put there: what is no regular file is
 * not opened for reading, so that a fifo holds nobody up, and what is too large stays unread.
 */
namespace DocumentFile {

/** Bytes. */
constexpr qint64 largest = qint64{16} * 1024 * 1024;

/**
 * Bytes that a document may take while it is parsed. One of `largest` bytes takes less, unless
 * nearly all of it are short arrays and objects.
 */
constexpr qint64 mostMemory = qint64{256} * 1024 * 1024;

/**
 * The content; none when the file is missing, in which case `*problem` is empty, and when it cannot
 * be used: `*problem` then says why, in words that follow a path and a colon.
 */
std::optional<QByteArray> Read(const QString &path, QString *problem, qint64 limit = largest);

/**
 * The document as text. A byte order mark is escaped in it: where a text begins with one, reading
 * would drop it.
 */
QByteArray Written(const QJsonObject &document,
                   QJsonDocument::JsonFormat format = QJsonDocument::Indented);

/**
 * How many bytes the document has at most when it is written, indented. Found without writing it,
 * since a few megabytes of JSON that is nested deeply make gigabytes of blanks.
 */
qint64 IndentedLength(const QJsonObject &document);

/**
 * As `Read`, for a file that holds one JSON object. What needs too much memory, or has a key twice
 * and so takes memory for good, stays unparsed.
 */
std::optional<QJsonObject> ReadObject(const QString &path, QString *problem);

} // namespace DocumentFile

#endif
