#include "errorreporter.h"

#include <QDateTime>
#include <QRegularExpression>
#include <cstdio>
#include <gtest/gtest.h>

#include "printedlines.h"

namespace {

QString Reported(const QString &message, const char *source, int line)
{
    std::FILE *file = std::tmpfile();
    ErrorReporter reporter(file);
    reporter.ReportError(message, source, line);
    std::rewind(file);
    char text[1000];
    const std::size_t size = std::fread(text, 1, sizeof text, file);
    std::fclose(file);
    return QString::fromUtf8(text, static_cast<int>(size));
}

TEST(ErrorReporterTest, PrintsTimeMessageSourceAndLineOnOneLine)
{
    const QRegularExpression expected(
        QStringLiteral("^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z) error: Disk is full "
                       "\\(workorderstore:42\\)\n$"));
    const auto match = expected.match(Reported("Disk is full", "workorderstore", 42));
    ASSERT_TRUE(match.hasMatch());
    const QDateTime time = QDateTime::fromString(match.captured(1), Qt::ISODateWithMs);
    EXPECT_LT(qAbs(time.secsTo(QDateTime::currentDateTimeUtc())), 60);
}

TEST(ErrorReporterTest, LineBreaksOfTheMessageDoNotBreakTheLine)
{
    EXPECT_TRUE(Reported("a\nb\r\tc", "s", 1).endsWith(" error: a b  c (s:1)\n"));
}

TEST(ErrorReporterTest, PlaceholdersInTheMessageStayAsTheyAre)
{
    EXPECT_TRUE(Reported("100 %1 %3", "s", 1).endsWith(" error: 100 %1 %3 (s:1)\n"));
}

TEST(ErrorReporterTest, OtherScriptsArePrintedAsUtf8)
{
    EXPECT_TRUE(Reported("Größe 測定", "s", 1).endsWith(" error: Größe 測定 (s:1)\n"));
}

TEST(ErrorReporterTest, WhatIsReportedOverAndOverIsCounted)
{
    PrintedLines lines;
    {
        ErrorReporter reporter(lines.Stream());
        for (int time = 0; time < 10'000; ++time) {
            reporter.ReportError("Illegal state", "s", 1);
        }
        reporter.ReportError("something else", "s", 2);
        EXPECT_EQ(reporter.Count(), 10'001U);
    }
    const QStringList printed = lines.Text().split('\n', Qt::SkipEmptyParts);
    EXPECT_LT(printed.size(), 1000); // 22 in each second
    EXPECT_TRUE(printed.at(printed.size() - 2).contains("more times: Illegal state (s:1)"));
    EXPECT_TRUE(printed.last().endsWith("something else (s:2)"));
}

TEST(ErrorReporterTest, AFewOfTheSameAreAllPrinted)
{
    PrintedLines lines;
    ErrorReporter reporter(lines.Stream());
    for (int time = 0; time < 20; ++time) {
        reporter.ReportError("same", "s", 1);
    }
    EXPECT_EQ(lines.Text().count("same (s:1)\n"), 20);
}

} // namespace
