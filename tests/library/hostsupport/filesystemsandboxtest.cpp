#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystemsandbox.h>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using FileSystemSandbox::Confine;
using FileSystemSandbox::Outcome;
using FileSystemSandbox::Rules;

/** Runs in a child process, which may confine itself; the result is its exit status. */
int InChild(const std::function<int()> &body)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// What a call left in errno, 0 for success.
int Open(const std::string &path, int flags)
{
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    const int error = descriptor < 0 ? errno : 0;
    if (descriptor >= 0) {
        close(descriptor);
    }
    return error;
}

int Write(const std::string &path)
{
    return Open(path, O_WRONLY | O_CREAT | O_TRUNC);
}

int Read(const std::string &path)
{
    return Open(path, O_RDONLY);
}

int ErrorOf(int result)
{
    return result == 0 ? 0 : errno;
}

/** inside/, readable/ with a file, outside/ with a file, and a link from inside to outside. */
class FileSystemSandboxTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (FileSystemSandbox::KernelVersion() == 0) {
            confined = Outcome::NotSupported; // nothing is restricted then
        }
        for (const char *name : {"inside", "readable", "outside", "inside-not"}) {
            ASSERT_EQ(mkdir(Path(name).c_str(), 0700), 0);
        }
        for (const char *name : {"inside/file", "readable/file", "outside/file"}) {
            ASSERT_EQ(Write(Path(name)), 0);
        }
        ASSERT_EQ(symlink(Path("outside").c_str(), Path("inside/link").c_str()), 0);
    }

    std::string Path(const std::string &name) const
    {
        return directory.path().toStdString() + '/' + name;
    }

    Rules Allowed() const { return {{Path("inside")}, {Path("readable")}}; }

    // What `call` leaves in errno within the sandbox.
    int Confined(const std::function<int()> &call) const
    {
        return InChild([&] { return Confine(Allowed()).outcome == confined ? call() : 255; });
    }

    // Replaces a file as an upload does: written without a name, linked to a hidden one, renamed.
    int ReplaceWithoutName(const std::string &folder) const
    {
        const int file = open(Path(folder).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (file < 0) {
            return errno;
        }
        const std::string own = "/proc/self/fd/" + std::to_string(file);
        const std::string hidden = Path(folder + "/.hidden");
        const bool replaced =
            linkat(AT_FDCWD, own.c_str(), AT_FDCWD, hidden.c_str(), AT_SYMLINK_FOLLOW) == 0 &&
            rename(hidden.c_str(), Path(folder + "/file").c_str()) == 0;
        const int error = replaced ? 0 : errno;
        close(file);
        return error;
    }

    // The error that the sandbox gives where it exists.
    int Refused(int error = EACCES) const { return confined == Outcome::Confined ? error : 0; }

    QTemporaryDir directory;
    Outcome confined = Outcome::Confined;
};

TEST_F(FileSystemSandboxTest, FilesInsideCanBeWrittenReadRenamedAndRemoved)
{
    EXPECT_EQ(Confined([this] { return Write(Path("inside/new")); }), 0);
    EXPECT_EQ(Confined([this] { return Read(Path("inside/new")); }), 0);
    EXPECT_EQ(Confined([this] {
                  return ErrorOf(rename(Path("inside/new").c_str(), Path("inside/old").c_str()));
              }),
              0);
    EXPECT_EQ(Confined([this] { return ErrorOf(unlink(Path("inside/old").c_str())); }), 0);
}

TEST_F(FileSystemSandboxTest, FoldersInsideCanBeMadeMovedAndRemoved)
{
    EXPECT_EQ(Confined([this] { return ErrorOf(mkdir(Path("inside/folder").c_str(), 0700)); }), 0);
    EXPECT_EQ(Confined([this] {
                  return ErrorOf(
                      rename(Path("inside/file").c_str(), Path("inside/folder/file").c_str()));
              }),
              0);
    EXPECT_EQ(Confined([this] { return ErrorOf(unlink(Path("inside/folder/file").c_str())); }), 0);
    EXPECT_EQ(Confined([this] { return ErrorOf(rmdir(Path("inside/folder").c_str())); }), 0);
}

TEST_F(FileSystemSandboxTest, AFileOutsideCannotBeCreated)
{
    EXPECT_EQ(Confined([this] { return Write(Path("outside/new")); }), Refused());
    EXPECT_EQ(Read(Path("outside/new")), confined == Outcome::Confined ? ENOENT : 0);
}

TEST_F(FileSystemSandboxTest, AFileOutsideCannotBeWritten)
{
    EXPECT_EQ(Confined([this] { return Write(Path("outside/file")); }), Refused());
}

TEST_F(FileSystemSandboxTest, AFileOutsideCannotBeRead)
{
    EXPECT_EQ(Confined([this] { return Read(Path("outside/file")); }), Refused());
}

TEST_F(FileSystemSandboxTest, AFileOutsideCannotBeRemoved)
{
    EXPECT_EQ(Confined([this] { return ErrorOf(unlink(Path("outside/file").c_str())); }),
              Refused());
}

