#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <cerrno>
#include <faultyfilesystem.h>
#include <faultymodels.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <requestdelay.h>

#include "fakehost.h"

namespace {

const QString path = QStringLiteral("/files/a");

class FaultyModelsTest : public testing::Test
{
protected:
    void Set(const QByteArray &fault)
    {
        QFile file(controlFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(fault);
    }

    QByteArray Read(qint64 offset, qint64 length)
    {
        return files.ReadFileChunk(path, &ok, offset, length, &last);
    }

    QTemporaryDir directory;
    QString controlFile = directory.filePath(QStringLiteral("faults"));
    FakeHost host;
    FaultPlan plan{{}, controlFile, host.errors};
    FaultyStorageModel storage{host.storage, plan};
    FaultyFileManagerModel files{host.fileManager, plan, host.errors};
    FaultySyncFilesModel syncFiles{host.syncFiles, plan, host.errors};
    FaultyWorkOrderStore store{host.workOrders, plan, host.errors};
    FaultyFileSystem fileSystem{plan};
    bool ok = false;
    bool last = false;
};

TEST_F(FaultyModelsTest, WithoutAFaultTheStorageModelIsAsked)
{
    host.storage.directories[9] = QStringLiteral("/files");
    EXPECT_EQ(storage.Directory(9).path(), QStringLiteral("/files"));
    EXPECT_TRUE(storage.IsStorageAvailable());
    storage.BeginStorageAccess();
    storage.EndStorageAccess();
    EXPECT_TRUE(storage.HasFreeSpace(1));
    EXPECT_EQ(host.log.Calls().size(), 5U);
    host.storage.available = false;
    host.storage.freeSpace = false;
    EXPECT_FALSE(storage.IsStorageAvailable());
    EXPECT_FALSE(storage.HasFreeSpace(1));
}

TEST_F(FaultyModelsTest, TheGuardedStorageGoesAwayAndComesBack)
{
    Set("storage-away");
    EXPECT_FALSE(storage.IsStorageAvailable());
    Set("");
    EXPECT_TRUE(storage.IsStorageAvailable());
}

TEST_F(FaultyModelsTest, ThereIsNoFreeSpace)
{
    Set("no-space");
    EXPECT_FALSE(storage.HasFreeSpace(0));
}

TEST_F(FaultyModelsTest, WithoutAFaultTheFileManagerIsAsked)
{
    host.fileManager.userFiles = {{QStringLiteral("files"), 1}};
    host.fileManager.files[path] = QByteArrayLiteral("0123456789");
    EXPECT_EQ(files.GetUserFiles(), host.fileManager.userFiles);
    EXPECT_EQ(Read(0, 4), QByteArrayLiteral("0123"));
    EXPECT_TRUE(ok);
    EXPECT_FALSE(last);
    EXPECT_TRUE(files.DeleteUserFile(path));
}

TEST_F(FaultyModelsTest, PiecesBeforeTheFailingPositionCanBeRead)
{
    host.fileManager.files[path] = QByteArrayLiteral("0123456789");
    Set("read-fails=8");
    EXPECT_EQ(Read(4, 4), QByteArrayLiteral("4567"));
    EXPECT_TRUE(ok);
    EXPECT_FALSE(last);
}

TEST_F(FaultyModelsTest, APieceWithTheFailingPositionCannotBeReadAndIsTheLast)
{
    host.fileManager.files[path] = QByteArrayLiteral("0123456789AB");
    Set("read-fails=7");
    EXPECT_EQ(Read(4, 4), QByteArray());
    EXPECT_FALSE(ok);
    EXPECT_TRUE(last);
    EXPECT_EQ(host.errors.reports.size(), 1U);
}

TEST_F(FaultyModelsTest, EachFurtherPieceIsLateAndTheFirstIsLateWithItsRequest)
{
    host.fileManager.files[path] = QByteArrayLiteral("0123456789");
    Set("slow-call=60000");
    Read(0, 4); // a wait would be longer than the test may take
    Set("slow-call=50");
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_EQ(Read(4, 4), QByteArrayLiteral("4567"));
    EXPECT_GE(elapsed.elapsed(), 50);
}

TEST_F(FaultyModelsTest, WithoutAFaultTheModelOfTheFilesToConfirmIsAsked)
{
    host.syncFiles.pendingFiles = {1};
    host.syncFiles.allPendingFiles = {1, 2};
    host.syncFiles.fileData = QByteArrayLiteral("0123456789");
    EXPECT_EQ(syncFiles.GetPendingFiles(), host.syncFiles.pendingFiles);
    EXPECT_EQ(syncFiles.GetAllPendingFiles(), host.syncFiles.allPendingFiles);
    EXPECT_EQ(syncFiles.GetFileData(path, &ok), host.syncFiles.fileData);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(syncFiles.MarkFileSynced(path));
    syncFiles.SetTechId(QStringLiteral("A"));
    EXPECT_EQ(host.log.Calls().size(), 5U);
}

TEST_F(FaultyModelsTest, AWholeFileWithTheFailingPositionIsNotFound)
{
    host.syncFiles.fileData = QByteArrayLiteral("0123456789");
    Set("read-fails=9");
    EXPECT_EQ(syncFiles.GetFileData(path, &ok), QByteArray());
    EXPECT_FALSE(ok);
    ASSERT_EQ(host.errors.reports.size(), 1U);
    EXPECT_EQ(host.errors.reports.front().message,
              QStringLiteral("fault: cannot read /files/a at 9"));
}

TEST_F(FaultyModelsTest, AWholeFileBeforeTheFailingPositionIsRead)
{
    host.syncFiles.fileData = QByteArrayLiteral("0123456789");
    Set("read-fails=10");
    EXPECT_EQ(syncFiles.GetFileData(path, &ok), host.syncFiles.fileData);
    EXPECT_TRUE(ok);
}

TEST_F(FaultyModelsTest, AWholeFileThatIsNotFoundIsNoFault)
{
    host.syncFiles.fileFound = false;
    Set("read-fails=0");
    EXPECT_EQ(syncFiles.GetFileData(path, &ok), QByteArray());
    EXPECT_FALSE(ok);
    EXPECT_TRUE(host.errors.reports.empty());
}

TEST_F(FaultyModelsTest, OnlyTheFirstCallOfATurnWaits)
{
    RequestDelay delay{plan};
    Set("slow-call=30");
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_TRUE(delay.Wait());
    EXPECT_GE(elapsed.elapsed(), 30);
    EXPECT_FALSE(delay.Wait());
    QCoreApplication::processEvents();
    EXPECT_TRUE(delay.Wait());
    EXPECT_FALSE(delay.Wait());
}

TEST_F(FaultyModelsTest, ADeleteIsRefused)
{
    Set("delete-refused");
    EXPECT_FALSE(files.DeleteUserFile(path));
    EXPECT_TRUE(host.log.Calls().empty());
}

TEST_F(FaultyModelsTest, WithoutAFaultTheWorkOrderStoreIsAsked)
{
    EXPECT_TRUE(store.UpdateWorkOrders(QJsonArray()));
    bool found = true;
    store.GetWorkOrder(QStringLiteral("17"), &found);
    EXPECT_FALSE(found);
    EXPECT_EQ(host.log.Calls().size(), 2U);
}

TEST_F(FaultyModelsTest, TheWorkOrderStoreFailsWithAReportAndStoresNothing)
{
    Set("store-fails");
    EXPECT_FALSE(store.UpdateWorkOrders(QJsonArray()));
    EXPECT_EQ(host.errors.reports.size(), 1U);
    EXPECT_EQ(host.errors.reports.front().message,
              QStringLiteral("fault: cannot store work orders"));
}

class FaultyFileSystemTest : public FaultyModelsTest
{
protected:
    void SetUp() override
    {
        descriptor = fileSystem.OpenForWriting(directory.filePath(QStringLiteral("file")));
        ASSERT_NE(descriptor, -1);
    }

