#include "requestreport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "errorreporter.h"
#include "printedlines.h"

namespace {

constexpr int megabyte = 1'000'000;

class RequestReportTest : public testing::Test
{
protected:
    QString Line(RequestReport::Lines format, const RequestRecord &record)
    {
        PrintedLines lines;
        RequestReport(format, lines.Stream(), failures.Stream(), reporter).RequestServed(record);
        return lines.Text();
    }

    static RequestRecord Refusal(int length)
    {
        RequestRecord record;
        record.method = "POST";
        record.uri = '/' + QByteArray(length, 'u');
        record.error = QString(length, 'e');
        record.reports = QStringList{QString(length, 'r'), QString(length, 's')};
        return record;
    }

    PrintedLines failures;
    ErrorReporter reporter{failures.Stream()};
};

TEST_F(RequestReportTest, ShortTextsArePrintedWhole)
{
    EXPECT_TRUE(Line(RequestReport::Lines::Text, Refusal(5))
                    .endsWith("POST /uuuuu 0 0 0 0.0 ms \"eeeee\" (rrrrr; sssss)\n"));
}

TEST_F(RequestReportTest, OfLongTextsTheBeginningIsPrinted)
{
    const QString line = Line(RequestReport::Lines::Text, Refusal(megabyte));
    EXPECT_LT(line.size(), 3500);
    EXPECT_TRUE(line.contains("uuu... (999001 more characters)"));
    EXPECT_TRUE(line.contains("eee... (999000 more characters)"));
    EXPECT_TRUE(line.contains("rrr... (1999002 more characters)"));
}

TEST_F(RequestReportTest, OfLongTextsTheBeginningIsPrintedInJsonToo)
{
    const QString line = Line(RequestReport::Lines::Json, Refusal(megabyte));
    EXPECT_LT(line.size(), 3500);
    const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
    EXPECT_EQ(object.value("error").toString(),
              QString(1000, 'e') + "... (999000 more characters)");
    EXPECT_EQ(object.value("reason").toString(),
              QString(1000, 'r') + "... (1999002 more characters)");
}

TEST_F(RequestReportTest, ARefusalIsToldInALineOfItsOwnUnlessAReasonWasReported)
{
    Line(RequestReport::Lines::None, Refusal(5));
    EXPECT_TRUE(failures.Text().endsWith("refused: POST /uuuuu: 0, eeeee; rrrrr; sssss\n"));
}

} // namespace
