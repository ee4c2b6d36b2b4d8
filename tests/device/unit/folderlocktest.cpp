#include "folderlock.h"

#include <QDir>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

#include "storefolder.h"

namespace {

class FolderLockTest : public testing::Test
{
protected:
    QTemporaryDir folder;
    QString error;
};

TEST_F(FolderLockTest, TheFirstOneGetsTheFolderAndLeavesNothingInIt)
{
    FolderLock lock;
    EXPECT_TRUE(lock.Take(folder.path(), &error)) << error.toStdString();
    EXPECT_TRUE(
        QDir(folder.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

TEST_F(FolderLockTest, ASecondOneIsRefusedWithALineThatNamesTheFolder)
{
    FolderLock first;
    FolderLock second;
    ASSERT_TRUE(first.Take(folder.path(), &error));
    EXPECT_FALSE(second.Take(folder.path(), &error));
    EXPECT_EQ(error,
              QStringLiteral("Cannot use %1: another program serves from it").arg(folder.path()));
}

TEST_F(FolderLockTest, AnotherFolderIsFree)
{
    const QTemporaryDir other;
    FolderLock first;
    FolderLock second;
    ASSERT_TRUE(first.Take(folder.path(), &error));
    EXPECT_TRUE(second.Take(other.path(), &error));
}

TEST_F(FolderLockTest, TheFolderIsFreeAgainAfterTheFirstOnesEnd)
{
    {
        FolderLock first;
        ASSERT_TRUE(first.Take(folder.path(), &error));
    }
    FolderLock second;
    EXPECT_TRUE(second.Take(folder.path(), &error));
}

TEST_F(FolderLockTest, TheFolderIsFreeAgainAfterTheProcessWasKilled)
{
    EXPECT_FALSE(FinishesInChild([this] {
        FolderLock first;
        if (first.Take(folder.path(), &error)) {
            kill(getpid(), SIGKILL);
        }
    }));
    FolderLock second;
    EXPECT_TRUE(second.Take(folder.path(), &error));
}

TEST_F(FolderLockTest, AFolderThatIsMissingIsNamed)
{
    FolderLock lock;
    EXPECT_FALSE(lock.Take(folder.filePath("none"), &error));
    EXPECT_TRUE(error.contains(folder.filePath("none"))) << error.toStdString();
}

} // namespace
