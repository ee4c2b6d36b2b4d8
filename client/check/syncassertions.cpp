#include <QElapsedTimer>
#include <QThread>

#include "assertions.h"
#include "checkeddevice.h"
#include "checkinterruption.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "routes.h"

namespace {

constexpr int filesLookedAt = 20;
constexpr qint64 largestWhole = 16'777'216;
constexpr char fileNotFound[] = "File not found";

void PendingSorted(CheckedDevice &device, const char *route)
{
    FileChecks::RequireSorted(Expect::Array(device.Get(route)));
}

void PendingNotLater(CheckedDevice &device, const char *route)
{
    const HttpAnswer answer = device.Get(route);
    FileChecks::RequireNotLater(answer, Expect::Array(answer));
}

void PendingInTime(CheckedDevice &device, const char *route)
{
    const HttpAnswer answer = device.Get(route);
    Expect::Prompt(answer, Expect::Array(answer).size());
}

void PendingTakesQuery(CheckedDevice &device)
{
    const QJsonArray plain = FileChecks::AllPending(device);
    const QByteArray route = Routes::allPendingFiles + QByteArray("?parlowen=check");
    Require(Expect::Array(device.Get(route)) == plain, "the answer is another one with a query");
}

void AreAmongAll(CheckedDevice &device)
{
    const QJsonArray pending = FileChecks::Pending(device);
    const QJsonArray all = FileChecks::AllPending(device);
    for (const QJsonValue &record : pending) {
        Require(all.contains(record), QString("%1 is pending and not among all pending files")
                                          .arg(record.toObject().value("path").toString()));
    }
}

void AreListed(CheckedDevice &device)
{
    const QJsonArray pending = FileChecks::AllPending(device);
    const QJsonArray pendingListing = FileChecks::Listing(device);
    for (const QJsonValue &record : pending) {
        const QString path = record.toObject().value("path").toString();
        const QJsonObject listed = ObjectWith(pendingListing, "path", path);
        Require(!listed.isEmpty(), path + " is pending and not listed");
        Require(listed.value("size") == record.toObject().value("size") &&
                    listed.value("modifiedTime") == record.toObject().value("modifiedTime"),
                path + " has another size or time in the pendingListing");
    }
}

void ReadsListedWhole(CheckedDevice &device)
{
    int count = 0;
    for (const QJsonObject &file : device.SomeFiles(filesLookedAt)) {
        const QString path = file.value("path").toString();
        const auto size = static_cast<qint64>(file.value("size").toDouble());
        if (size > 0 && size <= largestWhole) {
            const HttpAnswer whole = FileChecks::Whole(device, path);
            Require(whole.body.size() == size, QString("%1: %2 bytes came, %3 are listed")
                                                   .arg(path)
                                                   .arg(whole.body.size())
                                                   .arg(size));
            Require(whole.body == FileChecks::Download(device, path).body,
                    path + ": the versions send different bytes");
            Expect::Content(whole, whole.body);
            ++count;
        }
    }
    device.Note(QString("%1 files").arg(count));
}

void SyncRefuses(CheckedDevice &device, const QString &path)
{
    Expect::Error(FileChecks::Whole(device, path), fileNotFound);
}

void SyncRefusesMissing(CheckedDevice &device)
{
    SyncRefuses(device, "/parlowen-check-none");
}

void SyncRefusesOutside(CheckedDevice &device)
{
    SyncRefuses(device, "/etc/passwd");
}

void SyncRefusesDots(CheckedDevice &device)
{
    const QString folder = device.Folder();
    SyncRefuses(device, folder + QString("/..").repeated(folder.count('/')) + "/etc/passwd");
}

void SyncRefusesSibling(CheckedDevice &device)
{
    SyncRefuses(device, device.Folder() + "2/parlowen-check-none");
}

void SyncRefusesFolder(CheckedDevice &device)
{
    SyncRefuses(device, device.Folder());
}

HttpAnswer Confirm(CheckedDevice &device, const QString &path)
{
    return device.Put(DeviceConnection::Route(Routes::syncFiles, path), {});
}

void ConfirmsNoMissing(CheckedDevice &device)
{
    Expect::Error(Confirm(device, "/parlowen-check-none"), fileNotFound);
}

void ConfirmsNoOutside(CheckedDevice &device)
{
    Expect::Error(Confirm(device, "/etc/passwd"), fileNotFound);
}

void StoresByVersion1(CheckedDevice &device)
{
    const QByteArray content = Bytes(1000, 2);
    const QString path = device.NewFile("version-1");
    Expect::Done(device.Upload(path, content, Routes::syncFiles));
    FileChecks::RequireContent(device, path, content);
}

void NewIsPending(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "pending", "first");
    Require(FileChecks::Has(FileChecks::AllPending(device), path),
            "a new file is not among all pending files");
}

