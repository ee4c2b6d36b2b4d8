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
#include "storefolder.h"
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
        EXPECT_TRUE(SampleContent::IsDue(device));
        EXPECT_TRUE(MakeWith(&fileSystem)) << error.toStdString();
    }

    bool MakeWith(FileSystem *files)
    {
        return SampleContent::Begin(*files, device, &error) && device.MakeFolders(*files, &error) &&
               SampleContent::Write(*files, device, SampleContent::Extent::Whole, &error);
    }

    void Clear() const
    {
        ASSERT_TRUE(QDir(folder.path()).removeRecursively());
        ASSERT_TRUE(QDir().mkpath(folder.path()));
    }

    /** Every file with its content, hidden ones included. */
    QMap<QString, QByteArray> Files() const
    {
        QMap<QString, QByteArray> files;
        QDirIterator entry(folder.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (entry.hasNext()) {
            const QString path = entry.next();
            files[path] = ContentOf(path);
        }
        return files;
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

TEST_F(SampleContentTest, FilesAreDatedInThePastSoThatTheyArePendingFromTheStart)
{
    Make();
    QDirIterator entry(device.Path(), QDir::Files, QDirIterator::Subdirectories);
    while (entry.hasNext()) {
        entry.next();
        EXPECT_EQ(entry.fileInfo().lastModified().toUTC().toString(Qt::ISODate),
                  "2024-05-17T09:30:00Z")
            << entry.filePath().toStdString();
    }
}

TEST_F(SampleContentTest, IsTheSameEveryTime)
{
    Make();
    const QMap<QString, QByteArray> first = Files();
    EXPECT_EQ(first.size(), 20);
    EXPECT_EQ(first[device.UserFiles() + "/traces/waveform.bin"].size(),
              SampleContent::largeFileSize);
    Clear();
    Make();
    EXPECT_EQ(Files(), first);
}

TEST_F(SampleContentTest, IsDueInAnUnusedFolderUntilItIsComplete)
{
    EXPECT_TRUE(SampleContent::IsDue(device));
    ASSERT_TRUE(SampleContent::Begin(fileSystem, device, &error));
    EXPECT_TRUE(SampleContent::IsDue(device));
    ASSERT_TRUE(device.MakeFolders(fileSystem, &error));
    EXPECT_TRUE(SampleContent::IsDue(device));
    ASSERT_TRUE(SampleContent::Write(fileSystem, device, SampleContent::Extent::Whole, &error));
    EXPECT_FALSE(SampleContent::IsDue(device));
}

TEST_F(SampleContentTest, IsNotDueInAFolderWithContentOfItsOwn)
{
    ASSERT_TRUE(device.MakeFolders(fileSystem, &error));
    EXPECT_FALSE(SampleContent::IsDue(device));
}

TEST_F(SampleContentTest, WhatIsThereStays)
{
    ASSERT_TRUE(device.MakeFolders(fileSystem, &error));
    QFile own(device.AssetFile());
    ASSERT_TRUE(own.open(QIODevice::WriteOnly));
    own.write("{}");
    own.close();
    ASSERT_TRUE(QFile::link("nowhere", device.UserFiles() + "/readme.txt"));
    ASSERT_TRUE(MakeWith(&fileSystem)) << error.toStdString();
    EXPECT_EQ(ContentOf(device.AssetFile()), "{}");
    EXPECT_TRUE(QFileInfo(device.UserFiles() + "/readme.txt").isSymLink());
    EXPECT_TRUE(QFile::exists(device.UserFiles() + "/traces/waveform.bin"));
}

TEST_F(SampleContentTest, AFullDiskIsReportedAtEveryStepAndTheNextStartCompletesIt)
{
    Make();
    const QMap<QString, QByteArray> complete = Files();
    bool reached = true;
    for (int step = 1; reached; ++step) {
        Clear();
        error.clear();
        ScriptedFileSystem full(FailAt(step));
        const bool written = MakeWith(&full);
        reached = full.Steps() >= step;
        EXPECT_EQ(written, !reached) << step;
        EXPECT_EQ(error.isEmpty(), !reached) << step;
        if (reached) {
            Make();
        }
        EXPECT_EQ(Files(), complete) << step;
    }
}

TEST_F(SampleContentTest, AKillAtAnyStepIsMadeUpForByTheNextStart)
{
    Make();
    const QMap<QString, QByteArray> complete = Files();
    bool finished = false;
    for (int step = 1; !finished; step += 3) {
        Clear();
        finished = FinishesInChild([&] {
            ScriptedFileSystem killed(KillAt(step));
            MakeWith(&killed);
        });
        if (SampleContent::IsDue(device)) {
            Make();
        }
        EXPECT_EQ(Files(), complete) << step;
    }
}

} // namespace
