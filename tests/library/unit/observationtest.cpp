#include "observation.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <gtest/gtest.h>

namespace {

QStringList warnings;

void KeepWarning(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtWarningMsg) {
        warnings << message;
    }
}

class KeptWarnings
{
public:
    KeptWarnings()
        : previous(qInstallMessageHandler(KeepWarning))
    {
        warnings.clear();
    }
    ~KeptWarnings() { qInstallMessageHandler(previous); }

private:
    QtMessageHandler previous;
};

class NotingObserver : public IRequestObserver
{
public:
    void RequestServed(const RequestRecord &record) override
    {
        ++served;
        lastUri = record.uri;
        if (whenServed) {
            whenServed();
        }
    }
    void TransferMoved(const TransferProgress &progress) override { moved << progress.moved; }

    int served = 0;
    QByteArray lastUri;
    QVector<qint64> moved;
    std::function<void()> whenServed;
};

class ObservationTest : public testing::Test
{
protected:
    void Serve(const QByteArray &uri)
    {
        RequestRecord record;
        record.uri = uri;
        observation->Served(record);
    }

    void ServeMany(int count)
    {
        for (int i = 0; i < count; ++i) {
            Serve(QByteArray::number(i));
        }
    }

    KeptWarnings kept;
    NotingObserver observer;
    std::shared_ptr<ModelCalls> calls = ModelCalls::Create();
    std::shared_ptr<Observation> observation = std::make_shared<Observation>(&observer, calls);
};

} // namespace

TEST_F(ObservationTest, ARecordIsToldInATurnOfTheLoop)
{
    Serve("/info");
    EXPECT_EQ(observer.served, 0);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.lastUri, "/info");
}

TEST_F(ObservationTest, WhatWaitsIsToldInOneTurn)
{
    ServeMany(3);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 3);
}

TEST_F(ObservationTest, TenThousandRecordsWait)
{
    ServeMany(10000);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 10000);
    EXPECT_TRUE(warnings.isEmpty());
}

TEST_F(ObservationTest, WhatComesOnTopIsLostAndCounted)
{
    ServeMany(10005);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 10000);
    EXPECT_EQ(observer.lastUri, "9999");
    EXPECT_EQ(warnings, QStringList{"5 requests were served that the observer was not told of"});
}

TEST_F(ObservationTest, ProgressThatIsLostIsNotCountedAsRequests)
{
    ServeMany(10000);
    observation->Moved(TransferProgress());
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(warnings.isEmpty());
}

TEST_F(ObservationTest, WhatFollowsALossIsToldAgain)
{
    ServeMany(10001);
    QCoreApplication::sendPostedEvents();
    Serve("/next");
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.lastUri, "/next");
}

TEST_F(ObservationTest, NothingIsToldAfterStop)
{
    Serve("/info");
    observation->Stop();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 0);
}

TEST_F(ObservationTest, WhatWasServedLastIsToldBeforeItStops)
{
    Serve("/info");
    observation->TellRest();
    EXPECT_EQ(observer.lastUri, "/info");
}

TEST_F(ObservationTest, NothingIsToldAfterTheRest)
{
    observation->TellRest();
    Serve("/info");
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 0);
}

TEST_F(ObservationTest, AnObserverThatIsBeingToldIsNotToldTheRestMeanwhile)
{
    observer.whenServed = [this] { observation->TellRest(); };
    Serve("/info");
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 1);
}

TEST_F(ObservationTest, AnObserverThatStopsIsToldNoMore)
{
    observer.whenServed = [this] { observation->Stop(); };
    ServeMany(3);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(observer.served, 1);
}

TEST_F(ObservationTest, ATransferIsReportedAtMostFourTimesASecond)
{
    QElapsedTimer time;
    time.start();
    TransferReport report(observation.get(), RequestRecord(), true, 100);
    for (qint64 bytes = 0; observer.moved.size() < 2; ++bytes) {
        report.Moved(bytes);
        QCoreApplication::sendPostedEvents();
    }
    EXPECT_GE(time.elapsed(), 500);
}

TEST_F(ObservationTest, AReportThatNobodyObservesDoesNothing)
{
    TransferReport report(nullptr, RequestRecord(), true, 100);
    report.Moved(50);
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(observer.moved.isEmpty());
}