void NewIsNotPendingYet(CheckedDevice &device)
{
    constexpr qint64 soonMs = 1000;
    QElapsedTimer sinceStored;
    sinceStored.start();
    const QString path = FileChecks::Store(device, "not-yet", "first");
    const bool isPending = FileChecks::Has(FileChecks::Pending(device), path);
    if (sinceStored.hasExpired(soonMs)) {
        NotTested("storing and asking took more than a second");
    }
    if (isPending) {
        Warn("a file is pending at once: clients fetch it while it is written");
    }
}

void NewBecomesPending(CheckedDevice &device)
{
    constexpr qint64 longestMs = 15'000;
    constexpr unsigned long pauseMs = 250;
    const QString path = FileChecks::Store(device, "settled", "first");
    QElapsedTimer waiting;
    waiting.start();
    while (!FileChecks::Has(FileChecks::Pending(device), path)) {
        Require(!waiting.hasExpired(longestMs), "a new file is not pending after 15 s");
        CheckInterruption::ThrowIfRequested();
        QThread::msleep(pauseMs);
    }
    device.Note(QString("after %1 ms").arg(waiting.elapsed()));
}

QString StoredAndConfirmed(CheckedDevice &device, const QString &name)
{
    QString path = FileChecks::Store(device, name, "first");
    Expect::Done(Confirm(device, path));
    return path;
}

void ConfirmedIsNotPending(CheckedDevice &device)
{
    const QString path = StoredAndConfirmed(device, "confirmed");
    Require(!FileChecks::Has(FileChecks::AllPending(device), path),
            "a confirmed file is among all pending files");
    Require(!FileChecks::Has(FileChecks::Pending(device), path), "a confirmed file is pending");
}

void ConfirmedStays(CheckedDevice &device)
{
    const QString path = StoredAndConfirmed(device, "confirmed");
    FileChecks::RequireContent(device, path, "first");
    Require(FileChecks::Has(FileChecks::Listing(device), path), "a confirmed file is not listed");
}

void ConfirmsAgain(CheckedDevice &device)
{
    Expect::Done(Confirm(device, StoredAndConfirmed(device, "confirmed")));
}

void ChangedIsPending(CheckedDevice &device)
{
    // Longer than the steps in which file systems count the time.
    constexpr unsigned long pauseMs = 50;
    const QString path = StoredAndConfirmed(device, "changed");
    QThread::msleep(pauseMs);
    Expect::Done(device.Upload(path, "other"));
    Require(FileChecks::Has(FileChecks::AllPending(device), path),
            "a confirmed file whose content changed is not pending again");
}

void DeletedIsNotPending(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "deleted-pending", "first");
    Expect::Done(device.Delete(DeviceConnection::Route(Routes::userFiles, path)));
    Require(!FileChecks::Has(FileChecks::AllPending(device), path), "a deleted file is pending");
    Expect::Error(Confirm(device, path), fileNotFound);
}

