#include "syncfilesmodel.h"

#include <QJsonDocument>
#include <QProcess>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "assetmodel.h"
#include "diskspace.h"
#include "recordingerrorreporter.h"
#include "scriptedfilesystem.h"
#include "userfilestest.h"

namespace {

constexpr qint64 nowSeconds = 1715938212;

// Takes one store through until no step is left to break.
constexpr int moreThanAllSteps = 20;

/** Counts what the stores do, and waits for no disk. */
class CountingFileSystem : public FileSystem
{
public:
    int OpenForWriting(const QString &path) override
    {
        ++calls;
        return FileSystem::OpenForWriting(path);
    }

    int OpenForAppending(const QString &path) override
    {
        ++calls;
        return FileSystem::OpenForAppending(path);
    }

    ssize_t Write(int descriptor, const char *data, std::size_t size) override
    {
        ++calls;
        bytes += static_cast<qint64>(size);
        return FileSystem::Write(descriptor, data, size);
    }

    int Flush(int) override { return ++calls, 0; }
    int FlushFolder(const QString &) override { return ++calls, 0; }

    qint64 calls = 0;
    qint64 bytes = 0;
};

class SyncFilesModelTest : public UserFilesTest
{
protected:
    SyncFilesModelTest() { Restart(); }

    std::unique_ptr<SyncFilesModel> MakeModel(FileSystem &through)
    {
        return std::make_unique<SyncFilesModel>(directory, *digests, through, stateFolder, errors,
                                                [this] { return now; });
    }

    /** Begins again with nothing but what is on the disk. */
    void Restart()
    {
        digests = std::make_unique<FileDigestCache>();
        model = MakeModel(fileSystem);
    }

    /** Writes a file that changed long ago. */
    void WriteSettled(const QByteArray &name, const QByteArray &content,
                      qint64 seconds = nowSeconds - 1000) const
    {
        Write(name, content);
        SetTime(name, seconds);
    }

    QStringList Pending() { return PathsOf(model->GetAllPendingFiles()); }

    bool IsPending(const QByteArray &name) { return Pending().contains(ClientPath(name)); }

    bool Confirm(const QByteArray &name) { return model->MarkFileSynced(ClientPath(name)); }

    /** What a client does before it confirms a file, usually. */
    void AskForDigest(const QByteArray &name)
    {
        AssetModel asset(base.filePath("asset.json"), directory, *digests, errors);
        bool found = false;
        asset.GetFileMetadata(ClientPath(name), &found);
        ASSERT_TRUE(found);
    }

    /** The confirmations on the disk, one for each line. */
    QJsonArray StoredConfirmations() const
    {
        QJsonArray entries;
        for (const QByteArray &line : Content("../state/confirmed-files.jsonl").split('\n')) {
            if (!line.isEmpty()) {
                entries.append(QJsonDocument::fromJson(line).object());
            }
        }
        return entries;
    }

