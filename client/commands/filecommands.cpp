#include "filecommands.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>
#include <algorithm>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "bulkreport.h"
#include "clienterror.h"
#include "filerecord.h"
#include "printabletext.h"
#include "progressdisplay.h"
#include "userfiles.h"

namespace {

constexpr char standardOutput[] = "-";

bool IsStandardStream(const QByteArray &name)
{
    struct stat target = {};
    if (stat(name.constData(), &target) != 0) {
        return false;
    }
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        struct stat own = {};
        if (fstat(stream, &own) == 0 && own.st_dev == target.st_dev &&
            own.st_ino == target.st_ino) {
            return true;
        }
    }
    return false;
}

// A file is renamed to its target, in place of whatever stands there.
void RequireReplaceable(const QString &target)
{
    const QFileInfo information(target);
    if ((information.exists() || information.isSymLink()) && !information.isFile()) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("%1 is there and is no regular file").arg(target));
    }
    if (IsStandardStream(QFile::encodeName(target))) {
        throw ClientError(
            ExitStatus::LocalFailure,
            QString("%1 is a standard stream: write -o - for standard output").arg(target));
    }
}

// Beside the target, for a file cannot be renamed into another file system.
QString StagingFor(const QString &target)
{
    return QString("%1/.parlowenctl.%2.part")
        .arg(QFileInfo(target).absolutePath())
        .arg(QCoreApplication::applicationPid());
}

// A name that would steer a terminal is not made here: a listing of this folder would print it.
QString LocalNameOf(const QString &devicePath)
{
    QString name = DevicePaths::Cleaned(devicePath).section('/', -1);
    if (name.isEmpty() || std::any_of(name.begin(), name.end(), IsUnprintable)) {
        throw Unnameable(
            ExitStatus::LocalFailure,
            QString("%1: it has no name, or one with control characters; give one with -o")
                .arg(devicePath));
    }
    return name;
}

void CopyToStandardOutput(QFile &file, const Output &output)
{
    constexpr int pieceSize = 1 << 20;
    file.open(QIODevice::ReadOnly);
    while (!file.atEnd()) {
        output.Bytes(file.read(pieceSize));
    }
}

FileRecord Fetch(UserFiles &files, const FileRecord &expected, const QString &target,
                 ProgressDisplay &display)
{
    display.Begin(target, expected.size);
    const auto progress = [&](qint64 done) { display.Update(done); };
    FileRecord stored = files.Fetch(expected, target, StagingFor(target), progress);
    display.End();
    return stored;
}

QJsonObject Described(const FileRecord &stored, const QString &target)
{
    QJsonObject result = FileLines::Json(stored);
    result.insert("file", target);
    return result;
}

// It is verified before the first byte of it goes on, so it is kept in a file until then.
ExitStatus GetToStandardOutput(UserFiles &files, const QString &path, const Output &output)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("content"));
    const FileRecord expected = files.Metadata(path);
    {
        ProgressDisplay display(output, 1, expected.size);
        Fetch(files, expected, file.fileName(), display);
    }
    CopyToStandardOutput(file, output);
    return ExitStatus::Done;
}

ExitStatus DryRun(const QVector<QString> &paths, const char *verb, const Output &output,
                  BulkReport &report, const char *doneKey)
{
    report.ForEach(paths, [&](const QString &path) {
        output.Line(QString("would %1 %2").arg(verb, path));
        return QJsonObject{{"path", path}};
    });
    return report.Finish(doneKey);
}

void RequireConfirmed(const QVector<FileRecord> &pending, const QString &path)
{
    const QString written = DevicePaths::Cleaned(path);
    if (std::any_of(pending.begin(), pending.end(),
                    [&](const FileRecord &record) { return record.path == written; })) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          path + " is still pending: it changed meanwhile, or the confirmation "
                                 "went astray");
    }
}

} // namespace

FilesListCommand::FilesListCommand()
    : Command("list", "List the user files")
{}

