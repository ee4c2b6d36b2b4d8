#include "assertions.h"
#include "checkeddevice.h"
#include "deviceconnection.h"
#include "expectations.h"
#include "filechecks.h"
#include "routes.h"

namespace {

constexpr char notRead[] = "File read failure";
constexpr qint64 largestFetched = 100'000'000;

void Sorted(CheckedDevice &device)
{
    FileChecks::RequireSorted(FileChecks::Listing(device));
}

void NotLater(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get(Routes::userFiles);
    FileChecks::RequireNotLater(answer, Expect::Object(answer).value("files").toArray());
}

void InTime(CheckedDevice &device)
{
    const HttpAnswer answer = device.Get(Routes::userFiles);
    Expect::Prompt(answer, Expect::Object(answer).value("files").toArray().size());
}

void ListsFilesTheSame(CheckedDevice &device)
{
    const QJsonArray first = FileChecks::Listing(device);
    Require(first == FileChecks::Listing(device), "two listings differ");
}

void BelowOneFolder(CheckedDevice &device)
{
    const QStringList paths = Members(FileChecks::Listing(device), "path");
    for (const QString &path : paths) {
        Require(path.startsWith(device.Folder() + '/'),
                QString("%1 is not below %2").arg(path, device.Folder()));
        Require(!path.contains("/../") && !path.contains("/./") && !path.contains("//"),
                path + " is not a plain path");
    }
}

// Lists the same bytes, size and digest for each file.
void DownloadsListed(CheckedDevice &device)
{
    int count = 0;
    for (const QJsonObject &file : device.SomeFiles(FileChecks::filesLookedAt)) {
        const QString path = file.value("path").toString();
        const auto size = static_cast<qint64>(file.value("size").toDouble());
        if (size > 0 && size <= largestFetched) {
            const QByteArray body = FileChecks::Download(device, path).body;
            Require(
                body.size() == size,
                QString("%1: %2 bytes came, %3 are listed").arg(path).arg(body.size()).arg(size));
            ++count;
        }
    }
    device.Note(QString("%1 files").arg(count));
}

void DigestsAreRight(CheckedDevice &device)
{
    for (const QJsonObject &file : device.SomeFiles(FileChecks::filesLookedAt)) {
        const QString path = file.value("path").toString();
        const QString digest = FileChecks::Metadata(device, path).value("sha256").toString();
        const double size = file.value("size").toDouble();
        if (digest.isEmpty()) {
            NotTested("the metadata have no digest");
        }
        if (size > 0 && size <= static_cast<double>(largestFetched)) {
            Require(QString(DigestOf(FileChecks::Download(device, path).body)) == digest,
                    path + ": the digest is not that of the content");
        }
    }
}

void FetchRefuses(CheckedDevice &device, const QString &path)
{
    Expect::Error(FileChecks::Download(device, path), notRead);
}

void FetchRefusesMissing(CheckedDevice &device)
{
    FetchRefuses(device, device.Folder() + "/parlowen-check-none");
}

void FetchRefusesToFetchFolder(CheckedDevice &device)
{
    FetchRefuses(device, device.Folder());
}

void FetchRefusesOutside(CheckedDevice &device)
{
    FetchRefuses(device, "/etc/passwd");
}

void FetchRefusesDotsInPath(CheckedDevice &device)
{
    const QString folder = device.Folder();
    FetchRefuses(device, folder + QString("/..").repeated(folder.count('/')) + "/etc/passwd");
}

void FetchRefusesSibling(CheckedDevice &device)
{
    FetchRefuses(device, device.Folder() + "2/parlowen-check-none");
}

void DeletesNoMissing(CheckedDevice &device)
{
    const QString path = device.Folder() + "/parlowen-check-none";
    Expect::Error(device.Delete(DeviceConnection::Route(Routes::userFiles, path)), "Invalid URI");
}

void DeletesNoOutside(CheckedDevice &device)
{
    const QByteArray route = Routes::userFiles + QByteArray("/parlowen-check-none");
    Expect::Error(device.Delete(route), "Invalid URI");
}

HttpAnswer Delete(CheckedDevice &device, const QString &path)
{
    return device.Delete(DeviceConnection::Route(Routes::userFiles, path));
}

void Deletes(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "deleted", "content");
    Expect::Done(Delete(device, path));
    FileChecks::RequireGone(device, path);
}

void DeletesOnce(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "deleted-twice", "content");
    Expect::Done(Delete(device, path));
    Expect::Error(Delete(device, path), "Invalid URI");
}

void DeletesOnlyOne(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "deleted", "content");
    const QString other = FileChecks::Store(device, "deleted.kept", "content");
    Expect::Done(Delete(device, path));
    FileChecks::RequireContent(device, other, "content");
}