    RecordingErrorReporter errors;
    FileSystem fileSystem;
    UserFileDirectory directory{root};
    std::chrono::nanoseconds now = std::chrono::seconds(nowSeconds);
    std::unique_ptr<FileDigestCache> digests;
    std::unique_ptr<SyncFilesModel> model;
};

TEST_F(SyncFilesModelTest, WithoutFilesNothingIsPending)
{
    EXPECT_EQ(model->GetPendingFiles(), QJsonArray());
    EXPECT_EQ(model->GetAllPendingFiles(), QJsonArray());
}

TEST_F(SyncFilesModelTest, AFileIsPendingWithPathSizeAndTimeInTheOrderOfThePaths)
{
    MakeFolder("b");
    WriteSettled("b/ä.txt", "12", 1000);
    WriteSettled("a.txt", "", 0);
    const QJsonArray expected = {
        QJsonObject{
            {"path", Path("/a.txt")}, {"size", 0}, {"modifiedTime", "1970-01-01T00:00:00Z"}},
        QJsonObject{
            {"path", Path("/b/ä.txt")}, {"size", 2}, {"modifiedTime", "1970-01-01T00:16:40Z"}}};
    EXPECT_EQ(model->GetPendingFiles(), expected);
    EXPECT_EQ(model->GetAllPendingFiles(), expected);
}

TEST_F(SyncFilesModelTest, AFileThatChangedWithinTheLastTwoSecondsWaits)
{
    Write("a.txt", "");
    SetTime("a.txt", nowSeconds - 2, 1);
    EXPECT_EQ(model->GetPendingFiles(), QJsonArray());
    EXPECT_EQ(PathsOf(model->GetAllPendingFiles()), QStringList(Path("/a.txt")));
    now += std::chrono::nanoseconds(1);
    EXPECT_EQ(PathsOf(model->GetPendingFiles()), QStringList(Path("/a.txt")));
}

TEST_F(SyncFilesModelTest, AFileThatChangedThisMomentWaits)
{
    Write("a.txt", "");
    SetTime("a.txt", nowSeconds);
    EXPECT_EQ(model->GetPendingFiles(), QJsonArray());
    EXPECT_TRUE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, ATimeInTheFutureDoesNotHideAFile)
{
    WriteSettled("minute.txt", "", nowSeconds + 60);
    WriteSettled("seconds.txt", "", nowSeconds + 2);
    WriteSettled("centuries.txt", "", 16000000000);
    EXPECT_EQ(PathsOf(model->GetPendingFiles()).size(), 3);
}

TEST_F(SyncFilesModelTest, TheClockIsTheSystemClockUnlessAnotherIsGiven)
{
    Write("now.txt", "");
    WriteSettled("then.txt", "");
    SyncFilesModel real(directory, *digests, fileSystem, stateFolder, errors);
    EXPECT_EQ(PathsOf(real.GetPendingFiles()), QStringList(Path("/then.txt")));
}

TEST_F(SyncFilesModelTest, AConfirmedFileIsPendingNoMore)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    EXPECT_TRUE(Confirm("a.txt"));
    EXPECT_EQ(PathsOf(model->GetPendingFiles()), QStringList(Path("/b.txt")));
    EXPECT_EQ(PathsOf(model->GetAllPendingFiles()), QStringList(Path("/b.txt")));
}

TEST_F(SyncFilesModelTest, AConfirmationSurvivesARestart)
{
    WriteSettled("Prüfung 1.txt", "content");
    SetTime("Prüfung 1.txt", nowSeconds - 1000, 123456789);
    EXPECT_TRUE(Confirm("Prüfung 1.txt"));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, AConfirmationOfANameWithAByteOrderMarkInFrontSurvivesARestart)
{
    WriteSettled("\xef\xbb\xbfreport", "content");
    EXPECT_TRUE(Confirm("\xef\xbb\xbfreport"));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
}

TEST_F(SyncFilesModelTest, AFileThatChangesOnlyNowCanBeConfirmed)
{
    Write("a.txt", "");
    SetTime("a.txt", nowSeconds);
    EXPECT_TRUE(Confirm("a.txt"));
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, TheSameFileByAnotherSpellingIsConfirmed)
{
    MakeFolder("folder");
    WriteSettled("a.txt", "");
    EXPECT_TRUE(model->MarkFileSynced(Path("//folder/../a.txt")));
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, AnUnknownFileIsNotConfirmed)
{
    MakeFolder("folder");
    EXPECT_FALSE(Confirm("missing.txt"));
    EXPECT_FALSE(Confirm("folder"));
    EXPECT_FALSE(Exists("../state/confirmed-files.jsonl"));
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, ConfirmingAgainWritesNothing)
{
    WriteSettled("a.txt", "");
    ASSERT_TRUE(Confirm("a.txt"));
    ScriptedFileSystem counting([](int) { return true; });
    const std::unique_ptr<SyncFilesModel> again = MakeModel(counting);
    EXPECT_TRUE(again->MarkFileSynced(ClientPath("a.txt")));
    EXPECT_EQ(counting.Steps(), 0);
}

