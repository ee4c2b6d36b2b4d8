// The program itself, started and stopped as a person would.

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>

namespace {

constexpr int waitMs = 30000;

/** The simulator as a process that is killed at the end if it is still there. */
class Program
{
public:
    explicit Program(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "C");
        process.setProcessEnvironment(environment);
        process.start(PARLOWEN_DEVICE_PROGRAM, arguments, QIODevice::ReadOnly);
        EXPECT_TRUE(process.waitForStarted(waitMs));
    }

    /** Waits for the next line on standard output. */
    QString NextLine()
    {
        process.setReadChannel(QProcess::StandardOutput);
        while (!process.canReadLine() && process.waitForReadyRead(waitMs)) {
        }
        return QString::fromUtf8(process.readLine()).trimmed();
    }

    int Signal(int signal)
    {
        kill(static_cast<pid_t>(process.processId()), signal);
        return ExitStatus();
    }

    int ExitStatus()
    {
        EXPECT_TRUE(process.waitForFinished(waitMs));
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QString Output() { return QString::fromUtf8(process.readAllStandardOutput()); }
    QString Errors() { return QString::fromUtf8(process.readAllStandardError()); }

private:
    QProcess process;
};

QByteArray Curl(QStringList arguments, const QString &path)
{
    QProcess curl;
    arguments << "-s"
              << "-g"
              << "http://127.0.0.1:8081" + path;
    curl.start("curl", arguments);
    EXPECT_TRUE(curl.waitForFinished(waitMs));
    return curl.readAllStandardOutput();
}

QJsonValue Ask(const QStringList &arguments, const QString &path)
{
    return QJsonDocument::fromJson(Curl(arguments, path)).object();
}

class ProgramTest : public testing::Test
{
protected:
    QStringList Arguments(const QStringList &more = {}) const
    {
        return QStringList{"--data", device} + more;
    }

    static void ExpectListening(Program *program)
    {
        ASSERT_EQ(program->NextLine(), "listening on http://127.0.0.1:8081");
    }

