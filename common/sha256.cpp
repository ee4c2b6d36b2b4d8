#include "sha256.h"

#include <QByteArray>
#include <cerrno>
#include <fcntl.h>
#include <new>

#include "filedescriptor.h"

Sha256::Sha256()
    : context(EVP_MD_CTX_new())
{
    if (!context) {
        throw std::bad_alloc();
    }
    Reset();
}

void Sha256::Reset()
{
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
}

void Sha256::Add(const char *data, std::size_t length)
{
    EVP_DigestUpdate(context.get(), data, length);
}

QString Sha256::Text() const
{
    const Context copy(EVP_MD_CTX_new());
    QByteArray sum(EVP_MD_size(EVP_sha256()), '\0');
    if (!copy || EVP_MD_CTX_copy_ex(copy.get(), context.get()) != 1 ||
        EVP_DigestFinal_ex(copy.get(), reinterpret_cast<unsigned char *>(sum.data()), nullptr) !=
            1) {
        throw std::bad_alloc();
    }
    return QString::fromLatin1(sum.toHex());
}

QString Sha256::OfFile(const FileDescriptor &file, const std::function<bool()> &goesOn)
{
    constexpr int pieceSize = 256 * 1024;
    posix_fadvise(file.Number(), 0, 0, POSIX_FADV_SEQUENTIAL);
    Sha256 sum;
    QByteArray piece(pieceSize, Qt::Uninitialized);
    qint64 offset = 0;
    qint64 count = 0;
    while ((count = file.Read(piece.data(), pieceSize, offset)) > 0) {
        if (!goesOn()) {
            errno = ECANCELED;
            return QString();
        }
        sum.Add(piece.constData(), static_cast<std::size_t>(count));
        offset += count;
    }
    return count == 0 ? sum.Text() : QString();
}
