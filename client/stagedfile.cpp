#include "stagedfile.h"

#include <QByteArray>
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

HashingFile::HashingFile(const QString &name)
    : QFile(name)
{}

bool HashingFile::seek(qint64 position)
{
    if (position == 0) {
        digest.Reset();
        count = 0;
    }
    return QFile::seek(position);
}

qint64 HashingFile::Count() const
{
    return count;
}

QString HashingFile::Sha256() const
{
    return digest.Text();
}

QString HashingFile::Sha256Of(const QString &name)
{
    constexpr int pieceSize = 1 << 20;
    HashingFile file(name);
    QByteArray piece(pieceSize, Qt::Uninitialized);
    qint64 got = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? pieceSize : -1;
    while (got > 0) {
        got = file.read(piece.data(), pieceSize);
    }
    return got == 0 ? file.Sha256() : QString();
}

qint64 HashingFile::readData(char *data, qint64 length)
{
    const qint64 got = QFile::readData(data, length);
    Add(data, got);
    return got;
}

qint64 HashingFile::writeData(const char *data, qint64 length)
{
    const qint64 written = QFile::writeData(data, length);
    Add(data, written);
    return written;
}

void HashingFile::Add(const char *data, qint64 length)
{
    if (length > 0) {
        digest.Add(data, static_cast<size_t>(length));
        count += length;
    }
}

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