    QTemporaryDir folder;
    QString device = folder.filePath("device");
};

TEST_F(ProgramTest, ABadArgumentIsNamedAndEndsWithStatus2)
{
    const QList<QPair<QStringList, QString>> cases{{{}, "--data"},
                                                   {{"--data"}, "data"},
                                                   {Arguments({"--colour"}), "colour"},
                                                   {Arguments({"extra"}), "extra"},
                                                   {Arguments({"--mode", "two"}), "two"}};
    for (const auto &[arguments, named] : cases) {
        Program program(arguments);
        EXPECT_EQ(program.ExitStatus(), 2);
        const QString errors = program.Errors();
        EXPECT_EQ(errors.count('\n'), 1);
        EXPECT_TRUE(errors.contains(named)) << errors.toStdString();
        EXPECT_EQ(program.Output(), "");
    }
    EXPECT_FALSE(QFile::exists(device));
}

TEST_F(ProgramTest, HelpAndVersionArePrintedOnStandardOutput)
{
    Program help({"--help"});
    EXPECT_EQ(help.ExitStatus(), 0);
    EXPECT_TRUE(help.Output().contains("--storage-unavailable"));
    Program version({"--version"});
    EXPECT_EQ(version.ExitStatus(), 0);
    EXPECT_EQ(version.Output(), "parlowen-device " PARLOWEN_DEVICE_VERSION "\n");
}

TEST_F(ProgramTest, EitherSignalStopsItWithStatus0)
{
    for (int signal : {SIGINT, SIGTERM}) {
        Program program(Arguments());
        ExpectListening(&program);
        EXPECT_EQ(program.Signal(signal), 0);
        EXPECT_EQ(program.Errors(), "");
    }
}

TEST_F(ProgramTest, ATakenPortIsNamedAndEndsWithStatus1)
{
    Program first(Arguments());
    ExpectListening(&first);
    const QString other = folder.filePath("other");
    for (const QString &path : {device, other}) {
        Program second({"--data", path});
        EXPECT_EQ(second.ExitStatus(), 1);
        const QString errors = second.Errors();
        EXPECT_EQ(errors.count('\n'), 1);
        EXPECT_TRUE(errors.contains("8081")) << errors.toStdString();
        EXPECT_EQ(second.Output(), "");
    }
    EXPECT_FALSE(QFile::exists(other));
    EXPECT_TRUE(Ask({}, "/info")["assetInfo"].isObject());
    EXPECT_EQ(first.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, AnUnusableFolderIsNamedAndEndsWithStatus1)
{
    QFile file(device);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("a file");
    file.close();
    for (const QString &path : {device, device + "/below", device + "/Gerät"}) {
        Program program({"--data", path});
        EXPECT_EQ(program.ExitStatus(), 1);
        const QString errors = program.Errors();
        EXPECT_EQ(errors.count('\n'), 1);
        EXPECT_TRUE(errors.contains(path)) << errors.toStdString();
        EXPECT_EQ(program.Output(), "");
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "a file");
}

TEST_F(ProgramTest, AMissingOrEmptyFolderGetsSampleContent)
{
    for (bool exists : {false, true}) {
        QDir(device).removeRecursively();
        ASSERT_TRUE(!exists || QDir().mkpath(device));
        Program program(Arguments());
        ExpectListening(&program);
        EXPECT_FALSE(Ask({}, "/info")["assetInfo"]["serialNumber"].toString().isEmpty());
        EXPECT_EQ(Ask({}, "/api/workflow/v1/list")["workOrderIds"].toArray().size(), 12);
        EXPECT_GT(Ask({}, "/api/filemgr/v2/userfiles")["files"].toArray().size(), 3);
        EXPECT_EQ(program.Signal(SIGTERM), 0);
    }
}

TEST_F(ProgramTest, AFolderInUseGetsNoSampleContent)
{
    ASSERT_TRUE(QDir().mkpath(device));
    QFile asset(device + "/asset.json");
    ASSERT_TRUE(asset.open(QIODevice::WriteOnly));
    asset.write("{\"serialNumber\": \"mine\"}");
    asset.close();
    Program program(Arguments());
    ExpectListening(&program);
    EXPECT_EQ(Ask({}, "/info")["assetInfo"].toObject(),
              (QJsonObject{{"serialNumber", "mine"},
                           {"simulator", true},
                           {"userFilesFolder", device + "/storage/userfiles"}}));
    ASSERT_TRUE(asset.open(QIODevice::ReadOnly));
    EXPECT_EQ(asset.readAll(), "{\"serialNumber\": \"mine\"}");
    EXPECT_TRUE(Ask({}, "/api/workflow/v1/list")["workOrderIds"].toArray().isEmpty());
    EXPECT_TRUE(QFileInfo(device + "/workorders").isDir());
    EXPECT_EQ(program.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, WorkOrdersAndTheActiveOneAreBackAfterARestart)
{
    QJsonArray batch;
    for (int number = 0; number < 500; ++number) {
        batch.append(QJsonObject{{"workOrderId", QStringLiteral("B-%1").arg(number)}});
    }
    QFile body(folder.filePath("batch.json"));
    ASSERT_TRUE(body.open(QIODevice::WriteOnly));
    body.write(QJsonDocument(QJsonObject{{"cdm", batch}}).toJson());
    body.close();
    {
        Program program(Arguments());
        ExpectListening(&program);
        EXPECT_EQ(Curl({"-d", "@" + body.fileName()}, "/api/workflow/v1/workorders"), "{\n}\n");
        EXPECT_EQ(
            Ask({"-X", "PUT", "-d", "{\"activeWorkOrderId\": \"B-7\"}"}, "/api/workflow/v1/active"),
            (QJsonObject{{"activeWorkOrderId", "B-7"}}));
        EXPECT_EQ(program.Signal(SIGKILL), -1);
    }
    Program program(Arguments());
    ExpectListening(&program);
    EXPECT_EQ(Ask({}, "/api/workflow/v1/list")["workOrderIds"].toArray().size(), 512);
    EXPECT_EQ(Ask({}, "/api/workflow/v1/active"), (QJsonObject{{"activeWorkOrderId", "B-7"}}));
    EXPECT_EQ(program.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, AWorkOrderWithANameThatNeedsEncodingIsFound)
{
    Program program(Arguments());
    ExpectListening(&program);
    Curl({"-d", "{\"cdm\": [{\"workOrderId\": \"Prüfung 7\"}]}"}, "/api/workflow/v1/workorders");
    EXPECT_EQ(
        Ask({}, "/api/workflow/v1/workorder/Pr%C3%BCfung%207")["cdm"]["workOrderId"].toString(),
        "Prüfung 7");
    EXPECT_TRUE(QFile::exists(device + "/workorders/Prüfung 7.json"));
    EXPECT_EQ(program.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, InMode2AChangeOfTheActiveWorkOrderShowsInTheView)
{
    Program program(Arguments({"--mode", "2"}));
    ExpectListening(&program);
    Curl({"-X", "PUT", "-d", "{\"activeWorkOrderId\": \"WO-1003\"}"}, "/api/workflow/v1/active");
    EXPECT_EQ(program.NextLine(), "view: job view reset");
    EXPECT_EQ(program.NextLine(), "view: job panel closed");
    EXPECT_EQ(program.NextLine(), "view: command 40 executed");
    EXPECT_EQ(program.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, InOtherModesOnlyTheCommandRuns)
{
    Program program(Arguments());
    ExpectListening(&program);
    Curl({"-X", "PUT", "-d", "{\"activeWorkOrderId\": \"WO-1003\"}"}, "/api/workflow/v1/active");
    Curl({"-X", "PUT", "-d", "{\"activeWorkOrderId\": \"WO-1003\"}"}, "/api/workflow/v1/active");
    EXPECT_EQ(program.Signal(SIGTERM), 0);
    EXPECT_EQ(program.Output(), "view: command 40 executed\n");
}

TEST_F(ProgramTest, WithoutTheGuardedStorageItsTemplatesAreMissing)
{
    Program with(Arguments());
    ExpectListening(&with);
    const int all = Ask({}, "/api/workflow/v1/templates")["templates"].toArray().size();
    EXPECT_EQ(with.Signal(SIGTERM), 0);
    Program without(Arguments({"--storage-unavailable"}));
    ExpectListening(&without);
    const int some = Ask({}, "/api/workflow/v1/templates")["templates"].toArray().size();
    EXPECT_GT(some, 0);
    EXPECT_GT(all, some);
    EXPECT_EQ(without.Signal(SIGTERM), 0);
}

TEST_F(ProgramTest, DebugLinesArePrintedWhenWanted)
{
    for (bool verbose : {false, true}) {
        Program program(Arguments(verbose ? QStringList{"--verbose"} : QStringList{}));
        ExpectListening(&program);
        Curl({"-d", "json"}, "/api/workflow/v1/workorders");
        EXPECT_EQ(program.Signal(SIGTERM), 0);
        EXPECT_EQ(program.Errors().contains("Body lengtH:  4"), verbose);
    }
}

TEST_F(ProgramTest, ARefusedBatchIsReportedOnStandardErrorAndStoresNothing)
{
    Program program(Arguments());
    ExpectListening(&program);
    EXPECT_EQ(
        Ask({"-d", "{\"cdm\": [{\"workOrderId\": \"new\"}, 5]}"}, "/api/workflow/v1/workorders"),
        (QJsonObject{{"errorMessage", "Error in request handler"}}));
    EXPECT_EQ(Ask({}, "/api/workflow/v1/workorder/new"),
              (QJsonObject{{"errorMessage", "Job not found"}}));
    EXPECT_EQ(program.Signal(SIGTERM), 0);
    const QString errors = program.Errors();
    EXPECT_TRUE(errors.contains("(workorderstore:"));
    EXPECT_TRUE(
        errors.contains("Failed to update jobs on filesystem (restserverrequestprocessor:"));
}

TEST_F(ProgramTest, AFolderWhosePathIsNotAsciiIsNamedAndEndsWithStatus1)
{
    Program program({"--data", folder.filePath("Gerät")});
    EXPECT_EQ(program.ExitStatus(), 1);
    const QString errors = program.Errors();
    EXPECT_EQ(errors.count('\n'), 1);
    EXPECT_TRUE(errors.contains("Gerät")) << errors.toStdString();
    EXPECT_FALSE(QFile::exists(folder.filePath("Gerät")));
}

} // namespace
