#ifndef WORKORDERUPLOAD_H
#define WORKORDERUPLOAD_H

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QVector>
#include <functional>

#include "clienterror.h"
#include "workorders.h"

/** One work order of a file that is to be sent. */
struct WorkOrderElement
{
    QString file;
    int position = 0; ///< within the file, counted from 1
    QJsonObject document;

    /** "orders.json, element 3 (id X)". */
    QString Name() const;

    /**
     * The work orders of a file: an object with the array "cdm", an object with one work order
     * under "cdm" (as the device sends it), an array of work orders, or one work order. Throws a
     * `ClientError` of status `LocalFailure` when the file cannot be read or holds something else,
     * which names the element.
     */
    static QVector<WorkOrderElement> FromFile(const QString &file);
};

/**
 * Sends work orders in batches as long as the device takes them. The device stores a batch whole or
 * not at all and does not say which element it refuses, so a refused batch is sent again in halves
 * until the element stands alone: all others are stored. A few work orders are read back and
 * compared; of many the device's list tells that each was stored just now. A busy device has not
 * looked at the elements, so that nothing is learnt from sending fewer.
 */
class WorkOrderUpload
{
public:
    /** Told how many elements are done, stored or not. */
    using Progress = std::function<void(int done)>;
    using Failed = std::function<void(const WorkOrderElement &, const ClientError &)>;

    /** @param whenFailed called for each element that was not stored as it is */
    WorkOrderUpload(WorkOrders &workOrders, Failed whenFailed, Progress whenMoved);

    /**
     * Returns how many were stored. Throws a `ClientError` when the device cannot be reached any
     * more or does not get to the request; what was stored until then stays stored.
     */
    int Send(const QVector<WorkOrderElement> &elements);

    /** Runs of elements in their order, each as long as its request stays below `limit` bytes. */
    static QVector<QVector<WorkOrderElement>> Batches(const QVector<WorkOrderElement> &elements,
                                                      int limit);

private:
    int SendBatch(const QVector<WorkOrderElement> &batch);
    int SendHalves(const QVector<WorkOrderElement> &batch, const DeviceRefusal &refusal);
    int VerifyAll(const QVector<WorkOrderElement> &batch);
    int VerifyByList(const QVector<WorkOrderElement> &batch);
    bool Verify(const WorkOrderElement &element);

    WorkOrders &orders;
    Failed failed;
    Progress moved;
    int finished = 0;
    QHash<QString, QString> timesBefore; ///< as the device listed them before the latest batch
};

#endif // WORKORDERUPLOAD_H
