#include <gtest/gtest.h>

#include <clienterror.h>
#include <devicepaths.h>

namespace {

QVector<FileRecord> Listing(const QStringList &paths)
{
    QVector<FileRecord> records;
    for (const QString &path : paths) {
        records.append({path, 1, {}, {}});
    }
    return records;
}

TEST(DevicePaths, RootIsTheFolderNamedUserfiles)
{
    EXPECT_EQ(DevicePaths(Listing({"/d/userfiles/jobs/a"})).Root(), "/d/userfiles");
    EXPECT_EQ(DevicePaths(Listing({"/userfiles/a"})).Root(), "/userfiles");
}

TEST(DevicePaths, RootIsTheInnermostFolderNamedUserfiles)
{
    EXPECT_EQ(DevicePaths(Listing({"/userfiles/d/userfiles/a"})).Root(), "/userfiles/d/userfiles");
}

TEST(DevicePaths, FolderThatOnlyBeginsWithUserfilesIsNotTheRoot)
{
    EXPECT_EQ(DevicePaths(Listing({"/d/userfiles2/jobs/a"})).Root(), "/d/userfiles2/jobs");
}

TEST(DevicePaths, FolderNamedUserfilesThatNotAllShareIsNotTheRoot)
{
    EXPECT_EQ(DevicePaths(Listing({"/d/userfiles/a", "/d/b"})).Root(), "/d");
}

TEST(DevicePaths, OtherwiseRootIsTheDeepestSharedFolder)
{
    EXPECT_EQ(DevicePaths(Listing({"/d/x/a", "/d/x/y/b", "/d/x/c"})).Root(), "/d/x");
    EXPECT_EQ(DevicePaths(Listing({"/d/x/a", "/d/xy/b"})).Root(), "/d");
    EXPECT_EQ(DevicePaths(Listing({"/a", "/d/b"})).Root(), "");
}

TEST(DevicePaths, NoFilesHaveNoRoot)
{
    const DevicePaths paths({});
    EXPECT_EQ(paths.Root(), "");
    EXPECT_THROW(paths.Folder("."), ClientError);
    EXPECT_THROW(paths.File("a"), ClientError);
}

TEST(DevicePaths, AbsolutePathsStayAsTheyAre)
{
    const DevicePaths paths(Listing({"/d/userfiles/a"}));
    EXPECT_EQ(paths.File("/x/../y"), "/x/../y");
    EXPECT_EQ(paths.Folder("/x/"), "/x/");
}

TEST(DevicePaths, FileBelowTheRootComesBeforeOneThatEndsAlike)
{
    const DevicePaths paths(Listing({"/d/userfiles/a", "/d/userfiles/old/a"}));
    EXPECT_EQ(paths.File("a"), "/d/userfiles/a");
}

TEST(DevicePaths, NameThatOnlyEndsAlikeIsNotFound)
{
    const DevicePaths paths(Listing({"/d/userfiles/old/bar"}));
    EXPECT_THROW(paths.File("ar"), ClientError);
    EXPECT_EQ(paths.File("bar"), "/d/userfiles/old/bar");
}

TEST(DevicePaths, FoldersAreThoseOfListedFiles)
{
    const DevicePaths paths(Listing({"/d/userfiles/a", "/d/userfiles/x/y/b"}));
    EXPECT_EQ(paths.Folder("."), "/d/userfiles");
    EXPECT_EQ(paths.Folder("x/y"), "/d/userfiles/x/y");
    EXPECT_EQ(paths.Folder("y"), "/d/userfiles/x/y");
    EXPECT_THROW(paths.Folder("z"), ClientError);
}

TEST(DevicePaths, CleanedHasNoEmptyNamesAndNoDots)
{
    EXPECT_EQ(DevicePaths::Cleaned("/d/a"), "/d/a");
    EXPECT_EQ(DevicePaths::Cleaned("//d///a/"), "/d/a");
    EXPECT_EQ(DevicePaths::Cleaned("/d/./a/."), "/d/a");
    EXPECT_EQ(DevicePaths::Cleaned("/d/../a"), "/a");
    EXPECT_EQ(DevicePaths::Cleaned("/d/.../a.."), "/d/.../a..");
}

TEST(DevicePaths, CleanedDoesNotLeaveTheTop)
{
    EXPECT_EQ(DevicePaths::Cleaned("/../d"), "/d");
    EXPECT_EQ(DevicePaths::Cleaned("/d/../../.."), "/");
    EXPECT_EQ(DevicePaths::Cleaned("/"), "/");
}

} // namespace
