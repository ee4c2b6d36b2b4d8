#include "filesgetcommand.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QFileInfo>
#include <sys/stat.h>
#include <unistd.h>

#include "clienterror.h"
#include "filelines.h"
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
    const QString name = DevicePaths::Cleaned(devicePath).section('/', -1);
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