TEST_F(SyncFilesModelTest, AConfirmationHoldsThePathBelowTheUserFilesAndTheDigest)
{
    MakeFolder("b");
    WriteSettled("b/ä.txt", "abc");
    ASSERT_TRUE(Confirm("b/ä.txt"));
    ASSERT_EQ(StoredConfirmations().size(), 1);
    const QJsonObject stored = StoredConfirmations().first().toObject();
    EXPECT_EQ(stored.value("path").toString(), "b/ä.txt");
    EXPECT_EQ(stored.value("sha256").toString(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(SyncFilesModelTest, AConfirmationHoldsForACopyOfTheDevice)
{
    WriteSettled("a.txt", "a");
    WriteSettled("b.txt", "b");
    ASSERT_TRUE(Confirm("a.txt"));
    QTemporaryDir place;
    const QString copy = place.filePath("copy");
    ASSERT_EQ(QProcess::execute("cp", {"-r", base.path(), copy}), 0);
    const UserFileDirectory copied(copy + root.mid(base.path().size()));
    SyncFilesModel elsewhere(copied, *digests, fileSystem,
                             copy + stateFolder.mid(base.path().size()), errors);
    EXPECT_EQ(PathsOf(elsewhere.GetAllPendingFiles()), QStringList(copied.Path() + "/b.txt"));
}

TEST_F(SyncFilesModelTest, AConfirmationCostsTheSameHoweverManyThereAre)
{
    for (int number = 0; number < 300; ++number) {
        WriteSettled("file-" + QByteArray::number(number), "");
        ASSERT_TRUE(Confirm("file-" + QByteArray::number(number)));
    }
    WriteSettled("a.txt", "abc");
    int written = 0;
    ScriptedFileSystem counting([&written](int) { return ++written > 0; });
    const std::unique_ptr<SyncFilesModel> again = MakeModel(counting);
    const int before = Content("../state/confirmed-files.jsonl").size();
    ASSERT_TRUE(again->MarkFileSynced(ClientPath("a.txt")));
    EXPECT_EQ(written, 4) << "opened, written, flushed and closed";
    EXPECT_LT(Content("../state/confirmed-files.jsonl").size() - before, 300);
}

TEST_F(SyncFilesModelTest, NewContentOfAnotherSizeIsPendingAgain)
{
    WriteSettled("a.txt", "old");
    AskForDigest("a.txt");
    ASSERT_TRUE(Confirm("a.txt"));
    WriteSettled("a.txt", "longer");
    EXPECT_TRUE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, WhetherAFileIsConfirmedIsKnownFromItsStatus)
{
    WriteSettled("a.txt", "old");
    EXPECT_FALSE(model->IsKnownConfirmed(*directory.Find(Path("/a.txt"))));
    ASSERT_TRUE(Confirm("a.txt"));
    EXPECT_TRUE(model->IsKnownConfirmed(*directory.Find(Path("/a.txt"))));
    WriteSettled("a.txt", "new", nowSeconds - 500);
    EXPECT_FALSE(model->IsKnownConfirmed(*directory.Find(Path("/a.txt"))));
}

TEST_F(SyncFilesModelTest, NewContentOfTheSameSizeIsPendingAgain)
{
    WriteSettled("a.txt", "old");
    AskForDigest("a.txt");
    ASSERT_TRUE(Confirm("a.txt"));
    WriteSettled("a.txt", "new", nowSeconds - 500);
    EXPECT_TRUE(IsPending("a.txt"));
    EXPECT_TRUE(Confirm("a.txt"));
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, ANewTimeAloneIsNoNewContentWhenTheDigestIsOnRecord)
{
    WriteSettled("a.txt", "content");
    AskForDigest("a.txt");
    ASSERT_TRUE(Confirm("a.txt"));
    SetTime("a.txt", nowSeconds - 500);
    EXPECT_FALSE(IsPending("a.txt"));
    Restart();
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, TheSameContentInANewFileIsStillConfirmedWhenTheDigestIsOnRecord)
{
    WriteSettled("a.txt", "content");
    AskForDigest("a.txt");
    ASSERT_TRUE(Confirm("a.txt"));
    WriteSettled("b.txt", "content", nowSeconds - 500);
    ASSERT_EQ(rename(OnDisk("b.txt").constData(), OnDisk("a.txt").constData()), 0);
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, ANewTimeAloneIsNoNewContentAlsoWhenNobodyAskedForTheDigest)
{
    WriteSettled("a.txt", "content");
    ASSERT_TRUE(Confirm("a.txt"));
    SetTime("a.txt", nowSeconds - 500);
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, AFileThatCannotBeReadIsNotConfirmedAndReported)
{
    const UserFileDirectory unreadable(QStringLiteral("/sys/class/net/lo"));
    SyncFilesModel failing(unreadable, *digests, fileSystem, stateFolder, errors);
    EXPECT_FALSE(failing.MarkFileSynced("/sys/class/net/lo/speed"));
    EXPECT_EQ(errors.messages.size(), 1);
}

TEST_F(SyncFilesModelTest, TheFormerContentIsConfirmedAgainByItself)
{
    WriteSettled("a.txt", "old");
    AskForDigest("a.txt");
    ASSERT_TRUE(Confirm("a.txt"));
    WriteSettled("a.txt", "new", nowSeconds - 500);
    ASSERT_TRUE(IsPending("a.txt"));
    WriteSettled("a.txt", "old", nowSeconds - 400);
    EXPECT_FALSE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, AnotherFileUnderAConfirmedNameIsPending)
{
    WriteSettled("a.txt", "old");
    ASSERT_TRUE(Confirm("a.txt"));
    WriteSettled("b.txt", "new");
    ASSERT_EQ(rename(OnDisk("b.txt").constData(), OnDisk("a.txt").constData()), 0);
    EXPECT_TRUE(IsPending("a.txt"));
}

TEST_F(SyncFilesModelTest, ConfirmationsOfFilesThatAreGoneAreDroppedWhenTheFileHasGrownToTwice)
{
    WriteSettled("gone.txt", "");
    WriteSettled("kept.txt", "");
    ASSERT_TRUE(Confirm("gone.txt"));
    ASSERT_TRUE(Confirm("kept.txt"));
    ASSERT_EQ(unlink(OnDisk("gone.txt").constData()), 0);
    WriteSettled("a.txt", "");
    for (int number = 0; number < 1100; ++number) {
        WriteSettled("a.txt", QByteArray::number(number), nowSeconds - 2000 - number);
        ASSERT_TRUE(Confirm("a.txt"));
    }
    const QStringList stored = PathsOf(StoredConfirmations());
    EXPECT_LT(stored.size(), 200);
    EXPECT_FALSE(stored.contains("gone.txt"));
    EXPECT_TRUE(stored.contains("kept.txt"));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
}

TEST_F(SyncFilesModelTest, AFileThatWasDeletedAndMadeAnewIsPendingAgain)
{
    WriteSettled("a.txt", "content");
    WriteSettled("b.txt", "");
    ASSERT_TRUE(Confirm("a.txt"));
    ASSERT_TRUE(Confirm("b.txt"));
    model->Forget(*directory.Find(ClientPath("a.txt")));
    EXPECT_EQ(Pending(), QStringList(Path("/a.txt")));
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/a.txt")));
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, ALineThatWasCutShortDoesNotCountAndIsNoDamage)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    ASSERT_TRUE(Confirm("a.txt"));
    ASSERT_TRUE(Confirm("b.txt"));
    const QByteArray content = Content("../state/confirmed-files.jsonl");
    for (int cut = 1; cut <= content.size() / 2 - 2; cut += 20) {
        Write("../state/confirmed-files.jsonl", content.chopped(cut));
        Restart();
        EXPECT_EQ(Pending(), QStringList(Path("/b.txt"))) << cut;
    }
    EXPECT_EQ(errors.messages, QStringList());
    EXPECT_TRUE(Confirm("b.txt"));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
}

TEST_F(SyncFilesModelTest, ADamagedListOfConfirmationsIsKeptAsideAndEverythingIsPending)
{
    WriteSettled("a.txt", "");
    const QByteArray damaged[] = {"{\n",
                                  "[]\n",
                                  "{}\n",
                                  "\n",
                                  "{\"path\": \"a.txt\"}\n",
                                  "{\"path\": 1, \"sha256\": \"\"}\n"};
    for (const QByteArray &content : damaged) {
        errors.messages.clear();
        Write("../state/confirmed-files.jsonl", content);
        Restart();
        EXPECT_EQ(errors.messages.size(), 1) << content.constData();
        EXPECT_TRUE(IsPending("a.txt")) << content.constData();
    }
    for (int number = 1; number <= 6; ++number) {
        EXPECT_EQ(Content("../state/confirmed-files.jsonl.damaged-" + QByteArray::number(number)),
                  damaged[number - 1]);
    }
    EXPECT_TRUE(Confirm("a.txt"));
}

TEST_F(SyncFilesModelTest, ALineThatIsDamagedLeavesTheOthers)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    ASSERT_TRUE(Confirm("a.txt"));
    ASSERT_TRUE(Confirm("b.txt"));
    QByteArray content = Content("../state/confirmed-files.jsonl");
    content.replace(content.indexOf("b.txt"), 5, "b\"txt");
    Write("../state/confirmed-files.jsonl", content);
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/b.txt")));
    ASSERT_TRUE(Confirm("b.txt"));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
    EXPECT_EQ(errors.messages.size(), 1);
}

TEST_F(SyncFilesModelTest, AConfirmationThatCannotBeStoredIsRefusedReportedAndChangesNothing)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    ASSERT_TRUE(Confirm("a.txt"));
    ScriptedFileSystem full(FailAt(1));
    model = MakeModel(full);
    EXPECT_FALSE(Confirm("b.txt"));
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_EQ(Pending(), QStringList(Path("/b.txt")));
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/b.txt")));
    EXPECT_TRUE(Confirm("b.txt"));
}

