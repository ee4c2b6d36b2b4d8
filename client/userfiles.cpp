#include "userfiles.h"

#include <QFileInfo>
#include <numeric>

#include "clienterror.h"
#include "interruption.h"
#include "namefilter.h"
#include "progressdisplay.h"
#include "routes.h"
#include "stagedfile.h"

namespace {

// The only refusal of metadata that tells anything of the file.
constexpr char noSuchFile[] = "File not found";

QByteArray RouteTo(const char *prefix, const QString &path)
{
    UserFiles::RequireAskable(path);
    return DeviceConnection::Route(prefix, path);
}

// A refusal has the place of the content, so it is told from a file only when that is not there.
void ThrowIfRefusal(const QString &fileName)
{
    constexpr qint64 longestRefusal = 4096;
    QFile file(fileName);
    if (file.size() > longestRefusal || !file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (DeviceConnection::IsErrorObject(document)) {
        throw DeviceRefusal(document.object().value("errorMessage").toString());
    }
}

void OpenForReading(QFile &file)
{
    const QFileInfo information(file);
    QString problem;
    if (!information.exists()) {
        problem = QStringLiteral("no such file");
    } else if (!information.isFile()) {
        problem = QStringLiteral("it is no regular file");
    } else if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        problem = file.errorString();
    }
    if (!problem.isEmpty()) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot read %1: %2").arg(file.fileName(), problem));
    }
}

ClientError Mismatch(const QString &path)
{
    return {ExitStatus::TransferCorrupt,
            QString("%1: size or sha256 is not the same at both ends").arg(path)};
}

} // namespace

UserFiles::UserFiles(DeviceConnection &deviceConnection)
    : connection(deviceConnection)
{}

QVector<FileRecord> UserFiles::List()
{
    QVector<FileRecord> records;
    ForEachListed([&](const FileRecord &record) { records.append(record); });
    return records;
}

void UserFiles::ForEachListed(const Taker &take)
{
    const auto takeObject = [&](const QJsonObject &object) {
        take(FileRecord::FromListing(object));
    };
    if (!connection.GetList(Routes::userFiles, "files", takeObject)) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of files"));
    }
}

QVector<FileRecord> UserFiles::Pending(bool all)
{
    QVector<FileRecord> records;
    const auto takeObject = [&](const QJsonObject &object) {
        records.append(FileRecord::FromListing(object));
    };
    if (!connection.GetList(all ? Routes::allPendingFiles : Routes::pendingFiles, {}, takeObject)) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is no list of pending files"));
    }
    return records;
}

QString UserFiles::Resolve(const QString &path)
{
    return path.startsWith('/') ? path : Paths().File(path);
}

QVector<QString> UserFiles::Select(const QString &pathOrPattern)
{
    if (NameFilter::IsPattern(pathOrPattern)) {
        return Paths().Matching(pathOrPattern);
    }
    return {Resolve(pathOrPattern)};
}

void UserFiles::RequireAskable(const QString &path)
{
    // The device takes "?" for the end of a path, percent-encoded or not: such a request would
    // reach another file.
    if (path.contains('?') || !path.startsWith('/')) {
        throw Unnameable(
            ExitStatus::Usage,
            QString("%1: the device can only be asked for absolute paths without '?'").arg(path));
    }
}

QString UserFiles::ResolveFolder(const QString &path)
{
    const QString folder = DevicePaths::Cleaned(path.startsWith('/') ? path : Paths().Folder(path));
    return folder == "/" ? QString() : folder;
}

QString UserFiles::Root()
{
    if (paths) {
        return paths->Root();
    }
    UserFilesFolder folder;
    ForEachListed([&](const FileRecord &record) { folder.Add(record.path); });
    return folder.Path();
}

const DevicePaths &UserFiles::Paths()
{
    if (!paths) {
        const QVector<FileRecord> listed = List();
        for (const FileRecord &record : listed) {
            sizes.insert(record.path, record.size);
        }
        paths.emplace(listed);
    }
    return *paths;
}

qint64 UserFiles::SizeOf(const QVector<QString> &chosen) const
{
    return std::accumulate(
        chosen.begin(), chosen.end(), qint64(0),
        [this](qint64 sum, const QString &path) { return sum + sizes.value(path); });
}

