#include "syncfilesmodel.h"

#include <QSet>
#include <algorithm>
#include <utility>

#include "durablefile.h"

namespace {

constexpr qint64 LargestFileData = qint64(64) * 1024 * 1024;
constexpr std::chrono::seconds SettlingTime(2);

const QString filesKey = QStringLiteral("files");
const QString pathKey = QStringLiteral("path");
const QString inodeKey = QStringLiteral("inode");
const QString sizeKey = QStringLiteral("size");
const QString secondsKey = QStringLiteral("modifiedSeconds");
const QString nanosecondsKey = QStringLiteral("modifiedNanoseconds");
const QString sha256Key = QStringLiteral("sha256");
const QString techIdKey = QStringLiteral("techId");

QJsonArray Describe(const QVector<UserFile> &files)
{
    QJsonArray descriptions;
    for (const UserFile &file : files) {
        descriptions.append(file.Describe());
    }
    return descriptions;
}

bool IsUsableEntry(const QJsonValue &entry)
{
    const QJsonObject object = entry.toObject();
    bool inode = false;
    object.value(inodeKey).toString().toULongLong(&inode);
    return inode && object.value(pathKey).isString() && object.value(sizeKey).isDouble() &&
           object.value(secondsKey).isDouble() && object.value(nanosecondsKey).isDouble();
}

qint64 Integer(const QJsonObject &object, const QString &key)
{
    return object.value(key).toVariant().toLongLong();
}

FileStatus StatusFromJson(const QJsonObject &entry)
{
    FileStatus status;
    status.inode = entry.value(inodeKey).toString().toULongLong();
    status.size = Integer(entry, sizeKey);
    status.modifiedSeconds = Integer(entry, secondsKey);
    status.modifiedNanoseconds = Integer(entry, nanosecondsKey);
    return status;
}

} // namespace

std::chrono::nanoseconds SyncFilesModel::SystemTime()
{
    return std::chrono::system_clock::now().time_since_epoch();
}

SyncFilesModel::SyncFilesModel(const UserFileDirectory &userFiles, FileDigestCache &digests,
                               FileSystem &files, const QString &stateFolder,
                               IErrorReporter &errors, Clock currentTime)
    : directory(userFiles)
    , digestCache(digests)
    , errorReporter(errors)
    , clock(std::move(currentTime))
    , confirmedFile(files, stateFolder + QStringLiteral("/confirmed-files.json"), errors)
    , technicianFile(files, stateFolder + QStringLiteral("/technician.json"), errors)
    , confirmations(FromJson(confirmedFile.Load(IsUsable)))
{
    const auto holdsId = [](const QJsonObject &state) { return state.value(techIdKey).isString(); };
    technicianId = technicianFile.Load(holdsId).value(techIdKey).toString();
}

QJsonArray SyncFilesModel::GetPendingFiles()
{
    QVector<UserFile> files = PendingFiles();
    files.erase(std::remove_if(files.begin(), files.end(),
                               [this](const UserFile &file) { return !IsSettled(file); }),
                files.end());
    return Describe(files);
}

QJsonArray SyncFilesModel::GetAllPendingFiles()
{
    return Describe(PendingFiles());
}

QByteArray SyncFilesModel::GetFileData(QString path, bool *found)
{
    *found = false;
    const std::optional<OpenUserFile> open = directory.Open(path);
    if (!open) {
        return QByteArray();
    }
    if (open->file.status.size > LargestFileData) {
        errorReporter.ReportError(
            QStringLiteral("%1 is larger than 64 MiB: read it in pieces").arg(open->file.path),
            "syncfilesmodel", __LINE__);
        return QByteArray();
    }
    QByteArray content(static_cast<int>(open->file.status.size), Qt::Uninitialized);
    const qint64 count = open->descriptor.Read(content.data(), content.size(), 0);
    if (count < 0) {
        errorReporter.ReportError(DescribeFailure("read", open->file.path), "syncfilesmodel",
                                  __LINE__);
        return QByteArray();
    }
    *found = true;
    content.truncate(static_cast<int>(count));
    return content;
}