TEST_F(FileSystemSandboxTest, AFolderOutsideCannotBeMadeOrListed)
{
    EXPECT_EQ(Confined([this] { return ErrorOf(mkdir(Path("outside/folder").c_str(), 0700)); }),
              Refused());
    EXPECT_EQ(Confined([this] { return Open(Path("outside"), O_RDONLY | O_DIRECTORY); }),
              Refused());
}

TEST_F(FileSystemSandboxTest, ASiblingWhoseNameBeginsAlikeIsOutside)
{
    EXPECT_EQ(Confined([this] { return Write(Path("inside-not/new")); }), Refused());
}

TEST_F(FileSystemSandboxTest, ParentSegmentsDoNotLeadOut)
{
    EXPECT_EQ(Confined([this] { return Write(Path("inside/../outside/new")); }), Refused());
}

TEST_F(FileSystemSandboxTest, ASymbolicLinkDoesNotLeadOut)
{
    EXPECT_EQ(Confined([this] { return Write(Path("inside/link/new")); }), Refused());
}

TEST_F(FileSystemSandboxTest, AFileCannotBeMovedOut)
{
    const int error = Confined([this] {
        return ErrorOf(rename(Path("inside/file").c_str(), Path("outside/moved").c_str()));
    });
    EXPECT_TRUE(error == Refused(EACCES) || error == Refused(EXDEV)) << error;
}

TEST_F(FileSystemSandboxTest, ReadableFilesCanBeReadAndNotWritten)
{
    EXPECT_EQ(Confined([this] { return Read(Path("readable/file")); }), 0);
    EXPECT_EQ(Confined([this] { return Write(Path("readable/file")); }), Refused());
    EXPECT_EQ(Confined([this] { return Write(Path("readable/new")); }), Refused());
}

TEST_F(FileSystemSandboxTest, ThreadsThatStartLaterAreConfined)
{
    EXPECT_EQ(Confined([this] {
                  int error = 0;
                  std::thread([&] { error = Write(Path("outside/new")); }).join();
                  return error;
              }),
              Refused());
}

TEST_F(FileSystemSandboxTest, ASingleFileCanBeAllowed)
{
    EXPECT_EQ(InChild([this] {
                  const Rules rules = {{Path("outside/file")}, {}};
                  return Confine(rules).outcome == confined ? Write(Path("outside/file")) : 255;
              }),
              0);
}

TEST_F(FileSystemSandboxTest, AReadableEntryThatDoesNotExistIsPassedOver)
{
    EXPECT_EQ(InChild([this] {
                  const Rules rules = {{Path("inside")}, {Path("missing")}};
                  return Confine(rules).outcome == confined ? 0 : 255;
              }),
              0);
}

TEST_F(FileSystemSandboxTest, AWritableEntryThatDoesNotExistIsAnErrorThatNamesIt)
{
    const FileSystemSandbox::Result result = Confine({{Path("missing")}, {}});
    if (confined == Outcome::Confined) {
        EXPECT_EQ(result.outcome, Outcome::Failed);
        EXPECT_NE(result.reason.find(Path("missing")), std::string::npos) << result.reason;
    } else {
        EXPECT_EQ(result.outcome, Outcome::NotSupported);
    }
    EXPECT_EQ(Write(Path("outside/new")), 0) << "nothing is restricted after a failure";
}

TEST_F(FileSystemSandboxTest, AKernelWithoutSupportIsReportedInOneLineAndNothingIsRestricted)
{
    const FileSystemSandbox::Result result = Confine(Allowed(), 0);
    EXPECT_EQ(result.outcome, Outcome::NotSupported);
    EXPECT_EQ(result.reason, "file system sandbox: this kernel has no Landlock support");
    EXPECT_EQ(Write(Path("outside/new")), 0);
}

/** What the first version of the kernel's interface does, shown by any later one. */
class FirstVersion : public FileSystemSandboxTest
{
protected:
    int version = FileSystemSandbox::KernelVersion() > 0 ? 1 : 0;

    Rules WithinFolders() const
    {
        Rules rules = Allowed();
        rules.movesBetweenFolders = false;
        return rules;
    }
};

TEST_F(FirstVersion, IsNoSupportForThoseWhoMoveFilesBetweenFolders)
{
    const FileSystemSandbox::Result result = Confine(Allowed(), version);
    EXPECT_EQ(result.outcome, Outcome::NotSupported);
    EXPECT_EQ(result.reason.find('\n'), std::string::npos);
    EXPECT_EQ(Write(Path("outside/new")), 0) << "nothing is restricted";
}

TEST_F(FirstVersion, ConfinesThoseWhoDoNot)
{
    EXPECT_EQ(InChild([this] {
                  return Confine(WithinFolders(), version).outcome == confined
                             ? Write(Path("outside/new"))
                             : 255;
              }),
              Refused());
}

TEST_F(FirstVersion, TakesTheStepsOfAnUpload)
{
    EXPECT_EQ(InChild([this] {
                  return Confine(WithinFolders(), version).outcome == confined
                             ? ReplaceWithoutName("inside")
                             : 255;
              }),
              0);
}

