#include "filedigestcache.h"

#include <sys/stat.h>
#include <utility>

#include "sha256.h"

namespace {

bool HasStatus(const FileDescriptor &descriptor, const FileStatus &expected)
{
    struct stat status = {};
    return fstat(descriptor.Number(), &status) == 0 && FileStatus::From(status) == expected;
}

} // namespace

FileDigestCache::FileDigestCache(int capacity, std::function<bool()> mayGoOn)
    : digests(capacity)
    , goesOn(std::move(mayGoOn))
{}

QString FileDigestCache::Digest(const FileDescriptor &descriptor, const FileStatus &status)
{
    QString known = Known(status);
    if (!known.isNull()) {
        return known;
    }
    QString computed = Sha256::OfFile(descriptor, goesOn);
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
