#include "filespendingcommand.h"

#include <CLI/CLI.hpp>

#include "filelines.h"
#include "userfiles.h"

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
