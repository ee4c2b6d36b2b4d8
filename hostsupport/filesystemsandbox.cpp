#include "filesystemsandbox.h"

#include "landlock.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int versionThatMoves = 2;

constexpr std::uint64_t readAccess = Landlock::ReadFile | Landlock::ReadDirectory;
constexpr std::uint64_t writeAccess = readAccess | Landlock::WriteFile | Landlock::RemoveDirectory |
                                      Landlock::RemoveFile | Landlock::MakeDirectory |
                                      Landlock::MakeFile | Landlock::MakeLink | Landlock::Refer |
                                      Landlock::Truncate;
constexpr std::uint64_t fileAccess = Landlock::ReadFile | Landlock::WriteFile | Landlock::Execute |
                                     Landlock::Truncate | Landlock::DeviceControl;

class FileDescriptor
{
public:
    explicit FileDescriptor(int value)
        : descriptor(value)
    {}
    ~FileDescriptor()
    {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    int Get() const { return descriptor; }
    bool IsOpen() const { return descriptor >= 0; }

private:
    int descriptor;
};

// Everything that a kernel of this version can restrict.
std::uint64_t HandledAccess(int kernelVersion)
{
    std::uint64_t access = Landlock::Refer - 1;
    if (kernelVersion >= versionThatMoves) {
        access |= Landlock::Refer;
    }
    if (kernelVersion >= 3) {
        access |= Landlock::Truncate;
    }
    if (kernelVersion >= 5) {
        access |= Landlock::DeviceControl;
    }
    return access;
}

bool IsDirectory(const FileDescriptor &file)
{
    struct stat status = {};
    return fstat(file.Get(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string Problem(const std::string &what)
{
    return "file system sandbox: " + what + ": " + std::strerror(errno);
}

// Returns an empty text, or what went wrong.
std::string Allow(int ruleset, const std::string &path, std::uint64_t access, bool mustExist)
{
    const FileDescriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!file.IsOpen()) {
        return errno == ENOENT && !mustExist ? std::string() : Problem(path);
    }
    Landlock::PathRule rule;
    rule.allowedAccess = IsDirectory(file) ? access : access & fileAccess;
    rule.parent = file.Get();
    return Landlock::AddRule(ruleset, rule) == 0 ? std::string() : Problem(path);
}

std::string AllowAll(int ruleset, const FileSystemSandbox::Rules &rules, std::uint64_t handled)
{
    std::string problem;
    for (const std::string &path : rules.writable) {
        problem = problem.empty() ? Allow(ruleset, path, writeAccess & handled, true) : problem;
    }
    for (const std::string &path : rules.readable) {
        problem = problem.empty() ? Allow(ruleset, path, readAccess & handled, false) : problem;
    }
    return problem;
}

// What keeps a kernel of this version from confining by these rules.
FileSystemSandbox::Result Lacks(const FileSystemSandbox::Rules &rules, int kernelVersion)
{
    using FileSystemSandbox::Outcome;
    if (kernelVersion <= 0) {
        return {Outcome::NotSupported, "file system sandbox: this kernel has no Landlock support"};
    }
    if (kernelVersion < versionThatMoves && rules.movesBetweenFolders) {
        return {Outcome::NotSupported, "file system sandbox: the Landlock of this kernel lets no "
                                       "file move between folders; kernel 5.19 does"};
    }
    return {Outcome::Confined, std::string()};
}

} // namespace

std::vector<std::string> FileSystemSandbox::TimeZoneFiles()
{
    return {"/etc/localtime", "/usr/share/zoneinfo"};
}

int FileSystemSandbox::KernelVersion()
{
    const long version = Landlock::Version();
    return version > 0 ? static_cast<int>(version) : 0;
}

FileSystemSandbox::Result FileSystemSandbox::Confine(const Rules &rules)
{
    return Confine(rules, KernelVersion());
}

FileSystemSandbox::Result FileSystemSandbox::Confine(const Rules &rules, int kernelVersion)
{
    return Domain(rules, kernelVersion).Enter();
}

FileSystemSandbox::Domain::Domain(const Rules &rules)
    : Domain(rules, KernelVersion())
{}

FileSystemSandbox::Domain::Domain(const Rules &rules, int kernelVersion)
    : made(Lacks(rules, kernelVersion))
{
    if (made.outcome == Outcome::Confined) {
        Make(rules, kernelVersion);
    }
}

FileSystemSandbox::Domain::~Domain()
{
    if (ruleset >= 0) {
        close(ruleset);
    }
}

void FileSystemSandbox::Domain::Make(const Rules &rules, int kernelVersion)
{
    const std::uint64_t handled = HandledAccess(kernelVersion);
    ruleset = Landlock::CreateRuleset({handled});
    const std::string problem = ruleset < 0 ? Problem("rules") : AllowAll(ruleset, rules, handled);
    if (!problem.empty()) {
        made = {Outcome::Failed, problem};
    }
}

FileSystemSandbox::Result FileSystemSandbox::Domain::Enter() const
{
    if (made.outcome != Outcome::Confined) {
        return made;
    }
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || Landlock::RestrictSelf(ruleset) != 0) {
        return {Outcome::Failed, Problem("restriction")};
    }
    return made;
}
