#ifndef WORKORDERID_H
#define WORKORDERID_H

#include <QJsonValue>
#include <QString>

/** The rules for the ids of work orders and for the files that they are kept in. */
class WorkOrderId
{
public:
    /** Bytes of UTF-8, so that the name of the file stays within the limits of file systems. */
    static constexpr int maximumLength = 200;

    /**
     * The id in a document: its member "workOrderId", a string of 1 to 200 bytes of UTF-8 without
     * "/" and control characters. Half a surrogate pair and a byte order mark in front are lost in
     * UTF-8, so an id has neither. Empty when there is no valid one.
     */
    static QString Of(const QJsonValue &document);

    /**
     * The name of the file for a valid id: the id and ".json". An id that begins with "." or "%"
     * gets a "%" in front: no file is hidden, no id means a folder, and different ids have
     * different names. At most 206 bytes.
     */
    static QString FileName(const QString &id);

    /** The id whose file has this name; empty when it is no such name. */
    static QString OfFileName(const QString &fileName);
};

#endif
