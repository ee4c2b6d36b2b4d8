#include "requestreport.h"

#include <gtest/gtest.h>

#include "errorreporter.h"
#include "printedlines.h"

namespace {

class RequestReportTest : public testing::Test
{
protected:
    QString Line(RequestReport::Lines format, const RequestRecord &record)
    {
        PrintedLines lines;
        RequestReport(format, lines.Stream(), failures.Stream(), reporter).RequestServed(record);
        return lines.Text();
    }

    static RequestRecord Refusal()
    {
        RequestRecord record;
        record.method = "POST";
        record.uri = '/' + QByteArray(5, 'u');
        record.error = QString(5, 'e');
        record.reports = QStringList{QString(5, 'r'), QString(5, 's')};
        return record;
    }

    PrintedLines failures;
    ErrorReporter reporter{failures.Stream()};
};

TEST_F(RequestReportTest, ARequestIsALine)
{
    EXPECT_TRUE(Line(RequestReport::Lines::Text, Refusal())
                    .endsWith("POST /uuuuu 0 0 0 0.0 ms \"eeeee\" (rrrrr; sssss)\n"));
}

TEST_F(RequestReportTest, ARefusalIsToldInALineOfItsOwnUnlessAReasonWasReported)
{
    Line(RequestReport::Lines::None, Refusal());
    EXPECT_TRUE(failures.Text().endsWith("refused: POST /uuuuu: 0, eeeee; rrrrr; sssss\n"));
}

} // namespace
