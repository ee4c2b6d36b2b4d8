#include "statefile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "recordingerrorreporter.h"
#include "scriptedfilesystem.h"
#include "userfilestest.h"

namespace {

const QJsonObject oldState = {{"value", "old"}};
const QJsonObject newState = {{"value", "new"}};

// Takes one store through until no step is left to break.
constexpr int moreThanAllSteps = 20;

class StateFileTest : public UserFilesTest
{
protected:
    QString FilePath() const { return stateFolder + "/a.json"; }

    static bool HoldsValue(const QJsonObject &state) { return state.contains("value"); }

    QJsonObject Stored() { return StateFile(fileSystem, FilePath(), errors).Load(HoldsValue); }

    bool StoreThrough(FileSystem &through, const QJsonObject &state)
    {
        return StateFile(through, FilePath(), errors).Store(state);
    }

    RecordingErrorReporter errors;
    FileSystem fileSystem;
};

TEST_F(StateFileTest, AMissingFileIsAnEmptyStateAndNoError)
{
    EXPECT_EQ(Stored(), QJsonObject());
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(StateFileTest, WhatWasStoredIsBack)
{
    EXPECT_TRUE(StoreThrough(fileSystem, oldState));
    EXPECT_TRUE(StoreThrough(fileSystem, newState));
    EXPECT_EQ(Stored(), newState);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(StateFileTest, AByteOrderMarkInFrontOfATextIsBackToo)
{
    const QJsonObject state{{"value", QString(QChar::ByteOrderMark) + "Ada"}};
    EXPECT_TRUE(StoreThrough(fileSystem, state));
    EXPECT_EQ(Stored(), state);
}

TEST_F(StateFileTest, ADamagedFileIsReportedAndKeptUnderAnotherName)
{
    for (const char *content : {"", "{\"value\": ", "[]", "{\"other\": 1}"}) {
        errors.messages.clear();
        Write("../state/a.json", content);
        EXPECT_EQ(Stored(), QJsonObject()) << content;
        EXPECT_EQ(errors.messages.size(), 1) << content;
        EXPECT_TRUE(errors.messages.join("").contains(FilePath() + ".damaged-")) << content;
        EXPECT_FALSE(Exists("../state/a.json")) << content;
    }
    EXPECT_EQ(Content("../state/a.json.damaged-1"), "");
    EXPECT_EQ(Content("../state/a.json.damaged-2"), "{\"value\": ");
    EXPECT_EQ(Content("../state/a.json.damaged-3"), "[]");
    EXPECT_EQ(Content("../state/a.json.damaged-4"), "{\"other\": 1}");
}

TEST_F(StateFileTest, ADanglingLinkUnderTheOtherNameIsNotReplaced)
{
    ASSERT_EQ(::symlink("missing", OnDisk("../state/a.json.damaged-1").constData()), 0);
    Write("../state/a.json", "damaged");
    Stored();
    EXPECT_EQ(Content("../state/a.json.damaged-2"), "damaged");
}

TEST_F(StateFileTest, AFolderInPlaceOfTheFileIsSetAside)
{
    MakeFolder("../state/a.json");
    EXPECT_EQ(Stored(), QJsonObject());
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(Exists("../state/a.json.damaged-1"));
}

TEST_F(StateFileTest, AFifoInPlaceOfTheFileIsSetAsideAtOnce)
{
    ASSERT_EQ(mkfifo(OnDisk("../state/a.json").constData(), 0600), 0);
    EXPECT_EQ(Stored(), QJsonObject());
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("it is no regular file"));
    EXPECT_TRUE(StoreThrough(fileSystem, newState));
}

TEST_F(StateFileTest, AFileOfMoreThan16MiBIsSetAsideUnread)
{
    Write("../state/a.json", "{\"value\": 1}");
    ASSERT_EQ(truncate(OnDisk("../state/a.json").constData(), (16 << 20) + 1), 0);
    EXPECT_EQ(Stored(), QJsonObject());
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("it is larger than 16 MiB"));
}

TEST_F(StateFileTest, AfterADamagedFileTheStateIsStoredAnew)
{
    Write("../state/a.json", "damaged");
    StateFile file(fileSystem, FilePath(), errors);
    file.Load(HoldsValue);
    EXPECT_TRUE(file.Store(newState));
    EXPECT_EQ(Stored(), newState);
    EXPECT_EQ(Content("../state/a.json.damaged-1"), "damaged");
}

TEST_F(StateFileTest, ADamagedFileThatCannotBeSetAsideIsNotWrittenOver)
{
    Write("../state/a.json", "damaged");
    ScriptedFileSystem noRename(FailAt(1));
    StateFile file(noRename, FilePath(), errors);
    EXPECT_EQ(file.Load(HoldsValue), QJsonObject());
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_FALSE(file.Store(newState));
    EXPECT_EQ(errors.messages.size(), 2);
    EXPECT_EQ(Content("../state/a.json"), "damaged");
}

TEST_F(StateFileTest, AFailureAtAnyStepIsReportedAndLeavesTheOldOrTheNewState)
{
    ASSERT_TRUE(StoreThrough(fileSystem, oldState));
    int failures = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        errors.messages.clear();
        ScriptedFileSystem failing(FailAt(step));
        const bool stored = StoreThrough(failing, newState);
        failures += stored ? 0 : 1;
        EXPECT_EQ(errors.messages.size(), stored ? 0 : 1) << step;
        const QJsonObject state = Stored();
        EXPECT_TRUE(state == newState || (!stored && state == oldState)) << step;
        ASSERT_TRUE(StoreThrough(fileSystem, oldState));
    }
    EXPECT_GE(failures, 4);
}

TEST_F(StateFileTest, AKillAtAnyStepLeavesTheOldOrTheNewState)
{
    int kills = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        ASSERT_TRUE(StoreThrough(fileSystem, oldState));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ScriptedFileSystem killing(KillAt(step));
            _exit(StoreThrough(killing, newState) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        kills += WIFSIGNALED(status) ? 1 : 0;
        const QJsonObject state = Stored();
        EXPECT_TRUE(state == newState || (WIFSIGNALED(status) && state == oldState)) << step;
    }
    EXPECT_GE(kills, 4);
    EXPECT_EQ(errors.messages, QStringList());
}

} // namespace
