#include <gtest/gtest.h>

#include <QTcpServer>
#include <QTcpSocket>
#include <memory>

#include <headwatch.h>

namespace {

constexpr int patienceMs = 60000;
constexpr int manyBytes = 100000;

// A device in this process. Only what its clients read counts.
class BytesReadTest : public testing::Test
{
protected:
    BytesReadTest() { device.listen(QHostAddress::LocalHost); }

    std::unique_ptr<QTcpSocket> Client()
    {
        auto client = std::make_unique<QTcpSocket>();
        client->connectToHost(QHostAddress::LocalHost, device.serverPort());
        EXPECT_TRUE(client->waitForConnected(patienceMs));
        EXPECT_TRUE(device.waitForNewConnection(patienceMs));
        lastAccepted = device.nextPendingConnection();
        return client;
    }

    void Send(int bytes)
    {
        lastAccepted->write(QByteArray(bytes, 'x'));
        while (lastAccepted->bytesToWrite() > 0) {
            ASSERT_TRUE(lastAccepted->waitForBytesWritten(patienceMs));
        }
    }

    static void Read(QTcpSocket *client, int bytes)
    {
        while (client->bytesAvailable() < bytes) {
            ASSERT_TRUE(client->waitForReadyRead(patienceMs));
        }
    }

    QTcpServer device;
    QTcpSocket *lastAccepted = nullptr;
};

TEST_F(BytesReadTest, NothingWithoutAConnection)
{
    EXPECT_EQ(BytesRead(device.serverPort()).MostOfOneConnection(), 0);
}

TEST_F(BytesReadTest, WhatANewConnectionRead)
{
    const BytesRead read(device.serverPort());
    const auto client = Client();
    Send(manyBytes);
    Read(client.get(), manyBytes);
    EXPECT_EQ(read.MostOfOneConnection(), manyBytes);
}

TEST_F(BytesReadTest, WhatWaitsInTheKernelDoesNotCount)
{
    const BytesRead read(device.serverPort());
    const auto client = Client();
    client->setReadBufferSize(1000);
    Send(manyBytes);
    Read(client.get(), 1000);
    EXPECT_EQ(read.MostOfOneConnection(), 1000);
}

TEST_F(BytesReadTest, ConnectionThatStaysOpenCountsFromNowOn)
{
    const auto lingering = Client();
    Send(manyBytes);
    Read(lingering.get(), manyBytes);
    const BytesRead read(device.serverPort());
    EXPECT_EQ(read.MostOfOneConnection(), 0);
    Send(7);
    Read(lingering.get(), manyBytes + 7);
    EXPECT_EQ(read.MostOfOneConnection(), 7);
}

TEST_F(BytesReadTest, ConnectionsAreNotAddedUp)
{
    const BytesRead read(device.serverPort());
    const auto first = Client();
    Send(manyBytes);
    Read(first.get(), manyBytes);
    const auto second = Client();
    Send(manyBytes);
    Read(second.get(), manyBytes);
    EXPECT_EQ(read.MostOfOneConnection(), manyBytes);
}

TEST_F(BytesReadTest, DescriptorThatIsUsedAgainCountsFromItsStart)
{
    auto first = Client();
    Send(manyBytes);
    Read(first.get(), manyBytes);
    const qintptr descriptor = first->socketDescriptor();
    const BytesRead read(device.serverPort());
    first->abort();
    const auto second = Client();
    ASSERT_EQ(second->socketDescriptor(), descriptor);
    Send(manyBytes);
    Read(second.get(), manyBytes);
    EXPECT_EQ(read.MostOfOneConnection(), manyBytes);
}

TEST_F(BytesReadTest, OtherPortsDoNotCount)
{
    QTcpServer other;
    other.listen(QHostAddress::LocalHost);
    const BytesRead read(other.serverPort());
    const auto client = Client();
    Send(manyBytes);
    Read(client.get(), manyBytes);
    EXPECT_EQ(read.MostOfOneConnection(), 0);
}

} // namespace
