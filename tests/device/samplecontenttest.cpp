#include "samplecontent.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>

#include "recordingerrorreporter.h"
#include "scriptedfilesystem.h"
#include "workorderstore.h"

namespace {

QByteArray ContentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class SampleContentTest : public testing::Test
{
protected:
    void Make()
    {
        ASSERT_TRUE(device.MakeFolders(fileSystem, &error));
        ASSERT_TRUE(SampleContent::Write(fileSystem, device, &error)) << error.toStdString();
    }

    static int TemplatesIn(const QString &path)
    {
        int count = 0;
        for (const QFileInfo &file : QDir(path).entryInfoList({"*.json"}, QDir::Files)) {
            count += QJsonDocument::fromJson(ContentOf(file.filePath()))["cdm"].toArray().size();
        }
        return count;
    }

    QTemporaryDir folder;
    DeviceFolder device{folder.path()};
    FileSystem fileSystem;
    QString error;
};

TEST_F(SampleContentTest, TheAssetHasSerialNumberFirmwareVersionAndModelAndSaysThatItIsASimulator)
{
    Make();
    const QJsonObject asset = QJsonDocument::fromJson(ContentOf(device.AssetFile())).object();
    EXPECT_EQ(asset.keys(), QStringList({"firmwareVersion", "model", "serialNumber", "simulator"}));
    for (const char *key : {"firmwareVersion", "model", "serialNumber"}) {
        EXPECT_FALSE(asset.value(QLatin1String(key)).toString().isEmpty());
    }
    EXPECT_EQ(asset.value("simulator"), QJsonValue(true));
}

TEST_F(SampleContentTest, ADozenWorkOrdersWithTestsAndImages)
{
    Make();
    RecordingErrorReporter errors;
    WorkOrderStore store(fileSystem, device.WorkOrders(), device.State(), errors);
    store.Load();
    EXPECT_EQ(store.Entries().size(), 12U);
    EXPECT_TRUE(errors.messages.isEmpty());
    for (const auto &[id, entry] : store.Entries()) {
        bool found = false;
        const QJsonArray tests = store.GetWorkOrder(id, &found)["tests"].toArray();
        EXPECT_FALSE(tests.isEmpty());
        for (const QJsonValue &test : tests) {
            const QString image = test["results"]["data"]["imageData"].toString();
            EXPECT_TRUE(QByteArray::fromBase64(image.toLatin1()).startsWith("P5\n"));
        }
    }
}

TEST_F(SampleContentTest, TemplatesOnBothStorages)
{
    Make();
    EXPECT_GT(TemplatesIn(device.Templates()), 1);
    EXPECT_GT(TemplatesIn(device.GuardedTemplates()), 0);
}

TEST_F(SampleContentTest, UserFilesLargeAndWithANameThatNeedsEncoding)
{
    Make();
    QStringList names;
    qint64 largest = 0;
    QDirIterator entry(device.UserFiles(), QDir::Files, QDirIterator::Subdirectories);
    while (entry.hasNext()) {
        entry.next();
        names.append(entry.fileName());
        largest = std::max(largest, entry.fileInfo().size());
    }
    EXPECT_GT(names.size(), 2);
    EXPECT_GT(largest, 12000000);
    EXPECT_TRUE(std::any_of(names.cbegin(), names.cend(), [](const QString &name) {
        return name.contains(' ') && name.toUtf8().size() > name.size();
    }));
}

TEST_F(SampleContentTest, IsTheSameEveryTime)
{
    Make();
    const QByteArray first = ContentOf(device.UserFiles() + "/traces/waveform.bin");
    ASSERT_TRUE(QDir(device.UserFiles() + "/traces").removeRecursively());
    Make();
    EXPECT_EQ(first.size(), SampleContent::largeFileSize);
    EXPECT_EQ(ContentOf(device.UserFiles() + "/traces/waveform.bin"), first);
}

TEST_F(SampleContentTest, AFullDiskIsReportedAtEveryStep)
{
    bool reached = true;
    for (int step = 1; reached; ++step) {
        QDir(device.Storage()).removeRecursively();
        ASSERT_TRUE(device.MakeFolders(fileSystem, &error));
        error.clear();
        ScriptedFileSystem full(FailAt(step));
        const bool written = SampleContent::Write(full, device, &error);
        reached = full.Steps() >= step;
        EXPECT_EQ(written, !reached) << step;
        EXPECT_EQ(error.isEmpty(), !reached) << step;
    }
}

} // namespace
