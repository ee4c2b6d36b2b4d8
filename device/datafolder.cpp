#include "datafolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "devicefolder.h"
#include "durablefile.h"

namespace {

// In the child: a signal for the whole group, as a terminal sends it, must not keep it from its
// work.
[[noreturn]] void RemoveAtEndOf(int lifeline, const QString &path)
{
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signalNumber, SIG_IGN);
    }
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(stream);
    }
    char byte = 0;
    while (read(lifeline, &byte, 1) == -1 && errno == EINTR) {
    }
    QDir(path).removeRecursively();
    _exit(0);
}

} // namespace

TemporaryFolder::~TemporaryFolder()
{
    lifeline = FileDescriptor();
    while (remover > 0 && waitpid(remover, nullptr, 0) == -1 && errno == EINTR) {
    }
}

bool TemporaryFolder::Make(QString *error)
{
    const QString pattern = QDir(QDir::tempPath()).canonicalPath() + "/parlowen-device-XXXXXX";
    QByteArray name = QFile::encodeName(pattern);
    int ends[2] = {-1, -1};
    if (mkdtemp(name.data()) == nullptr || pipe2(ends, O_CLOEXEC) != 0) {
        *error = DescribeFailure("make", pattern);
        return false;
    }
    path = QFile::decodeName(name);
    lifeline = FileDescriptor(ends[1]);
    const FileDescriptor other(ends[0]);
    remover = fork();
    if (remover == 0) {
        lifeline = FileDescriptor();
        RemoveAtEndOf(other.Number(), path);
    }
    return true;
}

bool CopyFolder(const QString &source, const QString &target, QString *error)
{
    if (!QFileInfo(source).isDir()) {
        *error = QStringLiteral("Cannot copy %1: it is no folder").arg(source);
        return false;
    }
    if (!DeviceFolder(target).IsUnused()) {
        return true;
    }
    // Under its own name only when it is whole: an interrupted copy must not pass for a device.
    const QString copy = QStringLiteral("%1.copy-%2").arg(target).arg(getpid());
    QProcess command;
    command.start(QStringLiteral("cp"), {QStringLiteral("--archive"), QStringLiteral("-T"),
                                         QStringLiteral("--"), source, copy});
    const bool copied = QDir().mkpath(QFileInfo(target).path()) && command.waitForFinished(-1) &&
                        command.exitStatus() == QProcess::NormalExit && command.exitCode() == 0;
    if (!copied) {
        *error = QStringLiteral("Cannot copy %1: %2")
                     .arg(source, QString::fromLocal8Bit(command.readAllStandardError()).trimmed());
    } else if ((QFileInfo::exists(target) && !QDir().rmdir(target)) ||
               !QDir().rename(copy, target)) {
        *error = QStringLiteral("Cannot make %1 from %2").arg(target, source);
    } else {
        return true;
    }
    QDir(copy).removeRecursively();
    return false;
}
