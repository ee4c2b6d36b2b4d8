#ifndef FAULTYWORKORDERSTORE_H
#define FAULTYWORKORDERSTORE_H

#include "faultplan.h"

/** A work order store that stores nothing when the plan says so. */
class FaultyWorkOrderStore : public IWorkOrderStore
{
public:
    /** Keeps the references; all objects outlive this one. */
    FaultyWorkOrderStore(IWorkOrderStore &workOrderStore, FaultPlan &faultPlan,
                         IErrorReporter &errors);

    bool UpdateWorkOrders(QJsonArray workOrders) override;
    QJsonObject GetWorkOrder(QString id, bool *found) override;

private:
    IWorkOrderStore &store;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
};

#endif