bool SyncFilesModel::MarkFileSynced(QString path)
{
    const std::optional<UserFile> file = directory.Find(path);
    if (!file) {
        return false;
    }
    const QString digest = digestCache.Known(file->status);
    const Confirmation former = confirmations.value(file->path);
    if (former.status == file->status && (digest.isEmpty() || former.sha256 == digest)) {
        return true;
    }
    Confirmations changed = WithoutGoneFiles();
    changed.insert(file->path, {file->status, digest});
    if (!confirmedFile.Store(ToJson(changed))) {
        return false;
    }
    confirmations = changed;
    return true;
}

void SyncFilesModel::SetTechId(QString techId)
{
    technicianId = techId;
    technicianFile.Store({{techIdKey, techId}});
}

QString SyncFilesModel::TechId() const
{
    return technicianId;
}

QJsonObject SyncFilesModel::ToJson(const Confirmations &confirmed)
{
    QJsonArray files;
    for (auto entry = confirmed.cbegin(); entry != confirmed.cend(); ++entry) {
        const FileStatus &status = entry->status;
        // An inode number may need all its 64 bits, which a JSON number does not keep.
        QJsonObject file = {{pathKey, entry.key()},
                            {inodeKey, QString::number(status.inode)},
                            {sizeKey, status.size},
                            {secondsKey, status.modifiedSeconds},
                            {nanosecondsKey, status.modifiedNanoseconds}};
        if (!entry->sha256.isEmpty()) {
            file.insert(sha256Key, entry->sha256);
        }
        files.append(file);
    }
    return {{filesKey, files}};
}

bool SyncFilesModel::IsUsable(const QJsonObject &state)
{
    const QJsonArray files = state.value(filesKey).toArray();
    return state.value(filesKey).isArray() &&
           std::all_of(files.cbegin(), files.cend(), IsUsableEntry);
}

SyncFilesModel::Confirmations SyncFilesModel::FromJson(const QJsonObject &state)
{
    Confirmations confirmed;
    const QJsonArray files = state.value(filesKey).toArray();
    for (const QJsonValue &file : files) {
        const QJsonObject entry = file.toObject();
        confirmed.insert(entry.value(pathKey).toString(),
                         {StatusFromJson(entry), entry.value(sha256Key).toString()});
    }
    return confirmed;
}

QVector<UserFile> SyncFilesModel::PendingFiles()
{
    QVector<UserFile> files = directory.Files();
    files.erase(std::remove_if(files.begin(), files.end(),
                               [this](const UserFile &file) { return IsConfirmed(file); }),
                files.end());
    return files;
}

bool SyncFilesModel::IsConfirmed(const UserFile &file)
{
    const auto confirmation = confirmations.constFind(file.path);
    return confirmation != confirmations.cend() &&
           (confirmation->status == file.status || HasContent(file, *confirmation));
}

bool SyncFilesModel::HasContent(const UserFile &file, const Confirmation &confirmation)
{
    if (confirmation.sha256.isEmpty() || confirmation.status.size != file.status.size) {
        return false;
    }
    const std::optional<OpenUserFile> open = directory.Open(file.path);
    return open && digestCache.Digest(open->descriptor, open->file.status) == confirmation.sha256;
}

bool SyncFilesModel::IsSettled(const UserFile &file) const
{
    const std::chrono::nanoseconds now = clock();
    const qint64 nowSeconds = std::chrono::floor<std::chrono::seconds>(now).count();
    const FileStatus &status = file.status;
    // A time far in the future comes from a wrong clock and says nothing. The seconds are compared
    // first because not every time that a file can carry fits a count of nanoseconds.
    if (status.modifiedSeconds < nowSeconds - 10 || status.modifiedSeconds > nowSeconds + 10) {
        return true;
    }
    const std::chrono::nanoseconds age = now - std::chrono::seconds(status.modifiedSeconds) -
                                         std::chrono::nanoseconds(status.modifiedNanoseconds);
    return age >= SettlingTime || age <= -SettlingTime;
}

SyncFilesModel::Confirmations SyncFilesModel::WithoutGoneFiles() const
{
    QSet<QString> present;
    for (const UserFile &file : directory.Files()) {
        present.insert(file.path);
    }
    Confirmations remaining;
    for (auto entry = confirmations.cbegin(); entry != confirmations.cend(); ++entry) {
        if (present.contains(entry.key())) {
            remaining.insert(entry.key(), *entry);
        }
    }
    return remaining;
}