QVector<Assertion> SyncReadingAssertions()
{
    const QString pending = "ISyncFilesModel::GetPendingFiles; http-api: Files";
    const QString all = "ISyncFilesModel::GetAllPendingFiles; http-api: Files";
    const QString data = "ISyncFilesModel::GetFileData; http-api: Two versions of the file routes";
    const QString bounds = "ISyncFilesModel::GetFileData; http-api: Names";
    return {
        {"sync.pending.sorted", "Pending files are sorted by path, each once.", pending,
         Effect::Reads, With(PendingSorted, Routes::pendingFiles)},
        {"sync.all.sorted", "All pending files are sorted by path, each once.", all, Effect::Reads,
         With(PendingSorted, Routes::allPendingFiles)},
        {"sync.pending.time-not-later", "No pending file changed after the time of the device.",
         pending, Effect::Reads, With(PendingNotLater, Routes::pendingFiles)},
        {"sync.all.time-not-later", "The same holds for all pending files.", all, Effect::Reads,
         With(PendingNotLater, Routes::allPendingFiles)},
        {"sync.pending.in-time", "The pending files come within a second.", pending, Effect::Reads,
         With(PendingInTime, Routes::pendingFiles)},
        {"sync.all.in-time", "All pending files come within a second.", all, Effect::Reads,
         With(PendingInTime, Routes::allPendingFiles)},
        {"sync.pending.among-all", "Every pending file is among all pending files.", all,
         Effect::Reads, AreAmongAll},
        {"sync.pending.listed", "Every pending file is a listed one of this size and time.", all,
         Effect::Reads, AreListed},
        {"sync.pending.query", "A query changes nothing.", all, Effect::Reads, PendingTakesQuery},
        {"sync.whole", "Every listed file of up to 16 MiB is read whole, with its bytes.", data,
         Effect::Reads, ReadsListedWhole},
        {"sync.whole.missing", "A missing file is answered \"File not found\".", data,
         Effect::Reads, SyncRefusesMissing},
        {"sync.whole.folder", "A folder is answered \"File not found\".", data, Effect::Reads,
         SyncRefusesFolder},
        {"sync.whole.outside", "No file outside of the user files is read.", bounds, Effect::Reads,
         SyncRefusesOutside},
        {"sync.whole.dots", "\"..\" leads to no other file.", bounds, Effect::Reads,
         SyncRefusesDots},
        {"sync.whole.sibling", "A folder whose name begins alike is another one.", bounds,
         Effect::Reads, SyncRefusesSibling},
    };
}

QVector<Assertion> SyncWritingAssertions()
{
    const QString pending = "ISyncFilesModel::GetPendingFiles; http-api: Files";
    const QString all = "ISyncFilesModel::GetAllPendingFiles; http-api: Files";
    const QString confirm =
        "ISyncFilesModel::MarkFileSynced; http-api: Upload, fetch, confirm, delete";
    return {
        {"sync.upload", "Version 1 stores a file.", "http-api: Two versions of the file routes",
         Effect::Writes, StoresByVersion1},
        {"sync.new.all", "A new file is among all pending files at once.", all, Effect::Writes,
         NewIsPending},
        {"sync.new.not-yet", "A file that is just being written is not pending yet.", pending,
         Effect::Writes, NewIsNotPendingYet},
        {"sync.new.pending", "A new file becomes pending once nobody writes to it.", pending,
         Effect::Writes, NewBecomesPending},
        {"sync.confirm", "A confirmed file is not pending.", confirm, Effect::Writes,
         ConfirmedIsNotPending},
        {"sync.confirm.stays", "A confirmed file stays as it is.", confirm, Effect::Writes,
         ConfirmedStays},
        {"sync.confirm.again", "A file may be confirmed again.", confirm, Effect::Writes,
         ConfirmsAgain},
        {"sync.confirm.missing", "A missing file cannot be confirmed.", confirm, Effect::Writes,
         ConfirmsNoMissing},
        {"sync.confirm.outside", "A file outside of the user files cannot be confirmed.", confirm,
         Effect::Writes, ConfirmsNoOutside},
        {"sync.changed", "A confirmed file is pending again once its content changes.", all,
         Effect::Writes, ChangedIsPending},
        {"sync.deleted", "A deleted file is neither pending nor confirmed.", all, Effect::Writes,
         DeletedIsNotPending},
    };
}

} // namespace

AssertionGroup Assertions::OfSyncFilesModel()
{
    return {"ISyncFilesModel", "The files that wait to be fetched",
            SyncReadingAssertions() + SyncWritingAssertions()};
}
