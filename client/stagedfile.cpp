#include "stagedfile.h"

#include <QByteArray>
#include <QFileInfo>
#include <cerrno>
#include <unistd.h>

#include "clienterror.h"
#include "durablefile.h"
#include "interruption.h"

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

QString HashingFile::Digest() const
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
        Interruption::ThrowIfAny();
        got = file.read(piece.data(), pieceSize);
    }
    return got == 0 ? file.Digest() : QString();
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
    // The user knows the file by the name that it is to have.
    file.setObjectName(target);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2").arg(target, file.errorString()));
    }
    Interruption::RemoveAtOnce(QFile::encodeName(staging));
}

StagedFile::~StagedFile()
{
    Interruption::RemoveAtOnce({});
    file.close();
    if (!ended) {
        QFile::remove(file.fileName());
    }
}

HashingFile &StagedFile::Device()
{
    return file;
}

void StagedFile::Commit()
{
    if (fsync(file.handle()) != 0) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2").arg(targetName, qt_error_string(errno)));
    }
    FileSystem fileSystem;
    QString error;
    ended = true;
    if (!ReplaceDurably(fileSystem, file.fileName(), targetName, &error)) {
        throw ClientError(ExitStatus::LocalFailure, error);
    }
}
