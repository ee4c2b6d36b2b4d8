#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include "assetmodel.h"
#include "filemanagermodel.h"
#include "recordingerrorreporter.h"
#include "syncfilesmodel.h"
#include "userfilestest.h"

namespace {

/**
 * A path that must not be served. "ROOT" stands for the user-files directory, "BARE" for its path
 * without the first slash, and "BASE" for the folder around it. Nothing outside that folder is
 * named: a file that is served by mistake is one that the test has made.
 */
struct Escape
{
    const char *name;
    QString path;
};

void PrintTo(const Escape &escape, std::ostream *stream)
{
    *stream << escape.name;
}

/**
 * A directory with everything in it that must not be followed, and files beside it that must not be
 * reached.
 */
class UserFileEscapesTest : public UserFilesTest, public testing::WithParamInterface<Escape>
{
protected:
    UserFileEscapesTest()
    {
        Write("inside.txt", "inside");
        MakeFolder("folder");
        Write("folder/nested.txt", "nested");
        MakeFolder("../other");
        MakeFolder("../userfiles-sibling");
        for (const char *name : secrets) {
            Write(name, "secret");
        }
        const char *links[][2] = {{"../outside.txt", "link-to-outside"},
                                  {"inside.txt", "link-to-inside"},
                                  {"../other", "linked-folder"},
                                  {"folder", "linked-inner-folder"},
                                  {"/", "linked-top"},
                                  {"../device", "linked-device"}};
        for (const auto &link : links) {
            EXPECT_EQ(symlink(link[0], OnDisk(link[1]).constData()), 0);
        }
        EXPECT_EQ(mkfifo(OnDisk("fifo").constData(), 0644), 0);
        MakeSocket();
        MakeDevice();
        // A blocking open would otherwise wait for ever.
        alarm(20);
    }

    ~UserFileEscapesTest() override { alarm(0); }