TEST_F(SyncFilesModelTest, ConfirmationsTakeHalfOfTheReserveOfTheDiskAndNoMore)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    ScriptedFileSystem nearlyFull(FailAt(0));
    nearlyFull.SetFree(DiskSpace::reserve / 2);
    model = MakeModel(nearlyFull);
    EXPECT_TRUE(Confirm("a.txt"));
    nearlyFull.SetFree(DiskSpace::reserve / 2 - 1);
    EXPECT_FALSE(Confirm("b.txt"));
    EXPECT_EQ(errors.messages.size(), 1);
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/b.txt")));
}

TEST_F(SyncFilesModelTest, ADiskThatCannotBeAskedForRoomTakesNoConfirmation)
{
    WriteSettled("a.txt", "");
    ScriptedFileSystem unknown(FailAt(0));
    unknown.SetFree(-1);
    model = MakeModel(unknown);
    EXPECT_FALSE(Confirm("a.txt"));
    EXPECT_EQ(errors.messages.size(), 1);
}

TEST_F(SyncFilesModelTest, AFailureAtAnyStepOfAConfirmationLeavesMemoryAndDiskInAgreement)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    int failures = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        unlink(OnDisk("../state/confirmed-files.jsonl").constData());
        Restart();
        ASSERT_TRUE(Confirm("a.txt"));
        ScriptedFileSystem failing(FailAt(step));
        model = MakeModel(failing);
        const bool confirmed = Confirm("b.txt");
        failures += confirmed ? 0 : 1;
        EXPECT_EQ(IsPending("b.txt"), !confirmed) << step;
        Restart();
        EXPECT_EQ(IsPending("b.txt"), !confirmed) << step;
        EXPECT_FALSE(IsPending("a.txt")) << step;
    }
    EXPECT_GE(failures, 4);
}

