#ifndef MULTIPARTFORM_H
#define MULTIPARTFORM_H

#include <QByteArray>
#include <QVector>

class QString;

/** Upload bodies as they stand on the wire, right ones and wrong ones. */
namespace MultipartForm {

QByteArray ContentType();

/** The parts one after the other, each with headers of its own. */
QByteArray Of(const QVector<QByteArray> &parts);

/** The description of a file: where it goes and how large it is. */
QByteArray Description(const QString &path, qint64 size);

/** The form that stores a file. */
QByteArray OfFile(const QString &path, const QByteArray &content);

} // namespace MultipartForm

#endif
