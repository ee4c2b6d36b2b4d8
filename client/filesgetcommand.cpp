#include "filesgetcommand.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QFileInfo>

#include "filelines.h"
#include "progressdisplay.h"
#include "userfiles.h"

namespace {

QString TargetFor(const QString &devicePath, const std::string &wanted)
{
    const QString name = devicePath.section('/', -1);
    if (wanted.empty()) {
        return name;
    }
    const QString target = QString::fromStdString(wanted);
    return QFileInfo(target).isDir() ? target + '/' + name : target;
}

// Beside the target, for a file cannot be renamed into another file system.
QString StagingFor(const QString &target)
{
    return QString("%1/.parlowenctl.%2.part")
        .arg(QFileInfo(target).absolutePath())
        .arg(QCoreApplication::applicationPid());
}

} // namespace

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
    const FileRecord expected = files.Metadata(files.Resolve(QString::fromStdString(path)));
    const QString target = TargetFor(expected.path, outputFile);
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
