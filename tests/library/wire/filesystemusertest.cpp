#include <QFileInfo>
#include <filesystemuser.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include "wiretest.h"

namespace {

constexpr uid_t nobody = 65534;

/** The recipe, as an application that serves classically writes it. */
class StorageOfAnotherUser : public WireHost
{
public:
    bool IsStorageAvailable() override { return uploads.Possible(); }
    void BeginStorageAccess() override { uploads.Enter(); }
    void EndStorageAccess() override { uploads.Leave(); }
    FileSystemUser uploads{nobody, nobody};
};

/** Run by anybody but the superuser, all uploads are refused. */
class FileSystemUserTest : public WireTest
{
protected:
    FileSystemUserTest()
    {
        QFile file(database);
        file.open(QIODevice::WriteOnly);
        file.write("own data");
        if (isPossible) {
            EXPECT_EQ(chown(qPrintable(host.directory.path()), nobody, nobody), 0);
        }
        host.script.isStorageAvailable = [this] { return storage.IsStorageAvailable(); };
        host.script.storageEntered = [this] { storage.BeginStorageAccess(); };
        host.script.storageLeft = [this] { storage.EndStorageAccess(); };
    }

    std::string Upload(const QString &path)
    {
        return AskBody(Request("POST", "/api/filemgr/v2/userfiles", UploadBody(path, "content")));
    }

    const bool isPossible = geteuid() == 0;
    QTemporaryDir ownFolder;
    const QString database = ownFolder.filePath("device.db");
    StorageOfAnotherUser storage;
};

uid_t OwnerOf(const QString &path)
{
    struct stat status = {};
    return stat(qPrintable(path), &status) == 0 ? status.st_uid : 0;
}

uid_t UserForFiles()
{
    return static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1)));
}

} // namespace

TEST_F(FileSystemUserTest, IsPossibleForTheSuperuserAlone)
{
    EXPECT_EQ(storage.uploads.Possible(), isPossible);
}

TEST_F(FileSystemUserTest, UploadIsStoredAndBelongsToTheOtherUser)
{
    const QString path = host.Path("new");
    EXPECT_EQ(Upload(path), isPossible ? "{\n}\n" : ErrorBody("Upload failed"));
    EXPECT_EQ(FileContent(path), isPossible ? "content" : "no file");
    EXPECT_EQ(OwnerOf(path), isPossible ? nobody : 0);
}

TEST_F(FileSystemUserTest, UploadDoesNotReachTheDataOfTheHost)
{
    const QString folder = QFileInfo(ownFolder.path()).fileName();
    EXPECT_EQ(Upload(host.Path("../" + folder + "/device.db")), ErrorBody("Upload failed"));
    EXPECT_EQ(FileContent(database), "own data");
}

TEST_F(FileSystemUserTest, UploadFollowsNoLinkToTheDataOfTheHost)
{
    ASSERT_TRUE(QFile::link(database, host.Path("link")));
    EXPECT_EQ(Upload(host.Path("link")), ErrorBody("Upload failed"));
    EXPECT_EQ(FileContent(database), "own data");
}

TEST_F(FileSystemUserTest, HostIsItselfAgainAfterTheUpload)
{
    Upload(host.Path("new"));
    EXPECT_EQ(UserForFiles(), geteuid());
}
