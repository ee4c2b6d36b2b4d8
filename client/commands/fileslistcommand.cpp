#include "fileslistcommand.h"

#include "filelines.h"
#include "userfiles.h"

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
