#include "filesstatcommand.h"

#include <CLI/CLI.hpp>

#include "filelines.h"
#include "userfiles.h"

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