void ListsStoredFile(CheckedDevice &device)
{
    const QString path = FileChecks::Store(device, "listed", "content");
    const QJsonObject record = ObjectWith(FileChecks::Listing(device), "path", path);
    Require(!record.isEmpty(), "a stored file is not listed");
    Require(record.value("size") == 7, "the listing tells another size");
}

void TellsTimeOfFile(CheckedDevice &device)
{
    constexpr int tolerated = 10;
    const QString path = FileChecks::Store(device, "time", "content");
    const HttpAnswer answer = device.Get(Routes::userFiles);
    const QJsonArray files = Expect::Object(answer).value("files").toArray();
    const QString time = ObjectWith(files, "path", path).value("modifiedTime").toString();
    const QDateTime stored = QDateTime::fromString(time, Qt::ISODate);
    const qint64 seconds = stored.secsTo(Expect::Clock(answer));
    Require(stored.isValid() && qAbs(seconds) <= tolerated,
            QString("stored now, \"modifiedTime\" is %1, %2 s before the time of the device")
                .arg(time)
                .arg(seconds));
}

void SendsPieces(CheckedDevice &device)
{
    constexpr int severalPieces = 12'345'678;
    const QByteArray content = Bytes(severalPieces, 3);
    const QString path = FileChecks::Store(device, "pieces", content);
    const HttpAnswer answer = FileChecks::Download(device, path);
    Expect::Content(answer, content);
    Require(answer.Header("transfer-encoding").toLower() == "chunked",
            "the file is not sent in pieces while it is read");
}

QVector<Assertion> ReadingAssertions()
{
    const QString list = "IFileManagerModel::GetUserFiles; http-api: Files";
    const QString time = "IFileManagerModel::GetUserFiles; http-api: Files (times are UTC)";
    const QString read = "IFileManagerModel::ReadFileChunk, IStorageModel::Directory; http-api: "
                         "Files";
    const QString bounds = "IFileManagerModel::ReadFileChunk; http-api: Names";
    return {
        {"files.sorted", "The listing is sorted by path, each file once.", list, Effect::Reads,
         Sorted},
        {"files.same", "Two listings are the same.", list, Effect::Reads, ListsFilesTheSame},
        {"files.plain-paths", "Every listed file lies below the folder of the user files.", list,
         Effect::Reads, BelowOneFolder},
        {"files.time-not-later", "No file changed after the time of the device.", time,
         Effect::Reads, NotLater},
        {"files.in-time", "The listing comes within a second.", list, Effect::Reads, InTime},
        {"files.download", "Every listed file can be downloaded, with its size.", read,
         Effect::Reads, DownloadsListed},
        {"files.digest", "The digest of the metadata is that of the download.", read, Effect::Reads,
         DigestsAreRight},
        {"files.missing", "A missing file is answered \"File read failure\".", read, Effect::Reads,
         FetchRefusesMissing},
        {"files.folder", "A folder is answered \"File read failure\".", read, Effect::Reads,
         FetchRefusesToFetchFolder},
        {"files.outside", "No file outside of the user files is sent.", bounds, Effect::Reads,
         FetchRefusesOutside},
        {"files.dots", "\"..\" leads to no other file.", bounds, Effect::Reads,
         FetchRefusesDotsInPath},
        {"files.sibling", "A folder whose name begins alike is another one.", bounds, Effect::Reads,
         FetchRefusesSibling},
    };
}

QVector<Assertion> WritingAssertions()
{
    const QString list = "IFileManagerModel::GetUserFiles; http-api: Files";
    const QString read = "IFileManagerModel::ReadFileChunk; http-api: Files";
    const QString remove =
        "IFileManagerModel::DeleteUserFile; http-api: Upload, fetch, confirm, delete";
    return {
        {"files.listed", "A stored file is listed with its size.", list, Effect::Writes,
         ListsStoredFile},
        {"files.time-of-store", "The listing tells when a file was stored, in UTC.", list,
         Effect::Writes, TellsTimeOfFile},
        {"files.pieces", "A file of 12,345,678 bytes is sent in pieces.", read, Effect::Writes,
         SendsPieces},
        {"files.delete", "A deleted file is gone everywhere.", remove, Effect::Writes, Deletes},
        {"files.delete.once", "A file can be deleted once.", remove, Effect::Writes, DeletesOnce},
        {"files.delete.alone", "Deleting one file leaves the others.", remove, Effect::Writes,
         DeletesOnlyOne},
        {"files.delete.missing", "A missing file cannot be deleted.", remove, Effect::Writes,
         DeletesNoMissing},
        {"files.delete.outside", "Nothing outside of the user files can be deleted.", remove,
         Effect::Writes, DeletesNoOutside},
    };
}

} // namespace

AssertionGroup Assertions::OfFileManagerModel()
{
    return {"IFileManagerModel", "The user files: listing, reading in pieces, deleting",
            ReadingAssertions() + WritingAssertions()};
}
