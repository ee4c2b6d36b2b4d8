#ifndef JSONMEMORY_H
#define JSONMEMORY_H

#include <QByteArray>

/**
 * How many bytes JSON takes, beside its text, while it is parsed to a QJsonDocument: about, and
 * rather too many. A text of empty arrays takes fifty times its size. Nothing is parsed for it,
 * valid JSON or not.
 */
qint64 JsonMemory(const QByteArray &json);

#endif
