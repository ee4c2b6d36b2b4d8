#include "assetmodel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "recordingerrorreporter.h"
#include "userfilestest.h"

namespace {

class AssetModelTest : public UserFilesTest
{
protected:
    const QJsonObject onlySimulator = {{"simulator", true}, {"userFilesFolder", root}};
    RecordingErrorReporter errors;
    UserFileDirectory directory{root};
    FileDigestCache digests;
    AssetModel model{base.filePath("asset.json"), directory, digests, errors};
};

TEST_F(AssetModelTest, TheInformationIsTheObjectOfTheDocumentAndSaysThatThisIsASimulator)
{
    Write("../asset.json", "{\"serialNumber\": \"7\", \"model\": {\"name\": \"Prüfgerät\"}}");
    const QJsonObject expected = {{"serialNumber", "7"},
                                  {"model", QJsonObject{{"name", "Prüfgerät"}}},
                                  {"simulator", true},
                                  {"userFilesFolder", root}};
    EXPECT_EQ(model.GetAssetInfo(), expected);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(AssetModelTest, AChangeOfTheDocumentShowsAtOnce)
{
    Write("../asset.json", "{\"a\": 1}");
    model.GetAssetInfo();
    Write("../asset.json", "{\"a\": 2}");
    EXPECT_EQ(model.GetAssetInfo(),
              (QJsonObject{{"a", 2}, {"simulator", true}, {"userFilesFolder", root}}));
}

TEST_F(AssetModelTest, AMissingDocumentIsReportedAndOnlyTheSimulatorIsLeft)
{
    EXPECT_EQ(model.GetAssetInfo(), onlySimulator);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains(base.filePath("asset.json")));
}

TEST_F(AssetModelTest, ADamagedDocumentIsReportedAndOnlyTheSimulatorIsLeft)
{
    for (const char *content : {"", "{\"a\": 1", "[1]", "7", "\xFF"}) {
        errors.messages.clear();
        Write("../asset.json", content);
        EXPECT_EQ(model.GetAssetInfo(), onlySimulator) << content;
        ASSERT_EQ(errors.messages.size(), 1) << content;
        EXPECT_TRUE(errors.messages.first().contains(base.filePath("asset.json")));
    }
}

TEST_F(AssetModelTest, ADocumentOfMoreThan16MiBIsReportedUnread)
{
    Write("../asset.json", "{\"a\": 1}");
    ASSERT_EQ(truncate(OnDisk("../asset.json").constData(), (16 << 20) + 1), 0);
    EXPECT_EQ(model.GetAssetInfo(), onlySimulator);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("larger than 16 MiB"));
}

TEST_F(AssetModelTest, AnEmptyObjectIsNoError)
{
    Write("../asset.json", "{}");
    EXPECT_EQ(model.GetAssetInfo(), onlySimulator);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(AssetModelTest, ADocumentCannotDenyTheSimulatorAndStaysAsItIs)
{
    Write("../asset.json", "{\"simulator\": false}");
    EXPECT_EQ(model.GetAssetInfo(), onlySimulator);
    EXPECT_EQ(Content("../asset.json"), "{\"simulator\": false}");
}

TEST_F(AssetModelTest, MetadataHasPathSizeTimeAndDigest)
{
    Write("Prüfung 1.txt", "abc");
    SetTime("Prüfung 1.txt", 1715938212);
    bool found = false;
    const QJsonObject expected = {
        {"path", Path("/Prüfung 1.txt")},
        {"size", 3},
        {"modifiedTime", "2024-05-17T09:30:12Z"},
        {"sha256", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"}};
    EXPECT_EQ(model.GetFileMetadata(ClientPath("Prüfung 1.txt"), &found), expected);
    EXPECT_TRUE(found);
}

TEST_F(AssetModelTest, MetadataFollowsTheContent)
{
    Write("a.txt", "xyz");
    SetTime("a.txt", 1000);
    bool found = false;
    model.GetFileMetadata(ClientPath("a.txt"), &found);
    Write("a.txt", "abc");
    EXPECT_EQ(model.GetFileMetadata(ClientPath("a.txt"), &found).value("sha256").toString(),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(AssetModelTest, AMissingFileHasNoMetadata)
{
    bool found = true;
    EXPECT_EQ(model.GetFileMetadata(ClientPath("missing"), &found), QJsonObject());
    EXPECT_FALSE(found);
    EXPECT_EQ(errors.messages, QStringList());
}

TEST_F(AssetModelTest, AFileThatCannotBeReadHasNoMetadataAndIsReported)
{
    // The loopback interface has no speed: the file can be opened, but reading it fails.
    const UserFileDirectory unreadable(QStringLiteral("/sys/class/net/lo"));
    AssetModel failing(base.filePath("asset.json"), unreadable, digests, errors);
    bool found = true;
    EXPECT_EQ(failing.GetFileMetadata("/sys/class/net/lo/speed", &found), QJsonObject());
    EXPECT_FALSE(found);
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("/sys/class/net/lo/speed"));
}

} // namespace
