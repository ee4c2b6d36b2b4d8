#include "devicefolder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "scriptedfilesystem.h"

namespace {

class DeviceFolderTest : public testing::Test
{
protected:
    bool MakeFolders(const QString &path)
    {
        FileSystem fileSystem;
        return DeviceFolder(path).MakeFolders(fileSystem, &error);
    }

    static void WriteText(const QString &path)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("text");
    }

    QTemporaryDir folder;
    QString device = folder.filePath("a/device");
    QString error;
};

TEST_F(DeviceFolderTest, EverythingHasItsPlace)
{
    const DeviceFolder layout("/d");
    EXPECT_EQ(layout.AssetFile(), "/d/asset.json");
    EXPECT_EQ(layout.WorkOrders(), "/d/workorders");
    EXPECT_EQ(layout.Templates(), "/d/templates");
    EXPECT_EQ(layout.GuardedTemplates(), "/d/storage/templates");
    EXPECT_EQ(layout.UserFiles(), "/d/storage/userfiles");
    EXPECT_EQ(layout.State(), "/d/state");
}

TEST_F(DeviceFolderTest, MissingFoldersAreMadeWithTheirParents)
{
    ASSERT_TRUE(MakeFolders(device)) << error.toStdString();
    for (const char *name :
         {"workorders", "templates", "storage/templates", "storage/userfiles", "state"}) {
        EXPECT_TRUE(QFileInfo(device + '/' + name).isDir()) << name;
    }
}

TEST_F(DeviceFolderTest, WhatIsThereStays)
{
    ASSERT_TRUE(QDir().mkpath(device + "/workorders"));
    WriteText(device + "/workorders/kept.json");
    ASSERT_TRUE(MakeFolders(device));
    ASSERT_TRUE(MakeFolders(device));
    EXPECT_TRUE(QFile::exists(device + "/workorders/kept.json"));
}

TEST_F(DeviceFolderTest, AMissingOrEmptyFolderIsUnused)
{
    EXPECT_TRUE(DeviceFolder(device).IsUnused());
    ASSERT_TRUE(QDir().mkpath(device));
    EXPECT_TRUE(DeviceFolder(device).IsUnused());
}

TEST_F(DeviceFolderTest, AFolderWithAnythingInItIsUsed)
{
    ASSERT_TRUE(QDir().mkpath(device));
    WriteText(device + "/.hidden");
    EXPECT_FALSE(DeviceFolder(device).IsUnused());
    EXPECT_FALSE(DeviceFolder(device + "/.hidden").IsUnused());
}

TEST_F(DeviceFolderTest, AFileInPlaceOfAFolderIsNamed)
{
    WriteText(folder.filePath("a"));
    EXPECT_FALSE(MakeFolders(folder.filePath("a")));
    EXPECT_TRUE(error.contains(folder.filePath("a"))) << error.toStdString();
    EXPECT_FALSE(MakeFolders(device));
    EXPECT_TRUE(error.contains(folder.filePath("a"))) << error.toStdString();
    ASSERT_TRUE(QDir().mkpath(folder.filePath("b")));
    WriteText(folder.filePath("b/state"));
    EXPECT_FALSE(MakeFolders(folder.filePath("b")));
    EXPECT_TRUE(error.contains(folder.filePath("b/state"))) << error.toStdString();
}

TEST_F(DeviceFolderTest, AFolderThatCannotBeMadeIsNamed)
{
    ScriptedFileSystem full([](int) { return false; });
    EXPECT_FALSE(DeviceFolder(device).MakeFolders(full, &error));
    EXPECT_TRUE(error.contains(folder.filePath("a"))) << error.toStdString();
    EXPECT_TRUE(error.contains("No space left")) << error.toStdString();
}

TEST_F(DeviceFolderTest, ADeadSymbolicLinkIsNamed)
{
    ASSERT_TRUE(QFile::link(folder.filePath("nowhere"), folder.filePath("link")));
    EXPECT_FALSE(DeviceFolder(folder.filePath("link")).IsUnused());
    EXPECT_FALSE(MakeFolders(folder.filePath("link")));
    EXPECT_TRUE(error.contains("link")) << error.toStdString();
}

} // namespace
