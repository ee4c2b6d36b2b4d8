#ifndef JSONLENGTH_H
#define JSONLENGTH_H

#include <QByteArray>

class JsonSyntax;

/**
 * How many bytes a JSON text has, about, when it is written in the indented form of answers. A text
 * of 5 MB that is nested deeply becomes one of 10 GB, which no process survives, so this is asked
 * before. Too little only for numbers that are written out, such as 1e18: a fifth of it at worst. 0
 * for a text of more than 1,024 levels, which Qt does not take for JSON. A syntax is shown the text
 * in the same pass.
 */
qint64 IndentedJsonLength(const QByteArray &json, JsonSyntax *syntax = nullptr);

#endif