    void TearDown() override { fileSystem.Close(descriptor); }

    ssize_t Write() { return fileSystem.Write(descriptor, "0123456789", 10); }

    int descriptor = -1;
};

TEST_F(FaultyFileSystemTest, WithoutAFaultEverythingIsWritten)
{
    EXPECT_EQ(Write(), 10);
    EXPECT_EQ(Write(), 10);
}

TEST_F(FaultyFileSystemTest, TheDiskIsFullAfterTheBytesThatFit)
{
    Set("write-fails=14");
    EXPECT_EQ(Write(), 10);
    EXPECT_EQ(Write(), 4);
    errno = 0;
    EXPECT_EQ(Write(), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FaultyFileSystemTest, AChangeOfThePlanCountsAnew)
{
    Set("write-fails=4");
    EXPECT_EQ(Write(), 4);
    EXPECT_EQ(Write(), -1);
    Set("write-fails=16");
    EXPECT_EQ(Write(), 10);
    Set("");
    EXPECT_EQ(Write(), 10);
}

TEST_F(FaultyFileSystemTest, FlushesUnlessTheDeviceGoesWithTheProcess)
{
    const QString missing = directory.filePath(QStringLiteral("missing"));
    EXPECT_EQ(fileSystem.FlushFolder(missing), -1);
    EXPECT_EQ(fileSystem.FlushFileSystem(missing), -1);
    EXPECT_EQ(fileSystem.Flush(-1), -1);
    FaultyFileSystem passing(plan, FaultyFileSystem::Lifetime::OfTheProcess);
    EXPECT_EQ(passing.FlushFolder(missing), 0);
    EXPECT_EQ(passing.FlushFileSystem(missing), 0);
    EXPECT_EQ(passing.Flush(-1), 0);
}

} // namespace
