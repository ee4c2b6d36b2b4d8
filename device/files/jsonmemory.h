#ifndef JSONMEMORY_H
#define JSONMEMORY_H

#include <QByteArray>

class JsonSyntax;

/**
 * How many bytes JSON takes, beside its text, while it is parsed to a QJsonDocument: about, and
 * rather too many. A text of empty arrays takes fifty times its size. Nothing is parsed for it,
 * valid JSON or not. A syntax is shown the text in the same pass.
 */
qint64 JsonMemory(const QByteArray &json, JsonSyntax *syntax = nullptr);

#endif
