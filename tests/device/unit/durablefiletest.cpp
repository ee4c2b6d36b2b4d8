#include "durablefile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "scriptedfilesystem.h"

namespace {

QByteArray ContentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class DurableFileTest : public testing::Test
{
protected:
    QString Path() const { return folder.filePath(QStringLiteral("Zustand ä.json")); }

    QStringList Names() const
    {
        return QDir(folder.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    void StoreOld() const
    {
        FileSystem fileSystem;
        QString error;
        ASSERT_TRUE(WriteDurably(fileSystem, Path(), "old", &error));
    }

    QTemporaryDir folder;
};

// Takes a write of the same file through until no step is left to break.
constexpr int moreThanAllSteps = 20;

TEST_F(DurableFileTest, CreatesAFileThatIsMissing)
{
    FileSystem fileSystem;
    QString error;
    ASSERT_TRUE(WriteDurably(fileSystem, Path(), "content", &error));
    EXPECT_EQ(ContentOf(Path()), "content");
    EXPECT_EQ(Names().size(), 1);
    EXPECT_TRUE(error.isEmpty());
}

TEST_F(DurableFileTest, ReplacesAFileByAShorterOne)
{
    StoreOld();
    FileSystem fileSystem;
    QString error;
    ASSERT_TRUE(WriteDurably(fileSystem, Path(), "", &error));
    EXPECT_TRUE(QFile::exists(Path()));
    EXPECT_EQ(ContentOf(Path()), "");
}

TEST_F(DurableFileTest, AStaleTemporaryFileIsNoObstacle)
{
    FileSystem fileSystem;
    QString error;
    QFile stale(folder.filePath(QStringLiteral(".Zustand ä.json.new")));
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.write("a longer text than the new content");
    stale.close();
    ASSERT_TRUE(WriteDurably(fileSystem, Path(), "new", &error));
    EXPECT_EQ(ContentOf(Path()), "new");
    EXPECT_EQ(Names().size(), 1);
}

TEST_F(DurableFileTest, AFailureNamesThePathAndTheReason)
{
    FileSystem fileSystem;
    QString error;
    EXPECT_FALSE(WriteDurably(fileSystem, folder.filePath("missing/file"), "x", &error));
    EXPECT_TRUE(error.contains("missing"));
    EXPECT_TRUE(error.contains("No such file or directory"));
}

TEST_F(DurableFileTest, AFailureAtAnyStepLeavesTheOldFileAndNothingElse)
{
    int failures = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        StoreOld();
        ScriptedFileSystem fileSystem(FailAt(step));
        QString error;
        const bool stored = WriteDurably(fileSystem, Path(), "new", &error);
        const bool onlyTheLastFlushFailed = !stored && step == 6;
        EXPECT_EQ(stored, error.isEmpty()) << step;
        EXPECT_EQ(ContentOf(Path()), stored || onlyTheLastFlushFailed ? "new" : "old") << step;
        EXPECT_EQ(Names().size(), 1) << step;
        failures += stored ? 0 : 1;
    }
    EXPECT_EQ(failures, 6); // create, write, flush, close, rename, flush of the folder
}

TEST_F(DurableFileTest, AKillAtAnyStepLeavesTheOldOrTheNewFile)
{
    int killed = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        StoreOld();
        const pid_t child = fork();
        if (child == 0) {
            ScriptedFileSystem fileSystem(KillAt(step));
            QString error;
            _exit(WriteDurably(fileSystem, Path(), "new", &error) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        const bool finished = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        EXPECT_TRUE(finished || WIFSIGNALED(status)) << step;
        const bool renamed = finished || step == 6;
        EXPECT_EQ(ContentOf(Path()), renamed ? "new" : "old") << step;
        killed += finished ? 0 : 1;
    }
    EXPECT_EQ(killed, 6);
}

TEST_F(DurableFileTest, AFileWrittenForALaterFlushIsNotFlushed)
{
    ScriptedFileSystem fileSystem(FailAt(0));
    QString error;
    ASSERT_TRUE(WriteFile(fileSystem, Path(), "content", Flushing::Later, &error));
    EXPECT_EQ(ContentOf(Path()), "content");
    EXPECT_EQ(fileSystem.Steps(), 3); // create, write, close
}

} // namespace
