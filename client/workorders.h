#ifndef WORKORDERS_H
#define WORKORDERS_H

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include "deviceconnection.h"

/** The work orders of a device. Every operation throws `ClientError`; an empty id is `Usage`. */
class WorkOrders
{
public:
    explicit WorkOrders(DeviceConnection &deviceConnection);

    /**
     * The device's answer: the work order, without images, under "cdm". An answer with the work
     * order of another id is `TransferCorrupt`.
     */
    QJsonObject Get(const QString &id);

    /** The id of the active work order, empty when none is. */
    QString Active();

    /** When each was last stored, by id, as the device writes it. */
    QHash<QString, QString> Times();

    /** Makes a work order the active one and looks that it is. */
    void SetActive(const QString &id);

    /**
     * Stores all of these or none; the device replaces work orders of the same id. The text of the
     * request must be shorter than `bodyLimit`.
     */
    void Store(const QJsonArray &documents);

    /** True when the device has this document, but for the images, which it does not send. */
    bool Has(const QString &id, const QJsonObject &document);

    /** The id in a document, empty when it has none. */
    static QString IdOf(const QJsonObject &document);

    /** The request that `Store` sends. */
    static QByteArray Body(const QJsonArray &documents);

    /** A longer body reaches the device in pieces, of which it reads only the first. */
    static constexpr int bodyLimit = 5'000'000;

private:
    DeviceConnection &connection;
};

#endif // WORKORDERS_H
