#include "filedigestcache.h"

#include <QByteArray>
#include <cstddef>
#include <fcntl.h>
#include <memory>
#include <openssl/evp.h>
#include <sys/stat.h>

namespace {

constexpr int PieceSize = 256 * 1024;

struct FreeDigestContext
{
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

using DigestContext = std::unique_ptr<EVP_MD_CTX, FreeDigestContext>;

bool AddContent(const DigestContext &context, const FileDescriptor &descriptor)
{
    posix_fadvise(descriptor.Number(), 0, 0, POSIX_FADV_SEQUENTIAL);
    QByteArray piece(PieceSize, Qt::Uninitialized);
    qint64 offset = 0;
    qint64 count = 0;
    while ((count = descriptor.Read(piece.data(), PieceSize, offset)) > 0) {
        if (EVP_DigestUpdate(context.get(), piece.constData(), static_cast<std::size_t>(count)) !=
            1) {
            return false;
        }
        offset += count;
    }
    return count == 0;
}

QString Compute(const FileDescriptor &descriptor)
{
    const DigestContext context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1 ||
        !AddContent(context, descriptor)) {
        return QString();
    }
    QByteArray digest(EVP_MD_size(EVP_sha256()), Qt::Uninitialized);
    EVP_DigestFinal_ex(context.get(), reinterpret_cast<unsigned char *>(digest.data()), nullptr);
    return QString::fromLatin1(digest.toHex());
}

bool HasStatus(const FileDescriptor &descriptor, const FileStatus &expected)
{
    struct stat status = {};
    return fstat(descriptor.Number(), &status) == 0 && FileStatus::From(status) == expected;
}

} // namespace

FileDigestCache::FileDigestCache(int capacity)
    : digests(capacity)
{}

QString FileDigestCache::Digest(const FileDescriptor &descriptor, const FileStatus &status)
{
    QString known = Known(status);
    if (!known.isNull()) {
        return known;
    }
    QString computed = Compute(descriptor);
    if (!computed.isNull() && HasStatus(descriptor, status)) {
        digests.insert(status, new QString(computed));
    }
    return computed;
}

QString FileDigestCache::Known(const FileStatus &status) const
{
    const QString *known = digests.object(status);
    return known ? *known : QString();
}
