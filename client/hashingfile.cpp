#include "hashingfile.h"

#include <QByteArray>

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