FileRecord UserFiles::Metadata(const QString &path)
{
    FileRecord record =
        FileRecord::FromMetadata(connection.Get(RouteTo(Routes::syncMetadata, path)).object());
    // A request that was corrupted on its way asks for another file, and gets a good answer.
    if (DevicePaths::Cleaned(record.path) != DevicePaths::Cleaned(path)) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("the device was asked for %1 and answers for %2: the request was "
                                  "corrupted on its way")
                              .arg(path, record.path));
    }
    return record;
}

std::optional<FileRecord> UserFiles::Find(const QString &path)
{
    try {
        return Metadata(path);
    } catch (const DeviceRefusal &refusal) {
        if (refusal.Message() == noSuchFile) {
            return std::nullopt;
        }
        throw;
    }
}

FileRecord UserFiles::Fetch(const FileRecord &expected, const QString &target,
                            const QString &staging, const Progress &progress)
{
    constexpr int attempts = 3;
    FileRecord current = expected;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (TryFetch(current, target, staging, progress)) {
            return current;
        }
        const FileRecord now = Metadata(expected.path);
        if (now == current) {
            throw Mismatch(expected.path);
        }
        current = now;
    }
    throw ClientError(ExitStatus::TransferCorrupt,
                      QString("%1: the file keeps changing on the device").arg(expected.path));
}

bool UserFiles::TryFetch(const FileRecord &expected, const QString &target, const QString &staging,
                         const Progress &progress)
{
    StagedFile staged(target, staging);
    // The device cannot send an empty file: its server makes an error page of it.
    if (expected.size > 0) {
        connection.Download(RouteTo(Routes::userFiles, expected.path), staged.Device(),
                            expected.size, progress);
    }
    if (!expected.Describes(staged.Device().Count(), staged.Device().Digest())) {
        ThrowIfRefusal(staging);
        return false;
    }
    staged.Commit();
    return true;
}

FileRecord UserFiles::Store(const QString &localFile, const QString &path, const Progress &progress)
{
    HashingFile source(localFile);
    OpenForReading(source);
    RouteTo(Routes::syncMetadata, path);
    const QJsonObject description{{"fileUri", path}, {"fileSize", source.size()}};
    try {
        connection.Upload(Routes::userFiles, description, source, progress);
    } catch (const Interrupted &stop) {
        const DeviceConnection::Hurry hurry(connection);
        throw Interrupted(stop.SignalNumber(), WhatIsThere(path, source.size()));
    } catch (const DeviceRefusal &) {
        throw;
    } catch (const ClientError &error) {
        if (error.Status() != ExitStatus::TransferCorrupt) {
            throw;
        }
        const DeviceConnection::Hurry hurry(connection);
        throw ClientError(error.Status(),
                          error.Message() + "; " + WhatIsThere(path, source.size()));
    }
    FileRecord stored = Metadata(path);
    if (!stored.Describes(source.Count(), source.Digest())) {
        throw Mismatch(path);
    }
    return stored;
}

QString UserFiles::WhatIsThere(const QString &path, qint64 size)
{
    const QString advice = QStringLiteral("; run the same command again");
    const QString name = path.section('/', -1);
    try {
        const Interruption::Reprieve reprieve;
        const std::optional<FileRecord> there = Find(path);
        return there ? QString("the device holds %1 of %2 of %3")
                               .arg(ProgressDisplay::Bytes(static_cast<double>(there->size)),
                                    ProgressDisplay::Bytes(static_cast<double>(size)), name) +
                           advice
                     : "the device holds nothing of " + name + advice;
    } catch (const ClientError &) {
        return "the device may hold a part of " + name + advice;
    }
}

void UserFiles::Remove(const QString &path)
{
    Metadata(path);
    try {
        connection.DeleteForEmptyAnswer(RouteTo(Routes::userFiles, path));
    } catch (const ClientError &) {
        // The answer may belong to a second sending of a request that was served the first time.
        if (Find(path)) {
            throw;
        }
    }
    if (Find(path)) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("%1 is still there after its deletion").arg(path));
    }
}

void UserFiles::Confirm(const QString &path)
{
    connection.PutForEmptyAnswer(RouteTo(Routes::syncFiles, path));
}
