#include "printabletext.h"

#include <gtest/gtest.h>

namespace {

TEST(PrintableTextTest, PlainTextOfAnyScriptStaysAsItIs)
{
    EXPECT_EQ(Escaped("Prüfbericht März 測定"), "Prüfbericht März 測定");
    EXPECT_EQ(OnOneLine("Prüfbericht März 測定"), "Prüfbericht März 測定");
}

TEST(PrintableTextTest, AnEmptyTextStaysEmpty)
{
    EXPECT_EQ(Escaped(QString()), QString());
}

TEST(PrintableTextTest, AnEscapeSequenceIsShown)
{
    EXPECT_EQ(Escaped("a\x1B[31m"), "a\\u001b[31m");
}

TEST(PrintableTextTest, LineEndsAreShown)
{
    EXPECT_EQ(Escaped("a\r\nb"), "a\\u000d\\u000ab");
}

TEST(PrintableTextTest, DeleteAndTheSecondBlockOfControlsAreShown)
{
    EXPECT_EQ(Escaped(QString("\x7F") + QChar(0x9B) + QChar(0x9D)), "\\u007f\\u009b\\u009d");
}

TEST(PrintableTextTest, AChangeOfTheWritingDirectionIsShown)
{
    EXPECT_EQ(Escaped(QString("a") + QChar(0x202E) + "b"), "a\\u202eb");
}

TEST(PrintableTextTest, SeparatorsOfLinesAndParagraphsAreShown)
{
    EXPECT_EQ(Escaped(QString(QChar(0x2028)) + QChar(0x2029)), "\\u2028\\u2029");
}

TEST(PrintableTextTest, OnOneLineEachOfTheseIsASpace)
{
    EXPECT_EQ(OnOneLine(QString("a\n\x1B") + QChar(0x9B) + QChar(0x202E) + QChar(0x2028) + "b"),
              "a     b");
}

} // namespace
