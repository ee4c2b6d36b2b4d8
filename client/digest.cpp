#include "digest.h"

#include <QByteArray>
#include <new>

Digest::Digest()
    : context(EVP_MD_CTX_new())
{
    if (!context) {
        throw std::bad_alloc();
    }
    Reset();
}

void Digest::Reset()
{
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
}

void Digest::Add(const char *data, size_t length)
{
    EVP_DigestUpdate(context.get(), data, length);
}

QString Digest::Text() const
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