    void MakeSocket()
    {
        socketDescriptor = FileDescriptor(socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray path = OnDisk("socket");
        ASSERT_LT(path.size(), static_cast<int>(sizeof address.sun_path));
        std::copy(path.cbegin(), path.cend(), address.sun_path);
        ASSERT_EQ(
            bind(socketDescriptor.Number(), reinterpret_cast<sockaddr *>(&address), sizeof address),
            0);
    }

    /** Endless like /dev/zero, or a fifo for those who may not make devices. */
    void MakeDevice() const
    {
        const QByteArray path = OnDisk("../device");
        if (mknod(path.constData(), S_IFCHR | 0644, makedev(1, 5)) != 0) {
            ASSERT_EQ(mkfifo(path.constData(), 0644), 0);
        }
    }

    QString EscapingPath() const
    {
        QString path = GetParam().path;
        return path.replace("ROOT", root).replace("BARE", root.mid(1)).replace("BASE", base.path());
    }

    void SetUp() override { ExpectNothingChanged(); }

    /** Everything is where it was. */
    void ExpectNothingChanged() const
    {
        for (const char *name : secrets) {
            EXPECT_EQ(Content(name), "secret") << name;
        }
        EXPECT_EQ(Content("inside.txt"), "inside");
        EXPECT_EQ(Content("folder/nested.txt"), "nested");
        for (const char *name :
             {"link-to-outside", "link-to-inside", "linked-folder", "linked-inner-folder",
              "linked-top", "linked-device", "fifo", "socket", "../device"}) {
            EXPECT_TRUE(Exists(name)) << name;
        }
        EXPECT_FALSE(Exists("../state/confirmed-files.jsonl"));
    }

    static constexpr const char *secrets[] = {"../outside.txt", "../other/secret.txt",
                                              "../userfiles-sibling/secret.txt"};

    RecordingErrorReporter errors;
    FileSystem fileSystem;
    UserFileDirectory directory{root};
    FileDigestCache digests;
    FileManagerModel fileManager{directory, errors};
    SyncFilesModel syncFiles{directory, digests, fileSystem, stateFolder, errors};
    AssetModel asset{base.filePath("asset.json"), directory, digests, errors};
    FileDescriptor socketDescriptor;
};

TEST_P(UserFileEscapesTest, IsNotFound)
{
    EXPECT_FALSE(directory.Find(EscapingPath()));
    EXPECT_FALSE(directory.Open(EscapingPath()));
}

TEST_P(UserFileEscapesTest, IsNotDownloaded)
{
    bool ok = true;
    bool last = false;
    EXPECT_EQ(fileManager.ReadFileChunk(EscapingPath(), &ok, 0, 5000000, &last), QByteArray());
    EXPECT_FALSE(ok);
    EXPECT_TRUE(last);
}

TEST_P(UserFileEscapesTest, IsNotRead)
{
    bool found = true;
    EXPECT_EQ(syncFiles.GetFileData(EscapingPath(), &found), QByteArray());
    EXPECT_FALSE(found);
}

TEST_P(UserFileEscapesTest, HasNoMetadata)
{
    bool found = true;
    EXPECT_EQ(asset.GetFileMetadata(EscapingPath(), &found), QJsonObject());
    EXPECT_FALSE(found);
}

TEST_P(UserFileEscapesTest, IsNotConfirmed)
{
    EXPECT_FALSE(syncFiles.MarkFileSynced(EscapingPath()));
    ExpectNothingChanged();
}

TEST_P(UserFileEscapesTest, IsNotDeleted)
{
    EXPECT_FALSE(fileManager.DeleteUserFile(EscapingPath()));
    ExpectNothingChanged();
}

TEST_P(UserFileEscapesTest, IsNoErrorOfTheDevice)
{
    bool found = true;
    asset.GetFileMetadata(EscapingPath(), &found);
    syncFiles.GetFileData(EscapingPath(), &found);
    syncFiles.MarkFileSynced(EscapingPath());
    fileManager.DeleteUserFile(EscapingPath());
    EXPECT_EQ(errors.messages, QStringList());
}

QString WithNul(const char *before, const char *after)
{
    return QString(before) + QChar(0) + QString(after);
}

const Escape escapes[] = {
    {"ParentFolder", "ROOT/../outside.txt"},
    {"ParentFolderFromASubFolder", "ROOT/folder/../../outside.txt"},
    {"ParentFolderFromAMissingFolder", "ROOT/missing/../../outside.txt"},
    {"ParentFolderAfterDoubleSlashes", "ROOT//..//outside.txt"},
    {"ManyParentFolders", "ROOT/../../../../../../../..BASE/outside.txt"},
    {"SiblingWhoseNameStartsAlike", "ROOT-sibling/secret.txt"},
    {"SiblingWithTheNameOfAFileInside", "ROOT-sibling/inside.txt"},
    {"AnotherFolderWithTheNameOfAFileInside", "ROOT/../other/inside.txt"},
    {"SiblingThroughTheParent", "ROOT/../userfiles-sibling/secret.txt"},
    {"AnotherAbsolutePath", "BASE/outside.txt"},
    {"LinkToAFileOutside", "ROOT/link-to-outside"},
    {"LinkToAFileInside", "ROOT/link-to-inside"},
    {"LinkedFolderOutside", "ROOT/linked-folder/secret.txt"},
    {"LinkedFolderInside", "ROOT/linked-inner-folder/nested.txt"},
    {"LinkedFolderAndParent", "ROOT/linked-folder/../outside.txt"},
    {"LinkToTheTop", "ROOT/linked-topBASE/outside.txt"},
    {"LinkToADevice", "ROOT/linked-device"},
    {"Fifo", "ROOT/fifo"},
    {"Socket", "ROOT/socket"},
    {"Device", "BASE/device"},
    {"DeviceThroughTheParent", "ROOT/../device"},
    {"TheDirectoryItself", "ROOT"},
    {"TheDirectoryWithASlash", "ROOT/"},
    {"TheDirectoryAsADot", "ROOT/."},
    {"TheDirectoryFromASubFolder", "ROOT/folder/.."},
    {"AFolder", "ROOT/folder"},
    {"AFolderWithASlash", "ROOT/folder/"},
    {"AFileWithASlash", "ROOT/inside.txt/"},
    {"AFileWithADot", "ROOT/inside.txt/."},
    {"AFileWithADotAndASlash", "ROOT/inside.txt/./"},
    {"TheParentOfANameBelowAFile", "ROOT/inside.txt/x/.."},
    {"ANameBelowAFile", "ROOT/inside.txt/x"},
    {"AMissingFile", "ROOT/missing.txt"},
    {"AnotherCase", "ROOT/INSIDE.TXT"},
    {"TheEmptyPath", ""},
    {"TheTop", "/"},
    {"TwoSlashes", "//"},
    {"ARelativePath", "inside.txt"},
    {"ARelativePathWithADot", "./inside.txt"},
    {"ARelativePathWithTheDirectory", "userfiles/inside.txt"},
    {"ARelativePathWithTheWholeDirectory", "BARE/inside.txt"},
    {"NulAtTheEnd", WithNul("ROOT/inside.txt", "")},
    {"NulBeforeASuffix", WithNul("ROOT/inside.txt", ".png")},
    {"NulInAFolder", WithNul("ROOT/folder", "/nested.txt")},
    {"NulAtTheStart", WithNul("", "ROOT/inside.txt")},
    {"PercentEncodedDots", "ROOT/%2e%2e/outside.txt"},
    {"PercentEncodedSlash", "ROOT/..%2foutside.txt"},
    {"PercentEncodedNul", "ROOT/inside.txt%00"},
    {"Backslashes", "ROOT\\..\\outside.txt"},
    {"BackslashAfterDots", "ROOT/..\\outside.txt"},
    {"OverlongDots", QString::fromLatin1("ROOT/\xC0\xAE\xC0\xAE/outside.txt")},
    {"OverlongSlash", QString::fromLatin1("ROOT/..\xC0\xAFoutside.txt")},
    {"FullWidthDots", QString::fromUtf8("ROOT/．．/outside.txt")},
    {"CharactersWhoseLowByteIsADot", QString::fromUtf8("ROOT/ĮĮ/outside.txt")},
    {"InvalidUtf8", QString::fromLatin1("ROOT/inside.txt\xFF")},
    {"BlankAtTheEnd", "ROOT/inside.txt "},
    {"ANameOf256Bytes", "ROOT/" + QString(256, 'n')},
    {"APathOf4KiB", "ROOT/" + QString("n/").repeated(2048) + "n"},
    {"TheSecretBehind4KiB", "ROOT/" + QString("n/../").repeated(820) + "../outside.txt"},
    {"QuestionMark", "ROOT/inside.txt?x=1"},
};

INSTANTIATE_TEST_SUITE_P(Paths, UserFileEscapesTest, testing::ValuesIn(escapes),
                         [](const auto &test) { return std::string(test.param.name); });

class UserFileListsTest : public UserFileEscapesTest
{};

// The lists take no path: one look at them beside everything that must not be followed.
TEST_P(UserFileListsTest, HoldOnlyTheFilesInside)
{
    const QStringList inside = {Path("/folder/nested.txt"), Path("/inside.txt")};
    EXPECT_EQ(PathsOf(fileManager.GetUserFiles().value("files").toArray()), inside);
    EXPECT_EQ(PathsOf(syncFiles.GetAllPendingFiles()), inside);
}

INSTANTIATE_TEST_SUITE_P(Once, UserFileListsTest, testing::Values(Escape{"AllKinds", ""}),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace
