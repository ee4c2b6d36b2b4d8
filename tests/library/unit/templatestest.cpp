#include <QTemporaryDir>
#include <sys/fsuid.h>

#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler templatesHandler = &RestServerRequestProcessor::ProcessWorkflowTemplatesRequest;

// A superuser reads everything. For as long as this lives, files are opened as a user without
// rights; for other users it changes nothing.
class WithoutFileRights
{
public:
    WithoutFileRights() { setfsuid(65534); }
    ~WithoutFileRights() { setfsuid(geteuid()); }
    WithoutFileRights(const WithoutFileRights &) = delete;
    WithoutFileRights &operator=(const WithoutFileRights &) = delete;
};

class TemplatesTest : public ProcessorTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(first.isValid());
        ASSERT_TRUE(second.isValid());
        host.storage.directories = {{10, first.path()}, {11, second.path()}};
    }

    static void Write(const QTemporaryDir &directory, const char *name, const QByteArray &content)
    {
        QFile file(directory.filePath(QString::fromUtf8(name)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(content), content.size());
    }

    // The file alone; its directory can be listed by everybody.
    void MakeUnreadable(const QString &file) const
    {
        ASSERT_TRUE(QFile::setPermissions(file, QFile::Permissions()));
        ASSERT_TRUE(QFile::setPermissions(first.path(), QFile::Permissions(0x7755)));
    }

    std::string Templates()
    {
        const std::unique_ptr<RestServerResponseObject> response(
            Answer(templatesHandler, Method::Get));
        const QJsonDocument document =
            QJsonDocument::fromJson(response->ResponseDataChunk()->Data());
        return QJsonDocument(document["templates"].toArray())
            .toJson(QJsonDocument::Compact)
            .toStdString();
    }

    QTemporaryDir first;
    QTemporaryDir second;
};

TEST_F(TemplatesTest, EmptyDirectoriesGiveAnEmptyArray)
{
    ExpectResponse(Answer(templatesHandler, Method::Get), 200,
                   "{\n    \"templates\": [\n    ]\n}\n");
}

