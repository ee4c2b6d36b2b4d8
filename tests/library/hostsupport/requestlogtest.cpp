#include "requestlog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

RequestRecord Record()
{
    RequestRecord record;
    record.time = QDateTime(QDate(2026, 1, 31), QTime(10, 15, 30, 123), Qt::UTC);
    record.client = "192.0.2.1:40000";
    record.method = "GET";
    record.uri = "/info";
    record.status = 200;
    record.received = 5;
    record.sent = 412;
    record.microseconds = 823;
    return record;
}

QByteArray Text(const RequestRecord &record)
{
    return RequestLog::Line(record, RequestLog::Format::Text);
}

QJsonObject Json(const RequestRecord &record)
{
    return QJsonDocument::fromJson(RequestLog::Line(record, RequestLog::Format::Json)).object();
}

class CountingTest : public testing::Test
{
protected:
    void Serve(int status, const QString &error = QString())
    {
        RequestRecord record = Record();
        record.status = status;
        record.error = error;
        log.RequestServed(record);
    }

    QList<QByteArray> lines;
    RequestLog log{RequestLog::Format::Text, [this](const QByteArray &line) { lines << line; }};
};

} // namespace

TEST(RequestLogTextTest, IsOneLineOfWhatHappened)
{
    EXPECT_EQ(Text(Record()),
              "2026-01-31T10:15:30.123Z 192.0.2.1:40000 GET /info 200 5 412 0.8 ms");
}

TEST(RequestLogTextTest, TellsErrorAndReports)
{
    RequestRecord record = Record();
    record.error = "Upload failed";
    record.reports << "one"
                   << "two";
    EXPECT_TRUE(Text(record).endsWith(" ms \"Upload failed\" (one; two)"));
}

TEST(RequestLogTextTest, APercentSignInAUriIsNoPlace)
{
    RequestRecord record = Record();
    record.uri = "/%1%2%5";
    EXPECT_TRUE(Text(record).contains(" GET /%1%2%5 200 5 412 "));
}

TEST(RequestLogTextTest, HasNoControlCharacter)
{
    RequestRecord record = Record();
    record.error = "a\nb\x1b[2J";
    EXPECT_TRUE(Text(record).endsWith("\"a\\u000ab\\u001b[2J\""));
}

// Many readers of JSON take no text that could not be written as UTF-8.
TEST(RequestLogJsonTest, ShowsHalfOfASurrogatePairAsText)
{
    RequestRecord record = Record();
    record.error = QStringLiteral("a") + QChar(0xdc80) + QChar(0xd83d) + QChar(0xdca9);
    record.error += QChar(0xd800);
    EXPECT_EQ(Json(record).value("error").toString(),
              QString::fromUtf8("a\\udc80\xf0\x9f\x92\xa9\\ud800"));
}

TEST(RequestLogTextTest, HasTheBeginningOfLongTexts)
{
    RequestRecord record = Record();
    record.uri = '/' + QByteArray(1'000'000, 'u');
    record.error = QString(1'000'000, 'e');
    record.reports = QStringList{QString(1000, 'r'), QString(1000, 's')};
    const QByteArray line = Text(record);
    EXPECT_LT(line.size(), 3500);
    EXPECT_TRUE(line.contains("uuu... (999001 more characters) 200 "));
    EXPECT_TRUE(line.contains("eee... (999000 more characters)\" "));
    EXPECT_TRUE(line.endsWith("rrr... (1002 more characters))"));
}

TEST(RequestLogTextTest, HasTextsOf1000CharactersWhole)
{
    RequestRecord record = Record();
    record.error = QString(1000, 'e');
    EXPECT_TRUE(Text(record).endsWith(" \"" + QByteArray(1000, 'e') + '"'));
}

TEST(RequestLogJsonTest, HasTheBeginningOfLongTexts)
{
    RequestRecord record = Record();
    record.error = QString(999, 'e') + QString::fromUtf8("\xf0\x9f\x92\xa9");
    EXPECT_EQ(Json(record)["error"], QString(999, 'e') + "\\ud83d... (1 more characters)");
}

TEST(RequestLogTextTest, HasNoCharacterThatTurnsTheLineAround)
{
    RequestRecord record = Record();
    record.uri = QString::fromUtf16(u"/a\u202eb").toUtf8();
    EXPECT_TRUE(Text(record).contains(" /a\\u202eb "));
}

TEST(RequestLogTextTest, ABlankInAUriEndsNoField)
{
    RequestRecord record = Record();
    record.uri = "/a 200 0 44";
    EXPECT_TRUE(Text(record).contains(" GET /a\\u0020200\\u00200\\u002044 200 5 412 "));
}

TEST(RequestLogTextTest, AUriThatIsNoUtf8IsStillALine)
{
    RequestRecord record = Record();
    record.uri = "/a\xff";
    EXPECT_TRUE(Text(record).contains("GET /a"));
}

TEST(RequestLogJsonTest, HasAMemberForEachMatter)
{
    EXPECT_EQ(Json(Record()), (QJsonObject{{"time", "2026-01-31T10:15:30.123Z"},
                                           {"client", "192.0.2.1:40000"},
                                           {"method", "GET"},
                                           {"uri", "/info"},
                                           {"status", 200},
                                           {"received", 5},
                                           {"sent", 412},
                                           {"milliseconds", 0.823}}));
}

TEST(RequestLogJsonTest, TellsErrorAndReason)
{
    RequestRecord record = Record();
    record.error = "say \"no\"";
    record.reports << "one"
                   << "two";
    EXPECT_EQ(Json(record)["error"], "say \"no\"");
    EXPECT_EQ(Json(record)["reason"], "one; two");
}

TEST(RequestLogJsonTest, HasNoControlCharacter)
{
    RequestRecord record = Record();
    record.error = QString(QChar(0x9b)) + "2J";
    record.reports << QString(QChar(0x202e));
    const QString line = QString::fromUtf8(RequestLog::Line(record, RequestLog::Format::Json));
    EXPECT_FALSE(line.contains(QChar(0x9b)));
    EXPECT_FALSE(line.contains(QChar(0x202e)));
}

TEST_F(CountingTest, EveryRequestIsWritten)
{
    Serve(200);
    Serve(404, "Not found");
    EXPECT_EQ(lines.size(), 2);
    EXPECT_EQ(log.Counted().requests, 2);
}

TEST_F(CountingTest, AnErrorInABodyIsARefusal)
{
    Serve(200, "Method not allowed");
    Serve(408, "Request timed out waiting on other requests");
    EXPECT_EQ(log.Counted().refusals, 2);
    EXPECT_EQ(log.Counted().errors, 0);
}

TEST_F(CountingTest, ALateAnswerIsAnErrorToo)
{
    Serve(500, "{\"errorString\":\"internal timeout\"}");
    Serve(503, "The device cannot serve requests");
    EXPECT_EQ(log.Counted().errors, 2);
    EXPECT_EQ(log.Counted().lateAnswers, 1);
    EXPECT_EQ(log.Counted().refusals, 0);
}
