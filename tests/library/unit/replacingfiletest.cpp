#include "replacingfile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
bool namelessFiles = true;       // as the file system of a test has them or not
const char *vanishing = nullptr; // a file that somebody deletes just before it is opened
} // namespace

// The linker has every call of `open` in this program, by the name in OPEN, come to the second one.
#define JOIN(a, b) a##b
#define NAMED(prefix, name) JOIN(prefix, name)
extern "C" {
int NAMED(__real_, OPEN)(const char *path, int flags, ...); // NOLINT
int NAMED(__wrap_, OPEN)(const char *path, int flags, ...)  // NOLINT
{
    if ((flags & O_TMPFILE) == O_TMPFILE && !namelessFiles) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if (vanishing != nullptr && std::strcmp(path, vanishing) == 0) {
        unlink(vanishing);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return NAMED(__real_, OPEN)(path, flags, mode);
}
}

namespace {

// Every test runs with files without a name and with hidden names.
class ReplacingFileTest : public testing::TestWithParam<bool>
{
protected:
    ReplacingFileTest() { namelessFiles = GetParam(); }
    ~ReplacingFileTest() override { namelessFiles = true; }

    QString Path(const QString &name) const { return directory.path() + "/" + name; }

    QStringList Names() const
    {
        return QDir(directory.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    QByteArray Content(const QString &name) const
    {
        QFile file(Path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "no file";
    }

    void Make(const QString &name, const QByteArray &content = "old") const
    {
        QFile file(Path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    std::unique_ptr<ReplacingFile> NewFile(const QString &name)
    {
        return std::make_unique<ReplacingFile>(Path(name), &piece, room);
    }

    // Gives the file one piece of a body, in slices.
    void Append(ReplacingFile *file, const std::vector<QByteArray> &slices)
    {
        QByteArray body;
        for (const QByteArray &slice : slices) {
            body += slice;
        }
        piece.begin = body.constData();
        piece.end = piece.begin + body.size();
        const char *next = piece.begin;
        for (const QByteArray &slice : slices) {
            file->Append(next, slice.size());
            next += slice.size();
        }
        file->WriteOut();
    }

    QTemporaryDir directory;
    BodyPiece piece;
    ReplacingFile::RoomForMore room = [](qint64 bytes) { return bytes; };
};

struct Kind
{
    std::string operator()(const testing::TestParamInfo<bool> &nameless) const
    {
        return nameless.param ? "Nameless" : "Hidden";
    }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Written, ReplacingFileTest, testing::Bool(), Kind());

TEST_P(ReplacingFileTest, NothingIsInPlaceBeforeCommit)
{
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"content"});
    file->Close();
    EXPECT_EQ(Content("file"), "no file");
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), "content");
}

TEST_P(ReplacingFileTest, NothingIsLeftWithoutCommit)
{
    auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"content"});
    file.reset();
    EXPECT_EQ(Names(), QStringList());
}

TEST_P(ReplacingFileTest, NothingButTheFileIsLeftAfterCommit)
{
    Make("file");
    auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    file.reset();
    EXPECT_EQ(Names(), QStringList{"file"});
    EXPECT_EQ(Content("file"), "");
}

TEST_P(ReplacingFileTest, TheOldFileStaysUntilCommit)
{
    Make("file");
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"new"});
    EXPECT_EQ(Content("file"), "old");
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), "new");
}

TEST_P(ReplacingFileTest, TheModeIsThatOfTheOldFile)
{
    Make("file");
    chmod(QFile::encodeName(Path("file")).constData(), 0604);
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    struct stat status
    {};
    stat(QFile::encodeName(Path("file")).constData(), &status);
    EXPECT_EQ(status.st_mode & 07777, mode_t(0604));
}

TEST_P(ReplacingFileTest, AFileThatCameMeanwhileIsReplaced)
{
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"new"});
    Make("file");
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), "new");
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_P(ReplacingFileTest, AFileThatGoesWhileItIsLookedAtIsStoredAsANewOne)
{
    Make("file");
    const std::unique_ptr<ReplacingFile> file = NewFile("file");
    const QByteArray path = QFile::encodeName(Path("file"));
    vanishing = path.constData();
    EXPECT_TRUE(file->Open());
    vanishing = nullptr;
    Append(file.get(), {"new"});
    EXPECT_TRUE(file->Commit()) << qPrintable(file->Failure());
    EXPECT_EQ(Content("file"), "new");
}

TEST_P(ReplacingFileTest, AFolderThatCameMeanwhileIsNot)
{
    Make("file");
    auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    QFile::remove(Path("file"));
    QDir().mkdir(Path("file"));
    EXPECT_FALSE(file->Commit());
    EXPECT_FALSE(file->Failure().isEmpty());
    file.reset();
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_P(ReplacingFileTest, ALinkIsFollowed)
{
    Make("target");
    QFile::link("target", Path("link"));
    const auto file = NewFile("link");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"new"});
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("target"), "new");
    EXPECT_EQ(QFile::symLinkTarget(Path("link")), Path("target"));
}

TEST_P(ReplacingFileTest, ALinkToNothingMakesItsTarget)
{
    QFile::link("target", Path("link"));
    const auto file = NewFile("link");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Names(), (QStringList{"link", "target"}));
}

TEST_P(ReplacingFileTest, LinksInACircleAreRefused)
{
    QFile::link("b", Path("a"));
    QFile::link("a", Path("b"));
    const auto file = NewFile("a");
    EXPECT_FALSE(file->Open());
    EXPECT_FALSE(file->Failure().isEmpty());
}

