#include "storagemodel.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <limits>
#include <sys/statvfs.h>

#include "diskspace.h"
#include "recordingerrorreporter.h"

namespace {

class StorageModelTest : public testing::Test
{
protected:
    StorageModelTest() { QDir(device.Path()).mkpath(device.UserFiles()); }

    QTemporaryDir folder;
    DeviceFolder device{folder.path()};
    RecordingErrorReporter errors;
    StorageModel storage{device, true, errors};
};

TEST_F(StorageModelTest, EachKeyLeadsToItsDirectory)
{
    EXPECT_EQ(storage.Directory(9).absolutePath(), folder.path() + "/storage/userfiles");
    EXPECT_EQ(storage.Directory(10).absolutePath(), folder.path() + "/templates");
    EXPECT_EQ(storage.Directory(11).absolutePath(), folder.path() + "/storage/templates");
    EXPECT_TRUE(errors.messages.isEmpty());
}

TEST_F(StorageModelTest, AnyOtherKeyIsReportedAndLeadsNowhere)
{
    for (int key : {-1, 0, 8, 12}) {
        EXPECT_FALSE(storage.Directory(key).exists());
    }
    EXPECT_EQ(errors.messages.size(), 4);
}

TEST_F(StorageModelTest, TheGuardedStorageIsThereUnlessItWasSwitchedOff)
{
    EXPECT_TRUE(storage.IsStorageAvailable());
    EXPECT_FALSE(StorageModel(device, false, errors).IsStorageAvailable());
}

TEST_F(StorageModelTest, EnteringAndLeavingBalance)
{
    storage.BeginStorageAccess();
    storage.BeginStorageAccess();
    EXPECT_EQ(storage.AccessDepth(), 2);
    storage.EndStorageAccess();
    storage.EndStorageAccess();
    EXPECT_EQ(storage.AccessDepth(), 0);
    EXPECT_TRUE(errors.messages.isEmpty());
}

TEST_F(StorageModelTest, LeavingWithoutEnteringIsReported)
{
    storage.EndStorageAccess();
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_EQ(storage.AccessDepth(), 0);
}

TEST_F(StorageModelTest, FreeSpaceKeepsTheReserve)
{
    struct statvfs status = {};
    ASSERT_EQ(statvfs(folder.path().toUtf8().constData(), &status), 0);
    const auto free = static_cast<qint64>(status.f_bavail * status.f_frsize);
    const qint64 change = 256 * 1024 * 1024; // what others may write or free meanwhile
    ASSERT_GT(free, 2 * change);
    EXPECT_TRUE(storage.HasFreeSpace(0));
    EXPECT_TRUE(storage.HasFreeSpace(free - DiskSpace::reserve - change));
    EXPECT_FALSE(storage.HasFreeSpace(free - DiskSpace::reserve + change));
    EXPECT_FALSE(storage.HasFreeSpace(std::numeric_limits<qint64>::max()));
    EXPECT_TRUE(storage.HasFreeSpace(std::numeric_limits<qint64>::min()));
}

TEST_F(StorageModelTest, AFileSystemThatCannotBeAskedHasNoSpace)
{
    QDir(device.UserFiles()).removeRecursively();
    EXPECT_FALSE(storage.HasFreeSpace(0));
    EXPECT_EQ(errors.messages.size(), 1);
}

class FileLimitTest : public StorageModelTest
{
protected:
    static void Place(const QString &path)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    StorageModel small{device, true, errors, 3};
};

TEST_F(FileLimitTest, FilesAreLetInUntilTheLimitIsReached)
{
    for (const char *name : {"/a", "/folder/b", "/folder/.hidden"}) {
        EXPECT_TRUE(small.HasFreeSpace(1));
        Place(device.UserFiles() + name);
    }
    EXPECT_FALSE(small.HasFreeSpace(1));
    EXPECT_EQ(errors.messages,
              QStringList(QStringLiteral("no room for a file: %1 holds the 3 that are allowed; "
                                         "delete some")
                              .arg(device.Storage())));
}

TEST_F(FileLimitTest, ThereIsRoomAgainOnceAFileIsGone)
{
    for (const char *name : {"/a", "/b", "/c", "/d"}) {
        Place(device.UserFiles() + name);
    }
    EXPECT_FALSE(small.HasFreeSpace(0));
    QFile::remove(device.UserFiles() + "/a");
    EXPECT_FALSE(small.HasFreeSpace(0));
    QFile::remove(device.UserFiles() + "/b");
    EXPECT_TRUE(small.HasFreeSpace(0));
}

TEST_F(FileLimitTest, ReplacingAFileManyTimesNeedsNoRoom)
{
    Place(device.UserFiles() + "/a");
    for (int time = 0; time < 10; ++time) {
        EXPECT_TRUE(small.HasFreeSpace(1));
    }
}

TEST_F(FileLimitTest, FilesOfOthersAreNoticedAfterAThousandUploads)
{
    StorageModel large(device, true, errors, 2000);
    EXPECT_TRUE(large.HasFreeSpace(0));
    for (int number = 0; number < 2000; ++number) {
        Place(device.UserFiles() + QStringLiteral("/%1").arg(number));
    }
    int let = 1;
    while (let < 2000 && large.HasFreeSpace(0)) {
        ++let;
    }
    EXPECT_EQ(let, 1000);
}

TEST_F(FileLimitTest, AllFilesOfTheStorageCountTogether)
{
    for (const char *name : {"/userfiles/a", "/templates/b.json", "/c"}) {
        EXPECT_TRUE(small.HasFreeSpace(0));
        Place(device.Storage() + name);
    }
    EXPECT_FALSE(small.HasFreeSpace(0));
}

TEST_F(FileLimitTest, FilesOfAFolderThatIsALinkCountToo)
{
    const QTemporaryDir elsewhere;
    ASSERT_TRUE(QDir().rmdir(device.UserFiles()));
    ASSERT_TRUE(QFile::link(elsewhere.path(), device.UserFiles()));
    for (const char *name : {"/userfiles/a", "/userfiles/b", "/c"}) {
        EXPECT_TRUE(small.HasFreeSpace(0));
        Place(device.Storage() + name);
    }
    EXPECT_FALSE(small.HasFreeSpace(0));
}

TEST_F(FileLimitTest, LinksAndFoldersAreNoFiles)
{
    for (const char *name : {"/a", "/b", "/c"}) {
        QDir().mkpath(device.UserFiles() + name);
        ASSERT_TRUE(QFile::link(device.Path(), device.UserFiles() + name + "/link"));
    }
    EXPECT_TRUE(small.HasFreeSpace(0));
}

class TemplatesTest : public StorageModelTest
{
protected:
    TemplatesTest() { QDir(device.Path()).mkpath(device.Templates()); }

