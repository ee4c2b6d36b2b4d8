#ifndef JOBMODEL_H
#define JOBMODEL_H

#include <vector>

#include "hostmodel.h"
#include "statefile.h"
#include "workorderstore.h"

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

/**
 * The stored work orders as a list of jobs, and the active one among them.
 *
 * The jobs are in ascending order of their ids' code units, whatever the order they were stored in.
 * The active job is kept by its id in the state folder, in `active-work-order.json`, and is back
 * after a restart. When its work order is gone, none is active from then on, even if a work order
 * of that id is stored later. Main thread only.
 */
class JobModel : public IJobModel
{
public:
    /** Keeps the references; the objects outlive this one. The store has been loaded. */
    JobModel(const WorkOrderStore &workOrders, FileSystem &fileSystem, const QString &stateFolder,
             IErrorReporter &errors);

    QVector<Job *> Jobs() override;

    /** Makes all jobs anew: those handed out before are gone. */
    void RefreshJobs() override;

    /**
     * A null pointer makes none active. When the choice cannot be stored, which is reported, the
     * former one holds.
     */
    void SetActiveJob(Job *job) override;

    Job *ActiveJob() override;

private:
    bool Activate(const QString &id);
    StoredJob *Find(const QString &id);

    const WorkOrderStore &store;
    StateFile state;
    std::vector<StoredJob> storedJobs;
    QVector<Job *> jobs;      // points into storedJobs
    QString activeId;         // empty when none is active
    Job *activeJob = nullptr; // points into storedJobs
};

#endif
