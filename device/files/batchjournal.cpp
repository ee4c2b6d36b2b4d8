#include "batchjournal.h"

#include <QDir>
#include <QFileInfo>
#include <cerrno>

#include "documentfile.h"
#include "durablefile.h"
#include "filestatus.h"
#include "statefile.h"

namespace {

// For more files than this one flush of the whole file system is cheaper than one for each.
constexpr std::size_t flushedOneByOne = 16;

QStringList FilesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Unsorted);
}

bool IsFolder(const QString &path)
{
    const QFileInfo file(path);
    return file.isDir() && !file.isSymLink();
}

QString Join(const QString &folder, const QString &fileName)
{
    return folder + QLatin1Char('/') + fileName;
}

} // namespace

BatchJournal::BatchJournal(FileSystem &files, const QString &targetFolder,
                           const QString &stateFolder, const QString &name, IErrorReporter &errors)
    : fileSystem(files)
    , errorReporter(errors)
    , target(targetFolder)
    , state(stateFolder)
    , staged(Join(stateFolder, name + QLatin1String(".staged")))
    , committed(Join(stateFolder, name + QLatin1String(".committed")))
    , pending(IsFolder(committed))
{}

bool BatchJournal::Discard(QString *error)
{
    ClearWay(staged);
    ClearWay(committed);
    if (!IsFolder(staged)) {
        return true;
    }
    const QStringList files = FilesIn(staged);
    for (const QString &file : files) {
        if (fileSystem.Unlink(Join(staged, file)) != 0) {
            *error = DescribeFailure("remove", Join(staged, file));
            return false;
        }
    }
    if (!RemoveOrSetAside(staged)) {
        *error = DescribeFailure("remove", staged);
        return false;
    }
    return true;
}

bool BatchJournal::Stage(const Batch &batch, QString *error)
{
    if (!Discard(error)) {
        return false;
    }
    if (fileSystem.MakeFolder(staged) != 0) {
        *error = DescribeFailure("make", staged);
        return false;
    }
    if (!WriteStaged(batch, error)) {
        QString ignored; // the next batch and the next start try again
        Discard(&ignored);
        return false;
    }
    return true;
}

bool BatchJournal::WriteStaged(const Batch &batch, QString *error)
{
    const bool together = batch.size() > flushedOneByOne;
    for (const auto &[fileName, content] : batch) {
        if (!WriteFile(fileSystem, Join(staged, fileName), DocumentFile::Written(content),
                       together ? Flushing::Later : Flushing::AtOnce, error)) {
            return false;
        }
    }
    if ((together && fileSystem.FlushFileSystem(staged) != 0) ||
        fileSystem.FlushFolder(staged) != 0) {
        *error = DescribeFailure("flush", staged);
        return false;
    }
    return true;
}

bool BatchJournal::Commit(QString *error)
{
    if (fileSystem.Rename(staged, committed) != 0) {
        *error = DescribeFailure("rename", staged);
        QString ignored; // the next batch and the next start try again
        Discard(&ignored);
        return false;
    }
    pending = true;
    if (fileSystem.FlushFolder(state) == 0) {
        return true;
    }
    *error = DescribeFailure("flush", state);
    // Not safe on the disk, so it is taken back. When not even that is possible it counts.
    pending = fileSystem.Rename(committed, staged) != 0;
    return pending;
}

bool BatchJournal::Apply(QString *error)
{
    const QStringList files = PendingFiles();
    for (const QString &file : files) {
        if (fileSystem.Rename(Join(committed, file), Join(target, file)) != 0) {
            *error = DescribeFailure("replace", Join(target, file));
            return false;
        }
    }
    // Flushed before the folder goes: while it is there, what was moved can be moved again.
    if (pending && fileSystem.FlushFolder(target) != 0) {
        *error = DescribeFailure("flush", target);
        return false;
    }
    if (pending && !RemoveOrSetAside(committed)) {
        *error = DescribeFailure("remove", committed);
        return false;
    }
    pending = false;
    return true;
}

void BatchJournal::ClearWay(const QString &folder)
{
    if (IsTaken(folder) && !IsFolder(folder)) {
        SetAside(fileSystem, folder, QStringLiteral("it is no folder"), errorReporter);
    }
}

bool BatchJournal::RemoveOrSetAside(const QString &folder)
{
    return fileSystem.RemoveFolder(folder) == 0 ||
           (errno == ENOTEMPTY &&
            SetAside(fileSystem, folder, QStringLiteral("it holds what belongs to no batch"),
                     errorReporter));
}

QStringList BatchJournal::PendingFiles() const
{
    return pending ? FilesIn(committed) : QStringList();
}

QString BatchJournal::PathOf(const QString &fileName) const
{
    const QString newest = Join(committed, fileName);
    return pending && QFileInfo::exists(newest) ? newest : Join(target, fileName);
}