TEST_F(TemplatesTest, MissingDirectoriesGiveAnEmptyArray)
{
    first.remove();
    second.remove();
    const DebugLogCapture debugLog;
    ExpectResponse(Answer(templatesHandler, Method::Get), 200,
                   "{\n    \"templates\": [\n    ]\n}\n");
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(TemplatesTest, EntriesAreGatheredAsObjects)
{
    Write(first, "a.json", "{\"cdm\": [{\"x\": 1}, 2], \"other\": [3]}");
    ExpectResponse(Answer(templatesHandler, Method::Get), 200,
                   "{\n"
                   "    \"templates\": [\n"
                   "        {\n"
                   "            \"x\": 1\n"
                   "        },\n"
                   "        {\n"
                   "        }\n"
                   "    ]\n"
                   "}\n");
}

TEST_F(TemplatesTest, TheFirstDirectoryComesFirstAndFilesComeByName)
{
    Write(second, "a.json", "{\"cdm\": [{\"n\": 4}]}");
    Write(first, "b.json", "{\"cdm\": [{\"n\": 3}]}");
    Write(first, "a.json", "{\"cdm\": [{\"n\": 2}, {\"n\": 1}]}");
    EXPECT_EQ(Templates(), "[{\"n\":2},{\"n\":1},{\"n\":3},{\"n\":4}]");
}

TEST_F(TemplatesTest, DuplicatesAreKept)
{
    Write(first, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    Write(second, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    EXPECT_EQ(Templates(), "[{\"n\":1},{\"n\":1}]");
}

TEST_F(TemplatesTest, FilesThatAreNoTemplatesContributeNothingSilently)
{
    Write(first, "a.json", "");
    Write(first, "b.json", "{\"cdm\": [{\"n\": 1}]");
    Write(first, "c.json", "[{\"cdm\": [{\"n\": 2}]}]");
    Write(first, "d.json", "{\"cdm\": {\"n\": 3}}");
    Write(first, "e.json", "{\"CDM\": [{\"n\": 4}]}");
    const DebugLogCapture debugLog;
    EXPECT_EQ(Templates(), "[]");
    EXPECT_EQ(debugLog.Lines(), Calls());
    EXPECT_TRUE(host.errors.reports.empty());
}

TEST_F(TemplatesTest, OtherNamesAreNotRead)
{
    Write(first, "b.JSON", "{\"cdm\": [{\"n\": 1}]}");
    Write(first, ".hidden.json", "{\"cdm\": [{\"n\": 2}]}");
    Write(first, "c.json.bak", "{\"cdm\": [{\"n\": 3}]}");
    Write(first, "json", "{\"cdm\": [{\"n\": 4}]}");
    EXPECT_EQ(Templates(), "[]");
}

TEST_F(TemplatesTest, DirectoriesAreNeitherListedNorEntered)
{
    ASSERT_TRUE(QDir(first.path()).mkdir(QStringLiteral("c.json")));
    QFile inner(first.filePath(QStringLiteral("c.json/d.json")));
    ASSERT_TRUE(inner.open(QIODevice::WriteOnly));
    inner.write("{\"cdm\": [{\"n\": 1}]}");
    inner.close();
    const DebugLogCapture debugLog;
    EXPECT_EQ(Templates(), "[]");
    EXPECT_EQ(debugLog.Lines(), Calls());
}

TEST_F(TemplatesTest, ADanglingLinkIsNotListed)
{
    ASSERT_TRUE(QFile::link(QStringLiteral("/nonexistent"), first.filePath("a.json")));
    EXPECT_EQ(Templates(), "[]");
    EXPECT_TRUE(host.errors.reports.empty());
}

TEST_F(TemplatesTest, AFileThatCannotBeOpenedIsReportedAndTheOthersAreRead)
{
    Write(first, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    Write(first, "b.json", "{\"cdm\": [{\"n\": 2}]}");
    const QString unreadable = first.filePath(QStringLiteral("a.json"));
    MakeUnreadable(unreadable);
    const DebugLogCapture debugLog;
    {
        const WithoutFileRights user;
        EXPECT_EQ(Templates(), "[{\"n\":2}]");
    }
    EXPECT_EQ(debugLog.Lines(), Calls({"Template file:  \"" + unreadable.toStdString() + "\""}));
    EXPECT_EQ(host.log.Calls().at(1), "ErrorReporter.ReportError(Failed to open template file, "
                                      "restserverrequestprocessor)");
}

TEST_F(TemplatesTest, TheGuardedStorageIsBracketed)
{
    Write(second, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    const QString away = first.filePath(QStringLiteral("away"));
    ASSERT_TRUE(QDir().rename(second.path(), away));
    host.storage.onBegin = [&] { EXPECT_TRUE(QDir().rename(away, second.path())); };
    host.storage.onEnd = [&] { EXPECT_TRUE(QDir().rename(second.path(), away)); };
    EXPECT_EQ(Templates(), "[{\"n\":1}]");
    EXPECT_EQ(host.log.Calls(),
              Calls({"StorageModel.Directory(10)", "StorageModel.IsStorageAvailable()",
                     "StorageModel.BeginStorageAccess()", "StorageModel.Directory(11)",
                     "StorageModel.EndStorageAccess()"}));
}

TEST_F(TemplatesTest, WithoutTheGuardedStorageOnlyTheFirstDirectoryIsRead)
{
    Write(first, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    Write(second, "a.json", "{\"cdm\": [{\"n\": 2}]}");
    host.storage.available = false;
    EXPECT_EQ(Templates(), "[{\"n\":1}]");
    EXPECT_EQ(host.log.Calls(),
              Calls({"StorageModel.Directory(10)", "StorageModel.IsStorageAvailable()"}));
}

TEST_F(TemplatesTest, NothingIsKeptBetweenRequests)
{
    Write(first, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    EXPECT_EQ(Templates(), "[{\"n\":1}]");
    Write(first, "a.json", "{\"cdm\": [{\"n\": 2}]}");
    EXPECT_EQ(Templates(), "[{\"n\":2}]");
}

TEST_F(TemplatesTest, ANullArrayIsReportedAndTheWalkGoesOn)
{
    Write(first, "a.json", "");
    MakeUnreadable(first.filePath(QStringLiteral("a.json")));
    {
        const WithoutFileRights user;
        processor.AppendTemplatesInDirectory(QDir(first.path()), nullptr);
    }
    EXPECT_EQ(host.log.Calls(), Calls({"ErrorReporter.ReportError(Null templates array provided, "
                                       "restserverrequestprocessor)",
                                       "ErrorReporter.ReportError(Failed to open template file, "
                                       "restserverrequestprocessor)"}));
}

TEST_F(TemplatesTest, EntriesAreAppendedBehindWhatTheArrayHolds)
{
    Write(first, "a.json", "{\"cdm\": [{\"n\": 1}]}");
    QJsonArray templates{7};
    processor.AppendTemplatesInDirectory(QDir(first.path()), &templates);
    EXPECT_EQ(templates, QJsonArray({7, QJsonObject{{"n", 1}}}));
}

TEST_F(TemplatesTest, OtherMethodsAreRefused)
{
    ExpectRefused(templatesHandler, {Method::Get}, "/", 405, ErrorBody("Method not allowed"));
}

} // namespace
