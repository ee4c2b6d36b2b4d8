#ifndef JSONSYNTAX_H
#define JSONSYNTAX_H

#include <QByteArray>

/**
 * Whether a text is what `QJsonDocument::fromJson` takes, leniencies included: any character behind
 * a backslash, control characters in strings, numbers such as "1." and ".5". Takes no memory, where
 * the parser takes fifty times that of a text of small arrays. Any thread.
 */
bool IsJson(const QByteArray &text);

/**
 * Whether an object in it has a key twice, with an array or object as a value. The parser keeps one
 * value and never gives back the memory of the other: a client that repeats such a text takes all
 * there is. Texts that are no JSON further on count too, up to there, and keys that differ only in
 * halves of surrogate pairs. Takes up to 16 bytes for each key of the objects that are open. Any
 * thread.
 */
bool RepeatsKeyOfJson(const QByteArray &text);

#endif