TEST_F(SyncFilesModelTest, AKillAtAnyStepOfAConfirmationKeepsTheFormerOnes)
{
    WriteSettled("a.txt", "");
    WriteSettled("b.txt", "");
    int kills = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        unlink(OnDisk("../state/confirmed-files.jsonl").constData());
        Restart();
        ASSERT_TRUE(Confirm("a.txt"));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ScriptedFileSystem killing(KillAt(step));
            _exit(MakeModel(killing)->MarkFileSynced(ClientPath("b.txt")) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        kills += WIFSIGNALED(status) ? 1 : 0;
        Restart();
        EXPECT_FALSE(IsPending("a.txt")) << step;
        EXPECT_TRUE(WIFSIGNALED(status) || !IsPending("b.txt")) << step;
    }
    EXPECT_GE(kills, 4);
    EXPECT_EQ(errors.messages, QStringList());
}

/** Three files, of which the first is confirmed, in a log that is to be written anew. */
class OutdatedConfirmationsTest : public SyncFilesModelTest
{
protected:
    static constexpr const char *log = "../state/confirmed-files.jsonl";

    OutdatedConfirmationsTest()
    {
        for (const char *name : {"a", "b", "c"}) {
            WriteSettled(name, name);
        }
    }

    /** With this file system behind the model. */
    void Begin(FileSystem &through)
    {
        unlink(OnDisk(log).constData());
        digests = std::make_unique<FileDigestCache>();
        model = MakeModel(fileSystem);
        ASSERT_TRUE(Confirm("a"));
        model = MakeModel(through);
        MakeOutdated();
    }