ExitStatus FilesListCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QVector<FileRecord> files = UserFiles(connection).List();
    for (const FileRecord &record : files) {
        output.Line(FileLines::Line(record));
    }
    output.Json(FileLines::JsonList(files, "files"));
    return ExitStatus::Done;
}

FilesPendingCommand::FilesPendingCommand()
    : Command("pending", "List the files that wait for synchronisation")
{}

void FilesPendingCommand::AddArguments(CLI::App &parser)
{
    parser.add_flag("--all", all, "Include files that are just being written");
}

ExitStatus FilesPendingCommand::Run(DeviceConnection &connection, const Output &output)
{
    const QVector<FileRecord> files = UserFiles(connection).Pending(all);
    for (const FileRecord &record : files) {
        output.Line(FileLines::Line(record));
    }
    output.Json(FileLines::JsonList(files, {}));
    return ExitStatus::Done;
}

FilesStatCommand::FilesStatCommand()
    : Command("stat", "Show size, time of the last change and sha256 of one file")
{}

void FilesStatCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("PATH", path, "The file on the device")->required();
}

ExitStatus FilesStatCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const FileRecord record = files.Metadata(files.Resolve(QString::fromStdString(path)));
    output.Line("path: " + record.path);
    output.Line(QString("size: %1").arg(record.size));
    output.Line("modified: " + record.modifiedTime);
    output.Line("sha256: " + record.sha256);
    output.Json(QJsonDocument(FileLines::Json(record)));
    return ExitStatus::Done;
}

void FileSelection::AddOptions(CLI::App &parser)
{
    parser.add_option("PATH...", patterns, "Files on the device, or shell patterns in quotes")
        ->required();
    parser.add_flag("--dry-run", dryRun, "Show what would be done, and do nothing");
    filter.AddOptions(parser);
}

QVector<QString> FileSelection::Choose(UserFiles &files, BulkReport &report) const
{
    QVector<QString> chosen;
    for (const std::string &pattern : patterns) {
        const QString text = QString::fromStdString(pattern);
        if (patterns.size() == 1 && !NameFilter::IsPattern(text)) {
            return {files.Resolve(text)};
        }
        try {
            const QVector<QString> found = files.Select(text);
            std::copy_if(
                found.begin(), found.end(), std::back_inserter(chosen),
                [&](const QString &path) { return filter.Takes(path) && !chosen.contains(path); });
        } catch (const ClientError &error) {
            if (error.EndsEverything()) {
                throw;
            }
            report.Failed(text, error);
        }
    }
    return chosen;
}

bool FileSelection::IsOnePath(const QVector<QString> &chosen) const
{
    const QString text = QString::fromStdString(patterns.front());
    return patterns.size() == 1 && chosen.size() == 1 &&
           (!NameFilter::IsPattern(text) || chosen.first().endsWith(text));
}

bool FileSelection::IsDryRun() const
{
    return dryRun;
}

FilesGetCommand::FilesGetCommand()
    : Command("get", "Fetch files and verify them")
{}

void FilesGetCommand::AddArguments(CLI::App &parser)
{
    selection.AddOptions(parser);
    parser
        .add_option("-o,--output", outputFile,
                    "The local file or folder to write to, - for standard output; without it the "
                    "file's own name")
        ->type_name("FILE");
}

ExitStatus FilesGetCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    BulkReport report(output, "path");
    const QVector<QString> paths = selection.Choose(files, report);
    if (selection.IsDryRun()) {
        return DryRun(paths, "fetch", output, report, "fetched");
    }
    if (selection.IsOnePath(paths)) {
        return outputFile == standardOutput ? GetToStandardOutput(files, paths.first(), output)
                                            : GetOne(files, paths.first(), output);
    }
    if (!outputFile.empty() && !QFileInfo(QString::fromStdString(outputFile)).isDir()) {
        throw ClientError(ExitStatus::Usage,
                          QString("-o %1: several files need a folder that is there")
                              .arg(QString::fromStdString(outputFile)));
    }
    return GetMany(files, report, paths, output);
}

