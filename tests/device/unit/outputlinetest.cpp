#include "outputline.h"

#include <QRegularExpression>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "printedlines.h"

namespace {

TEST(OutputLineTest, PrintsTheTextAndALineBreak)
{
    PrintedLines lines;
    PrintLine(lines.Stream(), "Größe 100 %1");
    PrintLine(lines.Stream(), "");
    EXPECT_EQ(lines.Text(), "Größe 100 %1\n\n");
}

TEST(OutputLineTest, ControlCharactersBecomeSpaces)
{
    PrintedLines lines;
    PrintLine(lines.Stream(), QString("a\nb\r\tc\x1B[31m\x7F") + QChar(0x85) + QChar(0));
    EXPECT_EQ(lines.Text(), "a b  c [31m   \n");
}

TEST(OutputLineTest, ALogLineBeginsWithTimeAndKind)
{
    PrintedLines lines;
    PrintLogLine(lines.Stream(), "debug", "Body length:  5");
    EXPECT_TRUE(QRegularExpression("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z debug: "
                                   "Body length:  5\n$")
                    .match(lines.Text())
                    .hasMatch());
}

TEST(OutputLineTest, OfALongTextALogLineHasTheBeginning)
{
    PrintedLines lines;
    PrintLogLine(lines.Stream(), "error", QString(1000, 'x'));
    EXPECT_TRUE(lines.Text().endsWith("xx\n"));
    PrintLogLine(lines.Stream(), "error", "%2" + QString(20000, 'x'));
    EXPECT_TRUE(lines.Text().endsWith("xxx... (19002 more characters)\n"));
    EXPECT_LT(lines.Text().size(), 2200);
}

TEST(OutputLineTest, LinesOfSeveralThreadsDoNotMix)
{
    PrintedLines lines;
    std::vector<std::thread> threads;
    for (char letter : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([&lines, letter] {
            for (int number = 0; number < 200; ++number) {
                PrintLine(lines.Stream(), QString(50, letter));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const QStringList printed = lines.Text().split('\n', Qt::SkipEmptyParts);
    EXPECT_EQ(printed.size(), 800);
    for (const QString &line : printed) {
        EXPECT_EQ(line, QString(50, line.at(0)));
    }
}

} // namespace