    void MakeOutdated()
    {
        SetTime("a", nowSeconds - 500 - ++changes);
        ASSERT_FALSE(IsPending("a"));
    }

private:
    int changes = 0;
};

TEST_F(OutdatedConfirmationsTest, AreAddedToWhileThereIsNoRoomForASecondFile)
{
    ScriptedFileSystem nearlyFull(FailAt(0));
    nearlyFull.SetFree(DiskSpace::reserve / 2);
    Begin(nearlyFull);
    const QByteArray before = Content(log);
    EXPECT_TRUE(Confirm("b"));
    EXPECT_TRUE(Confirm("c"));
    EXPECT_TRUE(Content(log).startsWith(before));
    EXPECT_EQ(PathsOf(StoredConfirmations()), QStringList({"a", "b", "c"}));
    Restart();
    EXPECT_EQ(Pending(), QStringList());
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(OutdatedConfirmationsTest, AreWrittenAnewOnceThereIsRoom)
{
    ScriptedFileSystem disk(FailAt(0));
    disk.SetFree(DiskSpace::reserve / 2);
    Begin(disk);
    const QByteArray before = Content(log);
    EXPECT_TRUE(Confirm("b"));
    disk.SetFree(DiskSpace::reserve);
    EXPECT_TRUE(Confirm("c"));
    EXPECT_FALSE(Content(log).startsWith(before));
    EXPECT_EQ(StoredConfirmations().size(), 3);
}

TEST_F(OutdatedConfirmationsTest, AreAddedToWhenTheSecondFileCannotBeWritten)
{
    for (int step = 1; step <= 4; ++step) { // it is opened, written, flushed and closed
        ScriptedFileSystem failing(FailAt(step));
        Begin(failing);
        EXPECT_TRUE(Confirm("b")) << step;
        Restart();
        EXPECT_EQ(Pending(), QStringList(Path("/c"))) << step;
    }
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(OutdatedConfirmationsTest, KeepTheFormerOnesWhicheverStepFails)
{
    int failures = 0;
    for (int step = 1; step < moreThanAllSteps; ++step) {
        for (const auto &allow : {FailAt(step), FailFrom(step)}) {
            ScriptedFileSystem failing(allow);
            Begin(failing);
            const bool confirmed = Confirm("b");
            failures += confirmed ? 0 : 1;
            Restart();
            EXPECT_FALSE(IsPending("a")) << step;
            EXPECT_TRUE(!confirmed || !IsPending("b")) << step;
            EXPECT_TRUE(Confirm("c")) << step;
            Restart();
            EXPECT_FALSE(IsPending("a") || IsPending("c")) << step;
        }
    }
    EXPECT_GE(failures, 4);
}

TEST_F(OutdatedConfirmationsTest, KeepTheFormerOnesWhenTheProgramIsKilledAtAnyStep)
{
    int kills = 0;
    for (const qint64 free : {DiskSpace::reserve / 2, DiskSpace::reserve}) {
        for (int step = 1; step < moreThanAllSteps; ++step) {
            ScriptedFileSystem killing(KillAt(step));
            killing.SetFree(free);
            Begin(killing);
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                _exit(Confirm("b") ? 0 : 1);
            }
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            kills += WIFSIGNALED(status) ? 1 : 0;
            Restart();
            EXPECT_FALSE(IsPending("a")) << step;
            EXPECT_TRUE(WIFSIGNALED(status) || !IsPending("b")) << step;
        }
    }
    EXPECT_GE(kills, 10);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(OutdatedConfirmationsTest, PartOfALineIsCutOffBeforeTheNextOneIsAdded)
{
    // The new line is not flushed, and cannot be taken back either.
    ScriptedFileSystem failing([](int step) { return step != 3 && step != 5; });
    failing.SetFree(DiskSpace::reserve / 2);
    Begin(failing);
    const int before = Content(log).size();
    EXPECT_FALSE(Confirm("b"));
    EXPECT_GT(Content(log).size(), before);
    EXPECT_TRUE(Confirm("c"));
    EXPECT_EQ(PathsOf(StoredConfirmations()), QStringList({"a", "c"}));
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/b")));
}

TEST_F(OutdatedConfirmationsTest, AFileThatEndsInPartOfALineIsAddedToWhileThereIsNoRoom)
{
    ASSERT_TRUE(Confirm("a"));
    const QByteArray whole = Content(log);
    Write(log, whole + whole.left(40));
    ScriptedFileSystem nearlyFull(FailAt(0));
    nearlyFull.SetFree(DiskSpace::reserve / 2);
    model = MakeModel(nearlyFull);
    EXPECT_TRUE(Confirm("b"));
    EXPECT_TRUE(Content(log).startsWith(whole));
    Restart();
    EXPECT_EQ(Pending(), QStringList(Path("/c")));
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, ReadsAWholeFile)
{
    const QByteArray content = QByteArray("\0\r\n\xFF", 4).repeated(100000);
    Write("Prüfung 1.bin", content);
    bool found = false;
    EXPECT_TRUE(model->GetFileData(ClientPath("Prüfung 1.bin"), &found) == content);
    EXPECT_TRUE(found);
}

TEST_F(SyncFilesModelTest, ReadsAnEmptyFile)
{
    Write("a.txt", "");
    bool found = false;
    EXPECT_EQ(model->GetFileData(ClientPath("a.txt"), &found), "");
    EXPECT_TRUE(found);
}

TEST_F(SyncFilesModelTest, AMissingFileIsNotFoundAndNoError)
{
    bool found = true;
    EXPECT_EQ(model->GetFileData(ClientPath("missing"), &found), "");
    EXPECT_FALSE(found);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, AFileOf16MiBIsReadAndALargerOneIsRefusedAndReported)
{
    Write("large", "");
    ASSERT_EQ(truncate(OnDisk("large").constData(), 16 << 20), 0);
    bool found = false;
    EXPECT_EQ(model->GetFileData(ClientPath("large"), &found).size(), 16 << 20);
    EXPECT_TRUE(found);
    EXPECT_EQ(errors.messages, QStringList());
    ASSERT_EQ(truncate(OnDisk("large").constData(), (16 << 20) + 1), 0);
    EXPECT_EQ(model->GetFileData(ClientPath("large"), &found), "");
    EXPECT_FALSE(found);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains(Path("/large")));
}

TEST_F(SyncFilesModelTest, AFileThatCannotBeReadIsNotFoundAndReported)
{
    // The loopback interface has no speed: the file can be opened, but reading it fails.
    const UserFileDirectory unreadable(QStringLiteral("/sys/class/net/lo"));
    SyncFilesModel failing(unreadable, *digests, fileSystem, stateFolder, errors);
    bool found = true;
    EXPECT_EQ(failing.GetFileData("/sys/class/net/lo/speed", &found), "");
    EXPECT_FALSE(found);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("/sys/class/net/lo/speed"));
}

