#include "stagedfile.h"

#include <QFileInfo>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "clienterror.h"

namespace {

// What the signal handler removes. A handler may call unlink, but nothing that allocates.
std::array<char, PATH_MAX> nameToRemove{};

[[noreturn]] void RemoveAndEnd(int signalNumber)
{
    unlink(nameToRemove.data());
    _exit(128 + signalNumber);
}

void RemoveOnSignal(const QByteArray &name)
{
    if (name.size() >= static_cast<int>(nameToRemove.size())) {
        return;
    }
    std::memcpy(nameToRemove.data(), name.constData(), static_cast<size_t>(name.size()) + 1);
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signalNumber, RemoveAndEnd);
    }
}

void RemoveNothingOnSignal()
{
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signalNumber, SIG_DFL);
    }
}

void SyncFolderOf(const QString &name)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(name).absolutePath());
    const int descriptor = open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

} // namespace

StagedFile::StagedFile(const QString &target, const QString &staging)
    : file(staging)
    , targetName(target)
{
    QFile::remove(staging);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2").arg(target, file.errorString()));
    }
    RemoveOnSignal(QFile::encodeName(staging));
}

StagedFile::~StagedFile()
{
    RemoveNothingOnSignal();
    file.close();
    if (!committed) {
        QFile::remove(file.fileName());
    }
}

HashingFile &StagedFile::Device()
{
    return file;
}

void StagedFile::Commit()
{
    const QByteArray from = QFile::encodeName(file.fileName());
    const QByteArray to = QFile::encodeName(targetName);
    if (fsync(file.handle()) != 0 || std::rename(from.constData(), to.constData()) != 0) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2").arg(targetName, qt_error_string(errno)));
    }
    committed = true;
    SyncFolderOf(targetName);
}
