#include "userfiledirectory.h"

#include <QDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "userfilestest.h"

namespace {

class UserFileDirectoryTest : public UserFilesTest
{
protected:
    QStringList Listed() const
    {
        QStringList paths;
        for (const UserFile &file : directory.Files()) {
            paths.append(file.path);
        }
        return paths;
    }

    QByteArray Read(const QString &clientPath) const
    {
        const std::optional<OpenUserFile> open = directory.Open(clientPath);
        if (!open) {
            return "not served";
        }
        QByteArray content(static_cast<int>(open->file.status.size), Qt::Uninitialized);
        EXPECT_EQ(open->descriptor.Read(content.data(), content.size(), 0), content.size());
        return content;
    }

    UserFileDirectory directory{root};
};

TEST_F(UserFileDirectoryTest, FindsAFileWithItsSizeAndTime)
{
    Write("a.txt", "12345");
    SetTime("a.txt", 1715938212, 7);
    const std::optional<UserFile> file = directory.Find(Path("/a.txt"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->path, Path("/a.txt"));
    EXPECT_EQ(file->status.size, 5);
    EXPECT_EQ(file->status.modifiedSeconds, 1715938212);
    EXPECT_EQ(file->status.modifiedNanoseconds, 7);
    const QJsonObject expected = {
        {"path", Path("/a.txt")}, {"size", 5}, {"modifiedTime", "2024-05-17T09:30:12Z"}};
    EXPECT_EQ(file->Describe(), expected);
}

TEST_F(UserFileDirectoryTest, ServesAFileInAFolderInAFolder)
{
    MakeFolder("one");
    MakeFolder("one/two");
    Write("one/two/a.txt", "deep");
    EXPECT_EQ(Read(Path("/one/two/a.txt")), "deep");
}

TEST_F(UserFileDirectoryTest, RepeatedSlashesCountAsOne)
{
    MakeFolder("folder");
    Write("folder/a.txt", "content");
    EXPECT_EQ(Read('/' + Path("//folder///a.txt")), "content");
    EXPECT_EQ(directory.Find('/' + Path("//folder///a.txt"))->path, Path("/folder/a.txt"));
}

TEST_F(UserFileDirectoryTest, DotsThatStayInsideAreServed)
{
    MakeFolder("folder");
    Write("a.txt", "content");
    for (const char *name : {"/./a.txt", "/folder/../a.txt", "/missing/../a.txt",
                             "/../userfiles/a.txt", "/folder/./.././a.txt"}) {
        EXPECT_EQ(Read(Path(name)), "content") << name;
        EXPECT_EQ(directory.Find(Path(name))->path, Path("/a.txt")) << name;
    }
}

TEST_F(UserFileDirectoryTest, DotsAboveTheTopStayAtTheTop)
{
    Write("a.txt", "content");
    EXPECT_EQ(Read("/../.." + Path("/a.txt")), "content");
}

TEST_F(UserFileDirectoryTest, PercentSignsAndOtherSpecialCharactersAreOrdinary)
{
    for (const char *name : {"100%.txt", "%2e%2e", "a%2Fb", "%", "a b", "a\\b", "...", "..a", "a..",
                             ".hidden", "a\nb", "*?[x]", "-rf", "~", "a:b"}) {
        Write(name, name);
        EXPECT_EQ(Read(ClientPath(name)), name);
        EXPECT_TRUE(Listed().contains(Path('/' + QString(name)))) << name;
    }
}

TEST_F(UserFileDirectoryTest, NamesInUtf8AreServedFromBytesAndFromUnicode)
{
    const QString name = QString::fromUtf8("Prüfung €🔧.csv");
    Write(name.toUtf8(), "content");
    EXPECT_EQ(Read(ClientPath(name.toUtf8())), "content");
    EXPECT_EQ(Read(Path('/' + name)), "content");
    EXPECT_EQ(directory.Find(ClientPath(name.toUtf8()))->path, Path('/' + name));
    EXPECT_EQ(Listed(), QStringList(Path('/' + name)));
}

TEST_F(UserFileDirectoryTest, ANameThatIsNoUtf8IsNeitherListedNorServed)
{
    Write("bad\xFF", "content");
    MakeFolder("folder\xFF");
    Write("folder\xFF/a.txt", "content");
    Write("good", "content");
    EXPECT_EQ(Listed(), QStringList(Path("/good")));
    EXPECT_FALSE(directory.Find(ClientPath("bad\xFF")));
    EXPECT_FALSE(directory.Find(ClientPath("folder\xFF/a.txt")));
    QString error;
    EXPECT_FALSE(directory.Remove(ClientPath("bad\xFF"), &error));
    EXPECT_TRUE(Exists("bad\xFF"));
}

TEST_F(UserFileDirectoryTest, ANameThatBeginsWithAByteOrderMarkIsListedAndServed)
{
    const QByteArray mark = "\xEF\xBB\xBF";
    Write(mark + "a", "first");
    MakeFolder(mark + "folder");
    Write(mark + "folder/" + mark + "b", "second");
    EXPECT_EQ(Listed(),
              QStringList({Path("/" + mark + "a"), Path("/" + mark + "folder/" + mark + "b")}));
    EXPECT_EQ(Read(ClientPath(mark + "a")), "first");
    EXPECT_EQ(Read(ClientPath(mark + "folder/" + mark + "b")), "second");
}

TEST_F(UserFileDirectoryTest, AnUploadOnItsWayIsNeitherListedNorServedNorRemoved)
{
    MakeFolder("folder");
    for (const char *name : {".parlowen-upload-passing", "folder/.parlowen-upload-7-1"}) {
        Write(name, "content");
        EXPECT_FALSE(directory.Find(ClientPath(name))) << name;
        EXPECT_EQ(Read(ClientPath(name)), "not served") << name;
        QString error;
        EXPECT_FALSE(directory.Remove(ClientPath(name), &error)) << name;
        EXPECT_TRUE(Exists(name)) << name;
    }
    Write(".parlowen-uploads", "content");
    EXPECT_EQ(Listed(), QStringList(Path("/.parlowen-uploads")));
    EXPECT_EQ(directory.Count(10), 3);
}

TEST_F(UserFileDirectoryTest, AByteThatIsNoUtf8IsTakenAsItsCharacter)
{
    Write("\xC3\xBF.txt", "content");
    EXPECT_EQ(Read(ClientPath("\xFF.txt")), "content");
}

TEST_F(UserFileDirectoryTest, ANameOf255BytesIsServedAndALongerOneIsNot)
{
    const QByteArray name(255, 'n');
    Write(name, "content");
    EXPECT_EQ(Read(ClientPath(name)), "content");
    EXPECT_EQ(Listed(), QStringList(ClientPath(name)));
    EXPECT_FALSE(directory.Find(ClientPath(name + 'n')));
}

TEST_F(UserFileDirectoryTest, APathOfMoreThan4KiBIsServedListedAndRemoved)
{
    const QByteArray name(200, 'n');
    QByteArray path;
    FileDescriptor folder(open(root.toUtf8().constData(), O_PATH));
    for (int depth = 0; depth < 25; ++depth) {
        ASSERT_EQ(mkdirat(folder.Number(), name.constData(), 0755), 0);
        folder = FileDescriptor(openat(folder.Number(), name.constData(), O_PATH));
        path += name + '/';
    }
    FileDescriptor file(openat(folder.Number(), "a.txt", O_CREAT | O_WRONLY, 0644));
    ASSERT_TRUE(file.IsOpen());
    path += "a.txt";
    EXPECT_EQ(Listed(), QStringList(ClientPath(path)));
    EXPECT_EQ(Read(ClientPath(path)), "");
    QString error;
    EXPECT_TRUE(directory.Remove(ClientPath(path), &error));
    EXPECT_TRUE(error.isEmpty());
    EXPECT_TRUE(Listed().isEmpty());
}

TEST_F(UserFileDirectoryTest, AnUnknownPathOf4KiBIsNotServed)
{
    EXPECT_FALSE(directory.Find(ClientPath(QByteArray(4096, 'n'))));
    EXPECT_FALSE(directory.Find(ClientPath(QByteArray("n/").repeated(2048) + 'n')));
}

TEST_F(UserFileDirectoryTest, TheListIsSortedByCodeUnitsOfThePath)
{
    MakeFolder("a");
    MakeFolder("b");
    for (const char *name : {"b/1", "a/2", "a/1", "a-b", "a.txt", "B", "_", "ä", "z", "ｚ", "🔧"}) {
        Write(name, "");
    }
    QStringList expected;
    // The wrench is a surrogate pair and therefore comes before the full-width letter.
    for (const char *name : {"B", "_", "a-b", "a.txt", "a/1", "a/2", "b/1", "z", "ä", "🔧", "ｚ"}) {
        expected.append(Path('/' + QString::fromUtf8(name)));
    }
    EXPECT_EQ(Listed(), expected);
}

TEST_F(UserFileDirectoryTest, OnlyRegularFilesAreListed)
{
    MakeFolder("folder");
    MakeFolder("empty");
    Write("folder/a.txt", "");
    ASSERT_EQ(symlink("folder/a.txt", OnDisk("link").constData()), 0);
    ASSERT_EQ(symlink("folder", OnDisk("linked").constData()), 0);
    ASSERT_EQ(symlink("missing", OnDisk("dangling").constData()), 0);
    ASSERT_EQ(symlink(".", OnDisk("loop").constData()), 0);
    ASSERT_EQ(mkfifo(OnDisk("fifo").constData(), 0644), 0);
    EXPECT_EQ(Listed(), QStringList(Path("/folder/a.txt")));
}

TEST_F(UserFileDirectoryTest, FilesOfAllFoldersAreCountedUpToALimit)
{
    MakeFolder("one");
    MakeFolder("one/two");
    for (const char *name : {"a", "one/b", "one/two/c", "one/two/bad\xFF"}) {
        Write(name, "");
    }
    ASSERT_EQ(symlink("one", OnDisk("link").constData()), 0);
    EXPECT_EQ(directory.Count(100), 4);
    EXPECT_EQ(directory.Count(2), 2);
    EXPECT_EQ(directory.Count(0), 0);
    EXPECT_EQ(UserFileDirectory(base.filePath("missing")).Count(100), 0);
}

TEST_F(UserFileDirectoryTest, AMissingDirectoryHasNoFiles)
{
    const UserFileDirectory missing(base.filePath("missing"));
    EXPECT_TRUE(missing.Files().isEmpty());
    EXPECT_FALSE(missing.Find(base.filePath("missing/a.txt")));
}

TEST_F(UserFileDirectoryTest, TheDirectoryItselfMayBeReachedThroughALink)
{
    Write("a.txt", "content");
    const QString link = base.filePath("link");
    ASSERT_EQ(::symlink("userfiles", link.toUtf8().constData()), 0);
    const UserFileDirectory linked(link);
    EXPECT_TRUE(linked.Open(link + "/a.txt"));
    ASSERT_EQ(linked.Files().size(), 1);
    EXPECT_EQ(linked.Files().first().path, link + "/a.txt");
    EXPECT_FALSE(linked.Find(Path("/a.txt")));
}

TEST_F(UserFileDirectoryTest, ThePathOfTheDirectoryIsCleaned)
{
    Write("a.txt", "content");
    const UserFileDirectory untidy(base.path() + "//./state/../userfiles/");
    EXPECT_EQ(untidy.Find(Path("/a.txt"))->path, Path("/a.txt"));
}

TEST_F(UserFileDirectoryTest, RemovesOneFile)
{
    Write("a.txt", "");
    Write("b.txt", "");
    QString error = "former";
    EXPECT_TRUE(directory.Remove(Path("/a.txt"), &error));
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(Listed(), QStringList(Path("/b.txt")));
}

TEST_F(UserFileDirectoryTest, AFileThatIsGoneIsNotRemovedAgainAndThatIsNoError)
{
    QString error = "former";
    EXPECT_FALSE(directory.Remove(Path("/a.txt"), &error));
    EXPECT_TRUE(error.isEmpty());
}

TEST_F(UserFileDirectoryTest, NoDescriptorStaysOpen)
{
    MakeFolder("folder");
    Write("folder/a.txt", "");
    const auto openDescriptors = [] { return QDir("/proc/self/fd").entryList().size(); };
    const int before = openDescriptors();
    QString error;
    directory.Files();
    directory.Find(Path("/folder/a.txt"));
    directory.Open(Path("/folder/a.txt"));
    directory.Open(Path("/folder/a.txt/x"));
    directory.Remove(Path("/folder/a.txt"), &error);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(UserFileDirectoryDeviceTest, ADeviceIsNoFile)
{
    const UserFileDirectory devices(QStringLiteral("/dev"));
    EXPECT_FALSE(devices.Find(QStringLiteral("/dev/null")));
    EXPECT_FALSE(devices.Open(QStringLiteral("/dev/zero")));
    for (const UserFile &file : devices.Files()) {
        EXPECT_NE(file.path, QStringLiteral("/dev/null"));
    }
}

} // namespace
