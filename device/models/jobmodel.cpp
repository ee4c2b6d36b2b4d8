#include "jobmodel.h"

#include <algorithm>

namespace {

const QString &ActiveKey()
{
    static const QString key = QStringLiteral("activeWorkOrderId");
    return key;
}

bool IsActiveWorkOrder(const QJsonObject &state)
{
    return state.value(ActiveKey()).isString();
}

} // namespace

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

JobModel::JobModel(const WorkOrderStore &workOrders, FileSystem &fileSystem,
                   const QString &stateFolder, IErrorReporter &errors)
    : store(workOrders)
    , state(fileSystem, stateFolder + QLatin1String("/active-work-order.json"), errors)
    , activeId(state.Load(IsActiveWorkOrder).value(ActiveKey()).toString())
{
    JobModel::RefreshJobs();
}

QVector<Job *> JobModel::Jobs()
{
    return jobs;
}

void JobModel::RefreshJobs()
{
    const auto &entries = store.Entries();
    storedJobs.clear();
    storedJobs.reserve(entries.size());
    jobs.clear();
    jobs.reserve(static_cast<int>(entries.size()));
    for (const auto &[id, entry] : entries) {
        storedJobs.emplace_back(id, entry.modifiedTime);
        jobs.append(&storedJobs.back());
    }
    activeJob = Find(activeId);
    if (activeJob == nullptr && !activeId.isEmpty()) {
        Activate(QString());
    }
}

void JobModel::SetActiveJob(Job *job)
{
    const QString id = job != nullptr ? job->WorkOrderId() : QString();
    if (id == activeId || Activate(id)) {
        activeJob = job;
    }
}

Job *JobModel::ActiveJob()
{
    return activeJob;
}

bool JobModel::Activate(const QString &id)
{
    const bool stored = state.Store({{ActiveKey(), id}});
    if (stored) {
        activeId = id;
    }
    return stored;
}

StoredJob *JobModel::Find(const QString &id)
{
    const auto job = std::lower_bound(
        storedJobs.begin(), storedJobs.end(), id,
        [](StoredJob &left, const QString &right) { return left.WorkOrderId() < right; });
    return job != storedJobs.end() && job->WorkOrderId() == id ? &*job : nullptr;
}
