#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <memory>

#include <interruption.h>
#include <transfer.h>

namespace {

constexpr int patienceMs = 60000;

// A device that answers one request with given bytes, in a thread of its own.
class Answering
{
public:
    explicit Answering(const QByteArray &answer)
    {
        listener.listen(QHostAddress::LocalHost);
        port = listener.serverPort();
        thread.reset(QThread::create([this, answer] { Serve(answer); }));
        listener.moveToThread(thread.get());
        thread->start();
    }

    ~Answering() { thread->wait(); }

    QNetworkRequest Request() const
    {
        return QNetworkRequest(QUrl(QString("http://127.0.0.1:%1/").arg(port)));
    }

    int port = 0;

private:
    void Serve(const QByteArray &answer)
    {
        listener.waitForNewConnection(patienceMs);
        const std::unique_ptr<QTcpSocket> client(listener.nextPendingConnection());
        client->waitForReadyRead(patienceMs);
        client->write(answer);
        while (client->bytesToWrite() > 0 && client->waitForBytesWritten(patienceMs)) {
        }
        client->disconnectFromHost();
        listener.close();
    }

    QTcpServer listener;
    std::unique_ptr<QThread> thread;
};

class TransferTest : public testing::Test
{
protected:
    TransferTest() { Interruption::Watch(); }

    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};
    const QCoreApplication application{argc, argv};
    QNetworkAccessManager manager;
    const Transfer::Progress nobody;
};

QByteArray Body()
{
    return QByteArray(6 << 20, 'x');
}

TEST_F(TransferTest, HeadThatThisThreadSeesLateIsNotTakenForAnEndlessOne)
{
    const Answering device("HTTP/1.1 200 OK\r\n\r\n" + Body());
    const BytesRead read(device.port);
    Transfer transfer(manager.get(device.Request()), {}, nobody);
    while (read.MostOfOneConnection() < 4 * HeadWatch::longestHead) {
        QThread::msleep(1); // without looking at events
    }
    EXPECT_EQ(transfer.Await().body.size(), Body().size());
}

} // namespace