    void Place(const QString &name, const QByteArray &content)
    {
        QFile file(device.Templates() + '/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QStringList Reported()
    {
        storage.Directory(IStorageModel::TemplateDirectory);
        return errors.messages;
    }
};

TEST_F(TemplatesTest, AFileWithTemplatesIsNotReported)
{
    Place("a.json", R"({"cdm": []})");
    EXPECT_EQ(Reported(), QStringList());
}

TEST_F(TemplatesTest, AFileWithoutTemplatesIsReportedOnceByName)
{
    Place("a.json", R"({"cdm": []})");
    Place("b.json", R"({"cdmx": []})");
    const QStringList expected = {QStringLiteral("skipped %1/b.json: it holds no templates, it has "
                                                 "no array \"cdm\"")
                                      .arg(device.Templates())};
    EXPECT_EQ(Reported(), expected);
    EXPECT_EQ(Reported(), expected);
}

TEST_F(TemplatesTest, AFileThatIsNoJsonIsReported)
{
    Place("b.json", "{");
    ASSERT_EQ(Reported().size(), 1);
    EXPECT_TRUE(errors.messages.first().contains(QStringLiteral("b.json")));
    EXPECT_TRUE(errors.messages.first().contains(QStringLiteral("it is no JSON")));
}

TEST_F(TemplatesTest, OfVeryLargeFilesTheRestIsLookedAtTheNextTime)
{
    Place("a.json", "{");
    ASSERT_TRUE(QFile::resize(device.Templates() + "/a.json",
                              TemplateFolders::mostAtOnce)); // takes no disk
    Place("b.json", "{");
    EXPECT_EQ(Reported().size(), 1);
    EXPECT_EQ(Reported().size(), 2);
    EXPECT_EQ(Reported().size(), 2);
}

TEST_F(TemplatesTest, AFileThatWasMendedAndBrokenAgainIsReportedAgain)
{
    Place("b.json", "[]");
    EXPECT_EQ(Reported().size(), 1);
    Place("b.json", R"({"cdm": []})");
    EXPECT_EQ(Reported().size(), 1);
    Place("b.json", "[1]");
    EXPECT_EQ(Reported().size(), 2);
}

TEST_F(TemplatesTest, OtherFilesAreNotLookedAt)
{
    Place("b.JSON", "[]");
    Place("b.txt", "[]");
    EXPECT_EQ(Reported(), QStringList());
}

TEST_F(TemplatesTest, TheGuardedFolderIsLookedAtToo)
{
    QDir(device.Path()).mkpath(device.GuardedTemplates());
    QFile file(device.GuardedTemplates() + "/c.json");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    storage.Directory(IStorageModel::GuardedTemplateDirectory);
    EXPECT_EQ(errors.messages.size(), 1);
}

} // namespace
