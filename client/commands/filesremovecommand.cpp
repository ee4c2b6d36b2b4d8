#include "filesremovecommand.h"

#include <CLI/CLI.hpp>

#include "userfiles.h"

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