ExitStatus FilesGetCommand::GetOne(UserFiles &files, const QString &path,
                                   const Output &output) const
{
    const QString target = TargetFor(path);
    RequireReplaceable(target);
    const FileRecord expected = files.Metadata(path);
    ProgressDisplay display(output, 1, expected.size);
    const FileRecord stored = Fetch(files, expected, target, display);
    output.Line(QString("%1: %2 bytes, verified").arg(target).arg(stored.size));
    output.Json(QJsonDocument(Described(stored, target)));
    return ExitStatus::Done;
}

ExitStatus FilesGetCommand::GetMany(UserFiles &files, BulkReport &report,
                                    const QVector<QString> &paths, const Output &output) const
{
    ProgressDisplay display(output, paths.size(), files.SizeOf(paths));
    QSet<QString> written;
    report.ForEach(paths, [&](const QString &path) {
        const QString target = TargetFor(path);
        if (written.contains(target)) {
            throw ClientError(ExitStatus::Usage, path + ": another file of the same name was "
                                                        "fetched; fetch this one with -o FILE");
        }
        RequireReplaceable(target);
        const FileRecord stored = Fetch(files, files.Metadata(path), target, display);
        written.insert(target);
        output.Line(QString("%1: %2 bytes, verified").arg(target).arg(stored.size));
        return Described(stored, target);
    });
    return report.Finish("fetched");
}

QString FilesGetCommand::TargetFor(const QString &devicePath) const
{
    if (outputFile.empty()) {
        return LocalNameOf(devicePath);
    }
    const QString target = QString::fromStdString(outputFile);
    return QFileInfo(target).isDir() ? target + '/' + LocalNameOf(devicePath) : target;
}

FilesRemoveCommand::FilesRemoveCommand()
    : Command("rm", "Delete files")
{}

void FilesRemoveCommand::AddArguments(CLI::App &parser)
{
    selection.AddOptions(parser);
}

ExitStatus FilesRemoveCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    BulkReport report(output, "path");
    const QVector<QString> paths = selection.Choose(files, report);
    if (selection.IsDryRun()) {
        return DryRun(paths, "delete", output, report, "deleted");
    }
    const auto remove = [&](const QString &path) {
        files.Remove(path);
        output.Line(path + ": deleted");
        return QJsonObject{{"path", path}};
    };
    if (selection.IsOnePath(paths)) {
        remove(paths.first());
        output.Json(QJsonDocument(QJsonObject{{"deleted", paths.first()}}));
        return ExitStatus::Done;
    }
    report.ForEach(paths, remove);
    return report.Finish("deleted");
}

FilesConfirmCommand::FilesConfirmCommand()
    : Command("confirm", "Mark files as synchronised")
{}

void FilesConfirmCommand::AddArguments(CLI::App &parser)
{
    selection.AddOptions(parser);
}

ExitStatus FilesConfirmCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    BulkReport report(output, "path");
    const QVector<QString> paths = selection.Choose(files, report);
    if (selection.IsDryRun()) {
        return DryRun(paths, "confirm", output, report, "confirmed");
    }
    if (selection.IsOnePath(paths)) {
        files.Confirm(paths.first());
        RequireConfirmed(files.Pending(true), paths.first());
        output.Line(paths.first() + ": confirmed");
        output.Json(QJsonDocument(QJsonObject{{"confirmed", paths.first()}}));
        return ExitStatus::Done;
    }
    QVector<QString> accepted;
    for (const QString &path : paths) {
        try {
            files.Confirm(path);
            accepted.append(path);
        } catch (const ClientError &error) {
            if (error.EndsEverything()) {
                throw;
            }
            report.Failed(path, error);
        }
    }
    // One question for all of them.
    const QVector<FileRecord> pending =
        accepted.isEmpty() ? QVector<FileRecord>() : files.Pending(true);
    report.ForEach(accepted, [&](const QString &path) {
        RequireConfirmed(pending, path);
        output.Line(path + ": confirmed");
        return QJsonObject{{"path", path}};
    });
    return report.Finish("confirmed");
}
