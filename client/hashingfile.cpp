#include "hashingfile.h"

#include <algorithm>

HashingFile::HashingFile(const QString &name)
    : QFile(name)
{}

bool HashingFile::seek(qint64 position)
{
    if (position == 0) {
        hash.reset();
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
    return QString::fromLatin1(hash.result().toHex());
}

QString HashingFile::Sha256Of(const QString &name)
{
    QFile file(name);
    QCryptographicHash sum(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !sum.addData(&file)) {
        return {};
    }
    return QString::fromLatin1(sum.result().toHex());
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
    constexpr qint64 largestPiece = 1 << 30;
    for (qint64 done = 0; done < length;) {
        const qint64 piece = std::min(length - done, largestPiece);
        hash.addData(data + done, static_cast<int>(piece));
        done += piece;
    }
    count += std::max<qint64>(length, 0);
}
