#include "putcommand.h"

#include <CLI/CLI.hpp>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryFile>
#include <algorithm>
#include <cstdio>
#include <numeric>

#include "bulkreport.h"
#include "clienterror.h"
#include "interruption.h"
#include "progressdisplay.h"
#include "stagedfile.h"
#include "userfiles.h"

namespace {

constexpr char standardInputName[] = "-";

// In a fixed order, so that every run of the command does the same.
QStringList FilesBelow(const QString &folder)
{
    QStringList files;
    QDirIterator iterator(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        files.append(iterator.next());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

FilesPutCommand::FilesPutCommand()
    : Command("put", "Send files into a folder of the device and verify them there")
{}

FilesPutCommand::~FilesPutCommand() = default;

void FilesPutCommand::AddArguments(CLI::App &parser)
{
    parser
        .add_option("FILE... DIR", arguments,
                    "Local files, - for standard input, then a folder on the device")
        ->required()
        ->expected(2, CLI::detail::expected_max_vector_size);
    parser.add_flag("-r,--recursive", recursive,
                    "Send what lies below local folders, but for what is there already");
    parser.add_option("--as", newName, "The name on the device, for one file")->type_name("NAME");
    parser.add_flag("--dry-run", dryRun, "Show what would be done, and do nothing");
    filter.AddOptions(parser);
}

ExitStatus FilesPutCommand::Run(DeviceConnection &connection, const Output &output)
{
    CheckArguments();
    UserFiles files(connection);
    const QString target = files.ResolveFolder(QString::fromStdString(arguments.back()));
    const QVector<QString> names = Collect(target, output);
    BulkReport report(output, "file");
    if (dryRun) {
        report.ForEach(names, [&](const QString &file) {
            output.Line(QString("would send %1 to %2").arg(file, items[file].path));
            return QJsonObject{{"file", file}, {"path", items[file].path}};
        });
        return report.Finish("stored");
    }
    if (recursive) {
        const QVector<FileRecord> there = files.List();
        for (const FileRecord &record : there) {
            listed.insert(record.path, record.size);
        }
    }
    const qint64 bytes =
        std::accumulate(items.begin(), items.end(), qint64(0),
                        [](qint64 sum, const Item &item) { return sum + item.size; });
    {
        ProgressDisplay display(output, names.size(), bytes);
        report.ForEach(names,
                       [&](const QString &file) { return Store(files, file, output, display); });
    }
    return report.Finish("stored");
}

void FilesPutCommand::CheckArguments() const
{
    const auto end = arguments.end() - 1;
    const bool fromStandardInput = std::find(arguments.begin(), end, standardInputName) != end;
    if (!newName.empty() && (arguments.size() != 2 || recursive)) {
        throw ClientError(ExitStatus::Usage,
                          QStringLiteral("--as: one file alone can be given another name"));
    }
    if (fromStandardInput && newName.empty()) {
        throw ClientError(ExitStatus::Usage,
                          QStringLiteral("-: what comes from standard input needs --as NAME"));
    }
}

QVector<QString> FilesPutCommand::Collect(const QString &target, const Output &output)
{
    for (auto argument = arguments.begin(); argument != arguments.end() - 1; ++argument) {
        const QString source = QString::fromStdString(*argument);
        if (recursive && QFileInfo(source).isDir()) {
            AddFolder(source, target, output);
            continue;
        }
        const QString file = source == standardInputName ? KeepStandardInput() : source;
        Add(file, newName.empty() ? QFileInfo(file).fileName() : QString::fromStdString(newName),
            target);
    }
    return sources;
}

void FilesPutCommand::AddFolder(const QString &folder, const QString &target, const Output &output)
{
    const QDir root(QFileInfo(folder).absoluteFilePath());
    int leftOut = 0;
    const QStringList below = FilesBelow(folder);
    for (const QString &file : below) {
        const QString relative = root.relativeFilePath(QFileInfo(file).absoluteFilePath());
        if (filter.Takes(relative)) {
            Add(file, relative, target);
        } else {
            ++leftOut;
        }
    }
    if (leftOut > 0) {
        output.Notice(QString("%1: %2 files left out").arg(folder).arg(leftOut));
    }
}

void FilesPutCommand::Add(const QString &file, const QString &relative, const QString &target)
{
    if (!items.contains(file)) {
        sources.append(file);
        items.insert(file, {target + '/' + relative, QFileInfo(file).size()});
    }
}

// The device is told the size first, and an upload that breaks off is sent again.
QString FilesPutCommand::KeepStandardInput()
{
    constexpr int pieceSize = 1 << 20;
    standardInput = std::make_unique<QTemporaryFile>();
    QFile input;
    if (!standardInput->open() || !input.open(stdin, QIODevice::ReadOnly)) {
        throw ClientError(ExitStatus::LocalFailure,
                          "cannot keep standard input: " + standardInput->errorString());
    }
    QByteArray piece;
    while (!(piece = input.read(pieceSize)).isEmpty()) {
        Interruption::ThrowIfAny();
        if (standardInput->write(piece) != piece.size()) {
            throw ClientError(ExitStatus::LocalFailure,
                              QString("cannot keep standard input in %1: %2")
                                  .arg(standardInput->fileName(), standardInput->errorString()));
        }
    }
    standardInput->flush();
    return standardInput->fileName();
}

bool FilesPutCommand::IsThere(UserFiles &files, const QString &file) const
{
    const Item item = items[file];
    if (!listed.contains(item.path) || listed[item.path] != item.size) {
        return false;
    }
    const std::optional<FileRecord> there = files.Find(item.path);
    return there && there->Describes(item.size, HashingFile::Sha256Of(file));
}

QJsonObject FilesPutCommand::Store(UserFiles &files, const QString &file, const Output &output,
                                   ProgressDisplay &display)
{
    const Item item = items[file];
    display.Begin(file, item.size);
    if (recursive && IsThere(files, file)) {
        display.End();
        return {{"file", file}, {"path", item.path}, {"size", item.size}, {"wasThere", true}};
    }
    const FileRecord record =
        files.Store(file, item.path, [&](qint64 done) { display.Update(done); });
    display.End();
    output.Line(QString("%1: %2 bytes, verified").arg(record.path).arg(record.size));
    QJsonObject result = FileLines::Json(record);
    result.insert("file", file);
    return result;
}
