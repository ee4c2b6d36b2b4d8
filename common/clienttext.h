#ifndef CLIENTTEXT_H
#define CLIENTTEXT_H

#include <QString>

/**
 * What a client meant by a path or an id that was cut out of a URI, where each character stands for
 * one byte that the client sent: those bytes read as UTF-8.
 *
 * The text comes back as it is when the bytes are not valid UTF-8, and when it holds a character
 * above U+00FF and therefore was an ordinary Unicode string already.
 */
QString TextFromClient(const QString &text);

#endif
