#include "syncreport.h"

#include <QHash>
#include <QJsonDocument>
#include <algorithm>
#include <utility>

#include "clienterror.h"
#include "filerecord.h"
#include "output.h"
#include "userfiles.h"

namespace {

bool IsSame(const FileRecord &left, const FileRecord &right)
{
    return left.size == right.size && left.modifiedTime == right.modifiedTime;
}

} // namespace

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

void SyncReport::Skipped(const QString &path, const ClientError &reason)
{
    const QString message = reason.Message();
    output.Error("skipped " + (message.contains(path) ? message : path + ": " + message));
    skipped.append(QJsonObject{{"path", path}, {"error", message}});
    failedPaths.insert(path);
    status = status == ExitStatus::Done ? reason.Status() : status;
}

void SyncReport::Stopped(ClientError &error)
{
    error.TellOnce([this](const QString &message) {
        output.Error(QString("%1 (%2 files are done); run the same command again")
                         .arg(message)
                         .arg(done.size()));
    });
    stop = std::current_exception();
    status = error.Status();
}

QVector<FileRecord> SyncReport::TakeChanged(UserFiles &files)
{
    if (done.isEmpty()) {
        return {};
    }
    QHash<QString, FileRecord> listed;
    const QVector<FileRecord> listing = files.List();
    for (const FileRecord &record : listing) {
        listed.insert(record.path, record);
    }
    QVector<FileRecord> changed;
    QVector<FileRecord> same;
    for (const FileRecord &record : qAsConst(done)) {
        const auto found = listed.constFind(record.path);
        const bool differs = found != listed.constEnd() && !IsSame(*found, record);
        (differs ? changed : same).append(differs ? *found : record);
    }
    done = same;
    return changed;
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
        if (found != leftByPath.constEnd() && IsSame(*found, record)) {
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
    if (stop) {
        return;
    }
    if (done.isEmpty() && failures.isEmpty() && skipped.isEmpty()) {
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

ExitStatus SyncReport::Finish() const
{
    const QString summary = done.isEmpty() && failures.isEmpty() && skipped.isEmpty()
                                ? QStringLiteral("nothing to do")
                                : QString("%1 fetched, verified and confirmed, %2 failed")
                                      .arg(done.size())
                                      .arg(failures.size());
    output.Line(skipped.isEmpty() ? summary
                                  : QString("%1, %2 skipped").arg(summary).arg(skipped.size()));
    output.Json(QJsonDocument(QJsonObject{
        {"synchronised", FileLines::Json(done)}, {"failed", failures}, {"skipped", skipped}}));
    if (stop) {
        std::rethrow_exception(stop);
    }
    return status;
}

void SyncReport::AddFailure(const QString &path, const ClientError &error)
{
    failures.append(QJsonObject{{"path", path}, {"error", error.Message()}});
    failedPaths.insert(path);
    status = status == ExitStatus::Done ? error.Status() : status;
}
