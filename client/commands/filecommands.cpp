#include "filecommands.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QFileInfo>
#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

#include "clienterror.h"
#include "filerecord.h"
#include "progressdisplay.h"
#include "userfiles.h"

namespace {

ClientError StandardStream(const QString &target)
{
    return {ExitStatus::LocalFailure,
            QString("%1: a file cannot go to a standard stream, for it is verified before it "
                    "appears")
                .arg(target)};
}

QString TargetFor(const QString &devicePath, const std::string &wanted)
{
    QString name = DevicePaths::Cleaned(devicePath).section('/', -1);
    if (wanted.empty()) {
        return name;
    }
    if (wanted == "-") {
        throw StandardStream(QStringLiteral("-"));
    }
    const QString target = QString::fromStdString(wanted);
    return QFileInfo(target).isDir() ? target + '/' + name : target;
}

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
        throw StandardStream(target);
    }
}

// Beside the target, for a file cannot be renamed into another file system.
QString StagingFor(const QString &target)
{
    return QString("%1/.parlowenctl.%2.part")
        .arg(QFileInfo(target).absolutePath())
        .arg(QCoreApplication::applicationPid());
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
    output.Json(QJsonDocument(QJsonObject{{"files", FileLines::Json(files)}}));
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
    output.Json(QJsonDocument(FileLines::Json(files)));
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

FilesGetCommand::FilesGetCommand()
    : Command("get", "Fetch one file and verify it")
{}

void FilesGetCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("PATH", path, "The file on the device")->required();
    parser.add_option("-o,--output", outputFile,
                      "The local file or folder to write to; without it the file's own name");
}

ExitStatus FilesGetCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const QString wanted = files.Resolve(QString::fromStdString(path));
    const QString target = TargetFor(wanted, outputFile);
    RequireReplaceable(target);
    const FileRecord expected = files.Metadata(wanted);
    FileRecord stored;
    {
        ProgressDisplay display(output, target, expected.size);
        stored = files.Fetch(expected, target, StagingFor(target),
                             [&](qint64 done) { display.Update(done); });
    }
    output.Line(QString("%1: %2 bytes, verified").arg(target).arg(stored.size));
    QJsonObject result = FileLines::Json(stored);
    result.insert("file", target);
    output.Json(QJsonDocument(result));
    return ExitStatus::Done;
}

FilesPutCommand::FilesPutCommand()
    : Command("put", "Send files into a folder of the device and verify them there")
{}

void FilesPutCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("FILE... DIR", arguments, "Local files, then a folder on the device")
        ->required()
        ->expected(2, CLI::detail::expected_max_vector_size);
}

ExitStatus FilesPutCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const QString target = files.ResolveFolder(QString::fromStdString(arguments.back()));
    const std::vector<std::string> sources(arguments.begin(), arguments.end() - 1);
    QJsonArray stored;
    QJsonArray failed;
    ExitStatus status = ExitStatus::Done;
    for (const std::string &source : sources) {
        const QString file = QString::fromStdString(source);
        try {
            stored.append(FileLines::Json(Store(files, file, target, output)));
        } catch (const ClientError &error) {
            output.Error(error.Message());
            failed.append(QJsonObject{{"file", file}, {"error", error.Message()}});
            status = status == ExitStatus::Done ? error.Status() : status;
        }
    }
    output.Json(QJsonDocument(QJsonObject{{"stored", stored}, {"failed", failed}}));
    return status;
}

FileRecord FilesPutCommand::Store(UserFiles &files, const QString &file, const QString &target,
                                  const Output &output) const
{
    const QFileInfo information(file);
    FileRecord record;
    {
        ProgressDisplay display(output, file, information.size());
        record = files.Store(file, target + '/' + information.fileName(),
                             [&](qint64 done) { display.Update(done); });
    }
    output.Line(QString("%1: %2 bytes, verified").arg(record.path).arg(record.size));
    return record;
}

FilesRemoveCommand::FilesRemoveCommand()
    : Command("rm", "Delete one file")
{}

void FilesRemoveCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("PATH", path, "The file on the device")->required();
}

ExitStatus FilesRemoveCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const QString resolved = files.Resolve(QString::fromStdString(path));
    files.Remove(resolved);
    output.Line(resolved + ": deleted");
    output.Json(QJsonDocument(QJsonObject{{"deleted", resolved}}));
    return ExitStatus::Done;
}

FilesConfirmCommand::FilesConfirmCommand()
    : Command("confirm", "Mark one file as synchronised")
{}

void FilesConfirmCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("PATH", path, "The file on the device")->required();
}

ExitStatus FilesConfirmCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const QString resolved = files.Resolve(QString::fromStdString(path));
    files.Confirm(resolved);
    const QString written = DevicePaths::Cleaned(resolved);
    const QVector<FileRecord> pending = files.Pending(true);
    if (std::any_of(pending.begin(), pending.end(),
                    [&](const FileRecord &record) { return record.path == written; })) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          resolved + " is still pending: it changed meanwhile, or the "
                                     "confirmation went astray");
    }
    output.Line(resolved + ": confirmed");
    output.Json(QJsonDocument(QJsonObject{{"confirmed", resolved}}));
    return ExitStatus::Done;
}
