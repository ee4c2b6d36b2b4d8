#include "pathnames.h"

#include <gtest/gtest.h>

namespace {

QByteArray Cleaned(const QByteArray &path)
{
    return JoinedPath(ResolvedNames(path));
}

TEST(PathNamesTest, ACleanPathStaysAsItIs)
{
    EXPECT_EQ(Cleaned("/a/b c/ä"), "/a/b c/ä");
}

TEST(PathNamesTest, TheRootHasNoNames)
{
    EXPECT_TRUE(ResolvedNames("/").isEmpty());
    EXPECT_EQ(Cleaned("/"), "/");
}

TEST(PathNamesTest, RepeatedSlashesCountAsOne)
{
    EXPECT_EQ(Cleaned("//a///b/"), "/a/b");
}

TEST(PathNamesTest, ADotIsNoName)
{
    EXPECT_EQ(Cleaned("/./a/./b/."), "/a/b");
}

TEST(PathNamesTest, TwoDotsTakeTheNameBefore)
{
    EXPECT_EQ(Cleaned("/a/b/../c"), "/a/c");
}

TEST(PathNamesTest, TwoDotsAtTheTopStayAtTheTop)
{
    EXPECT_EQ(Cleaned("/../../a"), "/a");
}

TEST(PathNamesTest, ThreeDotsAreAName)
{
    EXPECT_EQ(Cleaned("/a/..."), "/a/...");
}

} // namespace