/** Threads with rules of their own, in a process that is not confined. */
class FileSystemSandboxDomain : public FileSystemSandboxTest
{
protected:
    // What `call` leaves in errno on a thread that entered the domain.
    int OnThread(const FileSystemSandbox::Domain &domain, const std::function<int()> &call) const
    {
        int error = 255;
        std::thread([&] {
            if (domain.Enter().outcome == confined) {
                error = call();
            }
        }).join();
        return error;
    }
};

TEST_F(FileSystemSandboxDomain, ConfinesTheThreadsThatEnterItAndNoOther)
{
    const FileSystemSandbox::Domain domain(Allowed());
    EXPECT_EQ(OnThread(domain, [this] { return Write(Path("inside/new")); }), 0);
    EXPECT_EQ(OnThread(domain, [this] { return Write(Path("outside/new")); }), Refused());
    EXPECT_EQ(Write(Path("outside/new")), 0);
}

TEST_F(FileSystemSandboxDomain, AllowsInAConfinedProcessWhatBothAllow)
{
    EXPECT_EQ(Confined([this] {
                  const FileSystemSandbox::Domain domain({{directory.path().toStdString()}, {}});
                  return domain.Made().outcome == confined
                             ? OnThread(domain, [this] { return Write(Path("outside/new")); })
                             : 255;
              }),
              Refused());
}

TEST_F(FileSystemSandboxDomain, TakesTheStepsOfAnUpload)
{
    const FileSystemSandbox::Domain domain({{Path("inside")}, {}, false});
    EXPECT_EQ(OnThread(domain, [this] { return ReplaceWithoutName("inside"); }), 0);
    EXPECT_EQ(OnThread(domain, [this] { return ReplaceWithoutName("outside"); }), Refused());
}

TEST_F(FileSystemSandboxDomain, LeavesWhatIsOpenToTheMessageHandlerOfAConfinedThread)
{
    const int log = open(Path("outside/log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const FileSystemSandbox::Domain domain(Allowed());
    EXPECT_EQ(OnThread(domain, [log] { return write(log, "line", 4) == 4 ? 0 : errno; }), 0);
    EXPECT_EQ(OnThread(domain, [this] { return Write(Path("outside/log")); }), Refused());
    close(log);
}

TEST_F(FileSystemSandboxDomain, LeavesTheProcessItsTimeZone)
{
    const Rules rules = {{Path("inside")}, FileSystemSandbox::TimeZoneFiles(), false};
    EXPECT_EQ(InChild([&] {
                  setenv("TZ", "Asia/Tokyo", 1);
                  const FileSystemSandbox::Domain domain(rules);
                  return OnThread(domain, [] {
                      const time_t now = time(nullptr);
                      return static_cast<int>(std::localtime(&now)->tm_gmtoff / 3600);
                  });
              }),
              9);
}

TEST_F(FileSystemSandboxDomain, SaysWhyItCannotBeMadeAndConfinesNobody)
{
    const FileSystemSandbox::Domain domain({{Path("missing")}, {}});
    EXPECT_EQ(domain.Made().outcome,
              confined == Outcome::Confined ? Outcome::Failed : Outcome::NotSupported);
    EXPECT_NE(domain.Made().reason, "");
    EXPECT_EQ(domain.Enter().outcome, domain.Made().outcome);
    EXPECT_EQ(Write(Path("outside/new")), 0);
}

/** A folder that holds a mount point, in a mount namespace of each child process. */
class StorageMountedLater : public FileSystemSandboxDomain
{
protected:
    static constexpr int noNamespace = 254;

    void SetUp() override
    {
        FileSystemSandboxTest::SetUp();
        ASSERT_EQ(mkdir(Path("inside/card").c_str(), 0700), 0);
    }

    // What a thread with `rules`, made before the mount, gets when it writes to the mounted
    // storage.
    int WriteToMounted(const Rules &rules) const
    {
        return InChild([&] {
            if (!OwnMounts()) {
                return noNamespace;
            }
            const FileSystemSandbox::Domain domain(rules);
            if (mount("none", Path("inside/card").c_str(), "tmpfs", 0, nullptr) != 0) {
                return noNamespace;
            }
            return OnThread(domain, [this] { return Write(Path("inside/card/file")); });
        });
    }

    static bool OwnMounts()
    {
        const int user = geteuid() == 0 ? 0 : CLONE_NEWUSER;
        return unshare(CLONE_NEWNS | user) == 0 &&
               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }
};

TEST_F(StorageMountedLater, IsReachedByARuleForTheFolderOfItsMountPoint)
{
    EXPECT_EQ(WriteToMounted({{Path("inside")}, {}, false}), 0);
}

TEST_F(StorageMountedLater, IsNotReachedByARuleForTheMountPointItself)
{
    EXPECT_EQ(WriteToMounted({{Path("inside/card")}, {}, false}), Refused());
}

} // namespace