TEST_F(SyncFilesModelTest, AtFirstThereIsNoTechnician)
{
    EXPECT_EQ(model->TechId(), "");
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(SyncFilesModelTest, TheTechnicianIsBackAfterARestart)
{
    model->SetTechId("A_1");
    model->SetTechId("Jürgen_2");
    EXPECT_EQ(model->TechId(), "Jürgen_2");
    Restart();
    EXPECT_EQ(model->TechId(), "Jürgen_2");
}

TEST_F(SyncFilesModelTest, ATechnicianThatCannotBeStoredIsReportedAndTheFormerOneHolds)
{
    model->SetTechId("former");
    ScriptedFileSystem full(FailAt(1));
    model = MakeModel(full);
    model->SetTechId("A_1");
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_EQ(model->TechId(), "former");
    Restart();
    EXPECT_EQ(model->TechId(), "former");
}

TEST_F(SyncFilesModelTest, ADamagedTechnicianIsReportedAndKeptAside)
{
    Write("../state/technician.json", "{\"techId\": 7}");
    Restart();
    EXPECT_EQ(model->TechId(), "");
    EXPECT_EQ(errors.messages.size(), 1);
    EXPECT_EQ(Content("../state/technician.json.damaged-1"), "{\"techId\": 7}");
}

TEST_F(SyncFilesModelTest, TheTenThousandthConfirmationWritesNoMoreThanTheFirstHundredDid)
{
    constexpr int first = 100;
    constexpr int all = 10'000;
    CountingFileSystem counted;
    model = MakeModel(counted);
    qint64 mostBytes = 0;
    qint64 mostCalls = 0;
    for (int number = 0; number < all; ++number) {
        const QByteArray name = "file" + QByteArray::number(number + all);
        WriteSettled(name, name);
        counted.bytes = 0;
        counted.calls = 0;
        ASSERT_TRUE(Confirm(name));
        if (number < first) {
            mostBytes = std::max(mostBytes, counted.bytes);
            mostCalls = std::max(mostCalls, counted.calls);
        }
        ASSERT_LE(2 * counted.bytes, 3 * mostBytes) << number;
        ASSERT_LE(2 * counted.calls, 3 * mostCalls) << number;
    }
    EXPECT_EQ(StoredConfirmations().size(), all);
    EXPECT_TRUE(Pending().isEmpty());
}

TEST_F(SyncFilesModelTest, ConfirmationsThatWereReplacedDoNotPileUp)
{
    CountingFileSystem counted;
    model = MakeModel(counted);
    for (int number = 0; number < 2500; ++number) {
        WriteSettled("file", QByteArray::number(number), nowSeconds - 10'000 + number);
        ASSERT_TRUE(Confirm("file"));
    }
    EXPECT_LE(StoredConfirmations().size(), 1010);
}

} // namespace
