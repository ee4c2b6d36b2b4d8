#include <QCoreApplication>
#include <QSignalSpy>
#include <gtest/gtest.h>

#include "journalfilter.h"
#include "journalmodel.h"
#include "requesttext.h"

namespace {

RequestRecord Request(const QByteArray &uri, int status = 200)
{
    RequestRecord record;
    record.time = QDateTime(QDate(2026, 1, 31), QTime(10, 15, 30, 123), Qt::LocalTime);
    record.client = "127.0.0.1:40000";
    record.method = "GET";
    record.uri = uri;
    record.status = status;
    record.microseconds = 1234;
    return record;
}

class JournalTest : public testing::Test
{
protected:
    void Add(const RequestRecord &record, const QString &faults = QString())
    {
        journal.Add({record, faults});
    }

    void AwaitBatch()
    {
        QSignalSpy batches(&journal, &QAbstractItemModel::rowsInserted);
        ASSERT_TRUE(batches.wait());
    }

    QString Text(int row, int column) const { return journal.index(row, column).data().toString(); }

    JournalModel journal;
};

TEST_F(JournalTest, ARowTellsEverythingOfARequest)
{
    RequestRecord record = Request("/info", 500);
    record.error = QStringLiteral("No such thing");
    record.reports = QStringList{QStringLiteral("the disk is\nfull")};
    Add(record, QStringLiteral("no-space"));
    AwaitBatch();
    QStringList texts;
    for (int column = 0; column < JournalModel::ColumnCount; ++column) {
        texts << Text(0, column);
    }
    EXPECT_EQ(texts, (QStringList{"10:15:30.123", "127.0.0.1:40000", "GET", "/info", "500",
                                  "1.2 ms", "no-space", "No such thing; the disk is full"}));
}

TEST_F(JournalTest, EveryColumnHasAName)
{
    for (int column = 0; column < JournalModel::ColumnCount; ++column) {
        EXPECT_FALSE(journal.headerData(column, Qt::Horizontal).toString().isEmpty()) << column;
    }
}

TEST_F(JournalTest, TheNewestRequestIsTheFirst)
{
    Add(Request("/first"));
    Add(Request("/second"));
    AwaitBatch();
    Add(Request("/third"));
    AwaitBatch();
    EXPECT_EQ(Text(0, JournalModel::Uri), QStringLiteral("/third"));
    EXPECT_EQ(Text(1, JournalModel::Uri), QStringLiteral("/second"));
    EXPECT_EQ(Text(2, JournalModel::Uri), QStringLiteral("/first"));
}

TEST_F(JournalTest, ManyRequestsComeAsOneBatch)
{
    QSignalSpy batches(&journal, &QAbstractItemModel::rowsInserted);
    for (int i = 0; i < 1000; ++i) {
        Add(Request("/info"));
    }
    EXPECT_EQ(journal.rowCount(), 0);
    ASSERT_TRUE(batches.wait());
    EXPECT_EQ(batches.count(), 1);
    EXPECT_EQ(journal.rowCount(), 1000);
}

TEST_F(JournalTest, TheOldestRequestsAreForgotten)
{
    Add(Request("/oldest"));
    AwaitBatch();
    for (int i = 0; i < JournalModel::mostRows; ++i) {
        Add(Request(QByteArray::number(i)));
    }
    AwaitBatch();
    EXPECT_EQ(journal.rowCount(), JournalModel::mostRows);
    EXPECT_EQ(Text(JournalModel::mostRows - 1, JournalModel::Uri), QStringLiteral("0"));
}

TEST_F(JournalTest, OfABatchThatIsTooLargeTheNewestStay)
{
    for (int i = 0; i <= JournalModel::mostRows; ++i) {
        Add(Request(QByteArray::number(i)));
    }
    AwaitBatch();
    EXPECT_EQ(journal.rowCount(), JournalModel::mostRows);
    EXPECT_EQ(Text(JournalModel::mostRows - 1, JournalModel::Uri), QStringLiteral("1"));
}

TEST_F(JournalTest, AClearedJournalIsEmptyAndGoesOn)
{
    Add(Request("/first"));
    AwaitBatch();
    Add(Request("/waiting"));
    journal.Clear();
    EXPECT_EQ(journal.rowCount(), 0);
    Add(Request("/next"));
    AwaitBatch();
    EXPECT_EQ(journal.rowCount(), 1);
    EXPECT_EQ(Text(0, JournalModel::Uri), QStringLiteral("/next"));
}

TEST_F(JournalTest, AFailureStandsOutByColour)
{
    Add(Request("/good"));
    Add(Request("/bad", 404));
    AwaitBatch();
    EXPECT_TRUE(journal.index(0, 0).data(Qt::ForegroundRole).isValid());
    EXPECT_FALSE(journal.index(1, 0).data(Qt::ForegroundRole).isValid());
}

TEST(JournalEntryFailure, AnErrorInTheBodyIsOneWhateverTheStatus)
{
    JournalEntry entry{Request("/x"), QString()};
    EXPECT_FALSE(entry.HasFailed());
    entry.request.error = QStringLiteral("Invalid URI");
    EXPECT_TRUE(entry.HasFailed());
}

TEST(JournalEntryFailure, ARequestWithoutAnAnswerIsOne)
{
    const JournalEntry entry{Request("/x", 0), QString()};
    EXPECT_TRUE(entry.HasFailed());
}

class JournalFilterTest : public JournalTest
{
protected:
    JournalFilterTest()
    {
        Add(Request("/info"));
        Add(Request("/api/v1/Techinfo", 404));
        AwaitBatch();
    }

