#include "linejournal.h"

#include <utility>

namespace {

int PortOfName(const QByteArray &client)
{
    return client.mid(client.lastIndexOf(':') + 1).toInt();
}

} // namespace

LineJournal::LineJournal(IRequestObserver &requestObserver)
    : observer(requestObserver)
{}

void LineJournal::RequestServed(const RequestRecord &record)
{
    const int port = PortOfName(record.client);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = connections.find(port);
        if (found == connections.end()) {
            complete.append(record); // of somebody who went round the line
        } else {
            found->record = record;
            Complete(port);
        }
    }
    Deliver();
}

void LineJournal::TransferMoved(const TransferProgress &progress)
{
    TransferProgress seen = progress;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = connections.constFind(PortOfName(progress.client));
        if (found != connections.constEnd()) {
            seen.client = found->client;
        }
    }
    observer.TransferMoved(seen);
}

void LineJournal::Begin(int port, const QByteArray &client)
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections[port] = Connection{client, {}, {}, {}, false, {}};
}

void LineJournal::Note(int port, const QString &reason)
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections[port].reasons << reason;
}

void LineJournal::SetOutcome(int port, std::optional<int> status, const QString &error)
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections[port].status = status;
    connections[port].error = error;
}

void LineJournal::AnsweredItself(int port, const RequestRecord &record)
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections[port].record = record;
}

void LineJournal::End(int port)
{
    const std::lock_guard<std::mutex> lock(mutex);
    connections[port].hasEnded = true;
    Complete(port);
    QMetaObject::invokeMethod(this, &LineJournal::Deliver, Qt::QueuedConnection);
}

void LineJournal::Complete(int port)
{
    const auto found = connections.find(port);
    if (!found->hasEnded || !found->record) {
        return;
    }
    RequestRecord record = *found->record;
    record.client = found->client;
    record.reports += found->reasons;
    record.status = found->status.value_or(record.status);
    if (!found->error.isEmpty()) {
        record.error = found->error;
    }
    complete.append(record);
    connections.erase(found);
}

void LineJournal::Deliver()
{
    QVector<RequestRecord> due;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        due = std::exchange(complete, {});
    }
    for (const RequestRecord &record : due) {
        observer.RequestServed(record);
    }
}
