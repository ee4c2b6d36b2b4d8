#include "bulkreport.h"

#include <QJsonDocument>

#include "output.h"

BulkReport::BulkReport(const Output &reportOutput, const char *nameKey)
    : output(reportOutput)
    , key(nameKey)
{}

void BulkReport::ForEach(const QVector<QString> &names,
                         const std::function<QJsonObject(const QString &)> &work)
{
    for (const QString &name : names) {
        try {
            done.append(work(name));
        } catch (const Unnameable &error) {
            Skipped(name, error);
        } catch (ClientError &error) {
            if (!error.EndsEverything()) {
                Failed(name, error);
                continue;
            }
            stopMessage = names.size() == 1 ? error.Message()
                                            : QString("%1 (%2 of %3 are done)")
                                                  .arg(error.Message())
                                                  .arg(done.size())
                                                  .arg(names.size());
            error.TellOnce([&](const QString &) { output.Error(stopMessage); });
            stop = std::current_exception();
            return;
        }
    }
}

void BulkReport::Failed(const QString &name, const ClientError &error)
{
    const QString message = error.Message();
    output.Error(message.contains(name) ? message : name + ": " + message);
    Add(failed, name, error);
}

void BulkReport::Skipped(const QString &name, const ClientError &reason)
{
    const QString message = reason.Message();
    output.Error("skipped " + (message.contains(name) ? message : name + ": " + message));
    Add(skipped, name, reason);
}

ExitStatus BulkReport::Finish(const char *doneKey) const
{
    QJsonObject result{{doneKey, done}, {"failed", failed}, {"skipped", skipped}};
    if (stop) {
        result.insert("error", stopMessage);
    }
    output.Json(QJsonDocument(result));
    if (stop) {
        std::rethrow_exception(stop);
    }
    return status;
}

void BulkReport::Add(QJsonArray &list, const QString &name, const ClientError &error)
{
    list.append(QJsonObject{{key, name}, {"error", error.Message()}});
    status = status == ExitStatus::Done ? error.Status() : status;
}
