#include "fileidentity.h"

#include <fcntl.h>
#include <sys/stat.h>

std::optional<FileIdentity> FileIdentity::At(const QByteArray &path)
{
    struct statx status
    {};
    if (statx(AT_FDCWD, path.constData(), 0, STATX_INO | STATX_BTIME, &status) != 0) {
        return std::nullopt;
    }
    FileIdentity identity;
    const bool tellsBirth = (status.stx_mask & STATX_BTIME) != 0;
    identity.members = {status.stx_dev_major, status.stx_dev_minor, status.stx_ino,
                        tellsBirth ? status.stx_btime.tv_sec : 0,
                        tellsBirth ? status.stx_btime.tv_nsec : 0};
    return identity;
}