    QStringList Uris() const
    {
        QStringList uris;
        for (int row = 0; row < filter.rowCount(); ++row) {
            uris << filter.index(row, JournalModel::Uri).data().toString();
        }
        return uris;
    }

    JournalFilter filter{journal};
};

TEST_F(JournalFilterTest, ShowsAllAtFirst)
{
    EXPECT_EQ(Uris(), (QStringList{"/api/v1/Techinfo", "/info"}));
}

TEST_F(JournalFilterTest, ATextIsFoundInAnyCaseWithSpacesAround)
{
    filter.SetText(QStringLiteral(" TECH "));
    EXPECT_EQ(Uris(), QStringList("/api/v1/Techinfo"));
}

TEST_F(JournalFilterTest, ATextIsFoundInEveryColumn)
{
    filter.SetText(QStringLiteral("404"));
    EXPECT_EQ(Uris(), QStringList("/api/v1/Techinfo"));
    filter.SetText(QStringLiteral("127.0.0.1:40000"));
    EXPECT_EQ(Uris().size(), 2);
}

TEST_F(JournalFilterTest, FailuresAloneCanBeShown)
{
    filter.SetFailuresOnly(true);
    EXPECT_EQ(Uris(), QStringList("/api/v1/Techinfo"));
    filter.SetFailuresOnly(false);
    EXPECT_EQ(Uris().size(), 2);
}

TEST_F(JournalFilterTest, NewRequestsAreFilteredToo)
{
    filter.SetText(QStringLiteral("tech"));
    Add(Request("/info"));
    Add(Request("/technician"));
    AwaitBatch();
    EXPECT_EQ(Uris(), (QStringList{"/technician", "/api/v1/Techinfo"}));
}

TEST_F(JournalFilterTest, ARowLeadsToItsRequest)
{
    filter.SetText(QStringLiteral("info"));
    filter.SetFailuresOnly(true);
    EXPECT_EQ(filter.Entry(filter.index(0, 0))->request.uri, QByteArray("/api/v1/Techinfo"));
    EXPECT_EQ(filter.Entry(QModelIndex()), nullptr);
}

QString Curl(const RequestRecord &record)
{
    return RequestText::CurlCommand(record, QStringLiteral("http://127.0.0.1:8081"));
}

TEST(RequestTextCurl, AGetNeedsNothingButItsAddress)
{
    EXPECT_EQ(Curl(Request("/info")), QStringLiteral("curl 'http://127.0.0.1:8081/info'"));
}

TEST(RequestTextCurl, AnotherMethodAndABodyAreNamed)
{
    RequestRecord record = Request("/info");
    record.method = "PUT";
    record.received = 7;
    EXPECT_EQ(Curl(record), QStringLiteral("curl -X 'PUT' --data-binary @BODY "
                                           "'http://127.0.0.1:8081/info'"));
}

TEST(RequestTextCurl, AHeadRequestDoesNotWaitForABody)
{
    RequestRecord record = Request("/info");
    record.method = "HEAD";
    EXPECT_EQ(Curl(record), QStringLiteral("curl --head 'http://127.0.0.1:8081/info'"));
}

TEST(RequestTextCurl, WhatTheServerDecodedIsEncodedAgain)
{
    EXPECT_EQ(Curl(Request("/a b/Pr\xc3\xbc?%'.txt")),
              QStringLiteral("curl 'http://127.0.0.1:8081/a%20b/Pr%C3%BC%3F%25%27.txt'"));
}

TEST(RequestTextDescription, HoldsWhatIsKnownWithTheAnswerMadeReadable)
{
    RequestRecord record = Request("/info", 500);
    record.error = QStringLiteral("No such thing");
    record.reports = QStringList{QStringLiteral("the disk is full")};
    record.answer = R"({"errorMessage":"No such thing"})";
    const QString text = RequestText::Describe({record, QStringLiteral("no-space")});
    for (const char *part : {"GET /info", "from 127.0.0.1:40000", "Status: 500, after 1.234 ms",
                             "Error: No such thing", "Reason: the disk is full", "Fault: no-space",
                             "    \"errorMessage\": \"No such thing\""}) {
        EXPECT_TRUE(text.contains(QLatin1String(part))) << part << " in " << text.toStdString();
    }
}

TEST(RequestTextDescription, AnAnswerThatIsNoJsonStandsAsItCame)
{
    RequestRecord record = Request("/info", 404);
    record.answer = "Not <found>";
    EXPECT_TRUE(RequestText::Describe({record, QString()}).endsWith(QStringLiteral("Not <found>")));
}

} // namespace
