#include "syncfilesmodel.h"

#include <algorithm>
#include <utility>

#include "durablefile.h"

namespace {

// An answer is parsed to find its type, which takes ten times the memory of a JSON file.
constexpr qint64 largestFileData = qint64(16) * 1024 * 1024;
constexpr std::chrono::seconds settlingTime(2);

const QString techIdKey = QStringLiteral("techId");

QJsonArray Describe(const QVector<UserFile> &files)
{
    QJsonArray descriptions;
    for (const UserFile &file : files) {
        descriptions.append(file.Describe());
    }
    return descriptions;
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
    , confirmations(
          files, stateFolder + QStringLiteral("/confirmed-files.jsonl"),
          [this](const QString &name) { return directory.FindRelative(name).has_value(); }, errors)
    , technicianFile(files, stateFolder + QStringLiteral("/technician.json"), errors)
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
    if (open->file.status.size > largestFileData) {
        errorReporter.ReportError(
            QStringLiteral("%1 is larger than 16 MiB: read it in pieces").arg(open->file.path),
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
    const std::optional<OpenUserFile> open = directory.Open(path);
    if (!open) {
        return false;
    }
    const FileStatus &status = open->file.status;
    const QString digest = digestCache.Digest(open->descriptor, status);
    if (digest.isNull()) {
        errorReporter.ReportError(DescribeFailure("read", open->file.path), "syncfilesmodel",
                                  __LINE__);
        return false;
    }
    const QString name = directory.RelativePath(open->file);
    const Confirmation *former = confirmations.Find(name);
    if (former != nullptr && former->sha256 == digest) {
        confirmations.Recognize(name, status);
        return true;
    }
    return confirmations.Add(name, {status, digest});
}

void SyncFilesModel::Forget(const UserFile &file)
{
    confirmations.Remove(directory.RelativePath(file));
}

void SyncFilesModel::SetTechId(QString techId)
{
    if (technicianFile.Store({{techIdKey, techId}})) {
        technicianId = techId;
    }
}

bool SyncFilesModel::IsKnownConfirmed(const UserFile &file) const
{
    const Confirmation *confirmation = confirmations.Find(directory.RelativePath(file));
    return confirmation != nullptr && confirmation->status == file.status;
}

QString SyncFilesModel::TechId() const
{
    return technicianId;
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
    const QString name = directory.RelativePath(file);
    const Confirmation *confirmation = confirmations.Find(name);
    if (confirmation == nullptr) {
        return false;
    }
    if (confirmation->status == file.status) {
        return true;
    }
    if (!HasContent(file, *confirmation)) {
        return false;
    }
    confirmations.Recognize(name, file.status);
    return true;
}

bool SyncFilesModel::HasContent(const UserFile &file, const Confirmation &confirmation)
{
    if (confirmation.status.size != file.status.size) {
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
    return age >= settlingTime || age <= -settlingTime;
}