TEST_P(ReplacingFileTest, APipeIsRefused)
{
    ASSERT_EQ(mkfifo(QFile::encodeName(Path("pipe")).constData(), 0666), 0);
    const auto file = NewFile("pipe");
    EXPECT_FALSE(file->Open());
    EXPECT_EQ(file->Failure(), Path("pipe") + " is not a regular file");
}

TEST_P(ReplacingFileTest, AMissingFolderIsRefused)
{
    const auto file = NewFile("none/file");
    EXPECT_FALSE(file->Open());
    EXPECT_FALSE(file->IsOpen());
    EXPECT_FALSE(file->Commit());
}

// It would be removed with what killed processes leave behind.
TEST_P(ReplacingFileTest, ANameAsOfAHiddenFileIsRefused)
{
    for (const char *name : {".parlowen-upload-passing", ".parlowen-upload-1-1"}) {
        EXPECT_FALSE(NewFile(name)->Open());
    }
    EXPECT_EQ(Names(), QStringList());
}

// The system would take what stands before for the whole name.
TEST_P(ReplacingFileTest, ANameThatTheSystemCannotHoldWholeIsRefused)
{
    const QChar ends[] = {QChar(0), QChar(0xd800), QChar(0xdc80)};
    for (const QChar end : ends) {
        EXPECT_FALSE(NewFile(QStringLiteral("kept") + end)->Open());
        EXPECT_FALSE(NewFile(QStringLiteral("kept") + end + QStringLiteral("x"))->Open());
    }
    EXPECT_EQ(Names(), QStringList());
}

TEST_P(ReplacingFileTest, SlicesOfAPieceComeInOrder)
{
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"one\r", "\n", "two", ""});
    Append(file.get(), {"three"});
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), "one\r\ntwothree");
}

TEST_P(ReplacingFileTest, BytesFromElsewhereComeInOrder)
{
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    const QByteArray body("one--three");
    piece.begin = body.constData();
    piece.end = piece.begin + body.size();
    file->Append(body.constData(), 3);
    file->Append("two", 3);
    file->Append(body.constData() + 5, 5);
    file->WriteOut();
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), "onetwothree");
}

TEST_P(ReplacingFileTest, HeldBackBytesThatStandNextInThePieceAreTakenFromThere)
{
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    const QByteArray body("one\r\n-two");
    piece.begin = body.constData();
    piece.end = piece.begin + body.size();
    file->Append(body.constData(), 3);
    file->Append("\r\n-", 3);
    file->Append(body.constData() + 6, 3);
    file->WriteOut();
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Content("file"), body);
}

TEST_P(ReplacingFileTest, RoomIsAskedForOnlyWhenTheLastAnswerIsUsedUp)
{
    QVector<qint64> asked;
    room = [&asked](qint64 bytes) {
        asked << bytes;
        return qint64(10);
    };
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"1234567890"});
    Append(file.get(), {"1"});
    Append(file.get(), {"2"});
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(asked, (QVector<qint64>{10, 1}));
}

TEST_P(ReplacingFileTest, WithoutRoomNothingIsStored)
{
    Make("file");
    room = [](qint64) { return qint64(0); };
    auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    Append(file.get(), {"new"});
    EXPECT_EQ(file->Failure(), "there is no room for the rest of " + Path("file"));
    EXPECT_FALSE(file->Commit());
    file.reset();
    EXPECT_EQ(Content("file"), "old");
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_P(ReplacingFileTest, AWriteThatFailsStoresNothing)
{
    Make("file");
    auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{1000, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    Append(file.get(), {QByteArray(2000, 'x')});
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(file->Commit());
    EXPECT_TRUE(file->Failure().startsWith("cannot write " + Path("file")));
    file.reset();
    EXPECT_EQ(Content("file"), "old");
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_P(ReplacingFileTest, NoDescriptorStaysOpen)
{
    const int before = open("/dev/null", O_RDONLY);
    close(before);
    for (const char *name : {"file", "file", "none/file"}) {
        const auto file = NewFile(name);
        file->Open();
        file->Commit();
    }
    const int after = open("/dev/null", O_RDONLY);
    close(after);
    EXPECT_EQ(after, before);
}

class LeftBehindTest : public ReplacingFileTest
{};

INSTANTIATE_TEST_SUITE_P(Hidden, LeftBehindTest, testing::Values(false), Kind());

TEST_P(LeftBehindTest, AHiddenFileOfAProcessThatWasKilledIsRemoved)
{
    Make(".parlowen-upload-1-1");
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Names(), QStringList{"file"});
}

TEST_P(LeftBehindTest, AHiddenFileThatIsStillWrittenStays)
{
    auto other = NewFile("other");
    ASSERT_TRUE(other->Open());
    Append(other.get(), {"content"});
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    EXPECT_TRUE(other->Commit());
    EXPECT_EQ(Content("other"), "content");
}

TEST_P(LeftBehindTest, OtherHiddenFilesStay)
{
    Make(".other");
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_EQ(Content(".other"), "old");
}

class PassingNameTest : public ReplacingFileTest
{};

INSTANTIATE_TEST_SUITE_P(Nameless, PassingNameTest, testing::Values(true), Kind());

TEST_P(PassingNameTest, LeftByAProcessThatWasKilledIsRemovedByTheNextUpload)
{
    Make(".parlowen-upload-passing");
    const auto file = NewFile("file");
    ASSERT_TRUE(file->Open());
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(Names(), QStringList{"file"});
}
