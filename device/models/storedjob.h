#ifndef STOREDJOB_H
#define STOREDJOB_H

#include "hostmodel.h"

/** A stored work order in the list of jobs: a plain value that does not change. */
class StoredJob final : public Job
{
public:
    /** `modified` is in UTC. */
    StoredJob(const QString &id, const QDateTime &modified);

    QString WorkOrderId() override;
    QDateTime ModifiedTime() override;

private:
    QString workOrderId;
    QDateTime modifiedTime;
};

#endif
