#include "filesputcommand.h"

#include <CLI/CLI.hpp>
#include <QFileInfo>

#include "clienterror.h"
#include "filelines.h"
#include "progressdisplay.h"
#include "userfiles.h"

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
