#include "filesconfirmcommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "clienterror.h"
#include "userfiles.h"

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
