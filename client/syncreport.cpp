#include "syncreport.h"

#include <QHash>
#include <QJsonDocument>
#include <algorithm>
#include <utility>

#include "clienterror.h"
#include "filerecord.h"
#include "output.h"

SyncReport::SyncReport(const Output &reportOutput)
    : output(reportOutput)
{}

void SyncReport::Confirmed(const FileRecord &record)
{
    done.append(record);
}

void SyncReport::Failed(const QString &path, const ClientError &error)
{
    output.Error(path + ": " + error.Message());
    AddFailure(path, error);
}

void SyncReport::CompareWith(const QVector<FileRecord> &left)
{
    QHash<QString, FileRecord> leftByPath;
    for (const FileRecord &record : left) {
        leftByPath.insert(record.path, record);
    }
    QVector<FileRecord> gone;
    for (const FileRecord &record : std::exchange(done, {})) {
        const auto found = leftByPath.constFind(record.path);
        // One that has changed since then is pending again, and for good reason.
        if (found != leftByPath.constEnd() && found->size == record.size &&
            found->modifiedTime == record.modifiedTime) {
            Failed(record.path, {ExitStatus::TransferCorrupt,
                                 QStringLiteral("still pending after its confirmation")});
        } else {
            gone.append(record);
        }
    }
    done = gone;
    const auto others = std::count_if(left.begin(), left.end(), [this](const FileRecord &record) {
        return !failedPaths.contains(record.path);
    });
    if (others > 0) {
        output.Notice(QString("%1 changed just now and are left for the next run").arg(others));
    }
}

void SyncReport::NotCompared(const ClientError &error)
{
    if (done.isEmpty() && failures.isEmpty()) {
        throw error;
    }
    const ClientError unknown(error.Status(), "not known to be confirmed: " + error.Message());
    if (!done.isEmpty()) {
        output.Error(QString("%1 files are %2").arg(done.size()).arg(unknown.Message()));
    }
    for (const FileRecord &record : std::exchange(done, {})) {
        AddFailure(record.path, unknown);
    }
    status = status == ExitStatus::Done ? error.Status() : status;
}

ExitStatus SyncReport::Status() const
{
    return status;
}

void SyncReport::Print() const
{
    output.Line(done.isEmpty() && failures.isEmpty()
                    ? QStringLiteral("nothing to do")
                    : QString("%1 fetched, verified and confirmed, %2 failed")
                          .arg(done.size())
                          .arg(failures.size()));
    output.Json(
        QJsonDocument(QJsonObject{{"synchronised", FileLines::Json(done)}, {"failed", failures}}));
}

void SyncReport::AddFailure(const QString &path, const ClientError &error)
{
    failures.append(QJsonObject{{"path", path}, {"error", error.Message()}});
    failedPaths.insert(path);
    status = status == ExitStatus::Done ? error.Status() : status;
}
