#ifndef WORKORDERUPLOAD_H
#define WORKORDERUPLOAD_H

#include <QVector>
#include <functional>

#include "devicerefusal.h"
#include "workorderelement.h"
#include "workorders.h"

/**
 * Sends work orders in batches as long as the device takes them. The device stores a batch whole or
 * not at all and does not say which element it refuses, so a refused batch is sent again in halves
 * until the element stands alone: all others are stored. What was stored is read back and compared.
 * A busy device has not looked at the elements, so that nothing is learnt from sending fewer.
 */
class WorkOrderUpload
{
public:
    using Failed = std::function<void(const WorkOrderElement &, const ClientError &)>;

    /** @param whenFailed called for each element that was not stored as it is */
    WorkOrderUpload(WorkOrders &workOrders, Failed whenFailed);

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
    bool Verify(const WorkOrderElement &element);

    WorkOrders &orders;
    Failed failed;
};

#endif // WORKORDERUPLOAD_H
