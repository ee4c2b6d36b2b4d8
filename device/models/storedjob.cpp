#include "storedjob.h"

StoredJob::StoredJob(const QString &id, const QDateTime &modified)
    : workOrderId(id)
    , modifiedTime(modified)
{}

QString StoredJob::WorkOrderId()
{
    return workOrderId;
}

QDateTime StoredJob::ModifiedTime()
{
    return modifiedTime;
}
