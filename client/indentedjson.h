#ifndef INDENTEDJSON_H
#define INDENTEDJSON_H

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <functional>

/**
 * Writes what `QJsonDocument::toJson` makes, in pieces: the whole text of a long list would take
 * more memory than the list. No piece ends within a character.
 */
void WriteIndented(const QJsonDocument &document,
                   const std::function<void(const QByteArray &)> &write);

/** The same for a list that is made while it is written: the document, or its only member. */
struct ListOfObjects
{
    QByteArray key; ///< of the member, empty where the list is the document
    int size = 0;
    std::function<QJsonObject(int)> element;
};
void WriteIndented(const ListOfObjects &list, const std::function<void(const QByteArray &)> &write);

#endif // INDENTEDJSON_H
