#include "faultyworkorderstore.h"

FaultyWorkOrderStore::FaultyWorkOrderStore(IWorkOrderStore &workOrderStore, FaultPlan &faultPlan,
                                           IErrorReporter &errors)
    : store(workOrderStore)
    , faults(faultPlan)
    , errorReporter(errors)
{}

bool FaultyWorkOrderStore::UpdateWorkOrders(QJsonArray workOrders)
{
    if (faults.IsSet(Fault::StoreFails)) {
        errorReporter.ReportError(QStringLiteral("fault: cannot store work orders"),
                                  "faultyworkorderstore", __LINE__);
        return false;
    }
    return store.UpdateWorkOrders(workOrders);
}

QJsonObject FaultyWorkOrderStore::GetWorkOrder(QString id, bool *found)
{
    return store.GetWorkOrder(id, found);
}
