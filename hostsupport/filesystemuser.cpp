#include "filesystemuser.h"

#include <algorithm>
#include <cstdlib>
#include <sys/fsuid.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr auto noUser = static_cast<uid_t>(-1);
constexpr auto noGroup = static_cast<gid_t>(-1);

// The kernel refuses an impossible id, and both calls return what is in force.
uid_t PresentUser()
{
    return static_cast<uid_t>(setfsuid(noUser));
}

gid_t PresentGroup()
{
    return static_cast<gid_t>(setfsgid(noGroup));
}

// Not by way of the C library, which changes all threads.
bool SetFurtherGroups(const std::vector<gid_t> &groups)
{
#if defined(SYS_setgroups32)
    constexpr long call = SYS_setgroups32;
#else
    constexpr long call = SYS_setgroups;
#endif
    return syscall(call, groups.size(), groups.data()) == 0;
}

} // namespace

FileSystemUser::FileSystemUser(uid_t user, gid_t group)
    : own(OfThisThread())
    , other{user, group, {}}
    , possible(Become(other))
{
    Become(own);
}

// What was possible once fails only without memory in the kernel. Better no process, then, than an
// upload with all rights.
void FileSystemUser::Enter()
{
    if (possible && !Become(other)) {
        std::abort();
    }
}

void FileSystemUser::Leave()
{
    if (possible && !Become(own)) {
        std::abort();
    }
}

FileSystemUser::Identity FileSystemUser::OfThisThread()
{
    std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
    if (getgroups(static_cast<int>(groups.size()), groups.data()) < 0) {
        groups.clear();
    }
    return {PresentUser(), PresentGroup(), groups};
}

bool FileSystemUser::Become(const Identity &identity)
{
    if (!SetFurtherGroups(identity.furtherGroups)) {
        return false;
    }
    setfsgid(identity.group);
    setfsuid(identity.user);
    return PresentGroup() == identity.group && PresentUser() == identity.user;
}
