#include "transfer.h"

#include <QEventLoop>
#include <QIODevice>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSocketNotifier>
#include <QTcpSocket>
#include <algorithm>

#include "clienterror.h"
#include "deviceaddress.h"
#include "interruption.h"

namespace {

// What a device may send, so that a broken or hostile one costs neither memory nor time.
constexpr int longestErrorPage = 64 << 10;

int StatusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Qt takes a connection that breaks for the end of the answer now and then.
bool IsShort(const QNetworkReply &reply, qint64 received)
{
    const QVariant announced = reply.header(QNetworkRequest::ContentLengthHeader);
    return announced.isValid() && received < announced.toLongLong();
}

// True for failures of the transport; false for answers whose status is not one of success.
bool BrokeOff(const QNetworkReply &reply)
{
    if (reply.error() == QNetworkReply::NoError) {
        return false;
    }
    const int status = StatusOf(reply);
    return status == 0 || status == statusDone;
}

QString Reason(const QNetworkReply &reply)
{
    switch (reply.error()) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("nothing listens on this port (connection refused)");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("no host has this name");
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        return QStringLiteral("nothing arrived for too long");
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("no TLS connection comes about; does this port serve https?");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("the connection was closed");
    default:
        return reply.errorString().contains("unreachable")
                   ? QStringLiteral("no route to the host: is it switched on and in this network?")
                   : QStringLiteral("the connection was closed");
    }
}

// A time limit that passes tells nothing of whether anybody took the connection; a second one does.
bool TakesConnections(const QUrl &device)
{
    constexpr int patienceMs = 1000;
    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(device.host(), static_cast<quint16>(device.port()));
    return socket.waitForConnected(patienceMs);
}

// Only a request of which nothing has passed may never have reached the device.
bool NeverConnected(const QNetworkReply &reply, bool bytesPassed)
{
    return !bytesPassed && StatusOf(reply) == 0 &&
           reply.error() != QNetworkReply::RemoteHostClosedError &&
           reply.error() < QNetworkReply::ContentAccessDenied;
}

ClientError TransportFailure(const QNetworkReply &reply, bool bytesPassed, const QString &distrust)
{
    const QString device = reply.url().authority();
    if (reply.error() == QNetworkReply::SslHandshakeFailedError && !distrust.isEmpty()) {
        return {ExitStatus::CannotConnect,
                QString("the certificate of %1 is not trusted: %2").arg(device, distrust)};
    }
    if (NeverConnected(reply, bytesPassed)) {
        if (reply.error() == QNetworkReply::OperationCanceledError &&
            TakesConnections(reply.url())) {
            return {ExitStatus::CannotConnect,
                    QString("connected to %1, but no answer within %2 s: is it busy, or another "
                            "kind of server?")
                        .arg(device)
                        .arg(reply.request().transferTimeout() / 1000)};
        }
        return {ExitStatus::CannotConnect,
                QString("cannot connect to %1: %2").arg(device, Reason(reply))};
    }
    return {ExitStatus::TransferCorrupt,
            QString("the transfer with %1 broke off: %2").arg(device, Reason(reply))};
}

ClientError HeadTooLong(const QNetworkReply &reply)
{
    return {ExitStatus::TransferCorrupt,
            QString("the head of the answer is longer than %1 KiB, which no device sends: is %2 "
                    "the address of the device?")
                .arg(HeadWatch::longestHead >> 10)
                .arg(reply.url().authority())};
}

} // namespace

Transfer::Transfer(QNetworkReply *startedReply, const Sink &bodySink,
                   const Progress &progressOfBody)
    : reply(startedReply)
    , sink(bodySink)
    , progress(progressOfBody)
    , headWatch(startedReply->url().port(), [this] { GiveUpHead(); })
{
    // How much Qt reads ahead of us: enough for speed, and what bounds the memory of a transfer.
    constexpr qint64 readAhead = 4 << 20;
    QNetworkReply *const source = reply.get();
    QObject::connect(source, &QNetworkReply::readyRead, source, [this] { Take(); });
    QObject::connect(source, &QNetworkReply::uploadProgress, source,
                     [this](qint64 sent, qint64) { TellSent(sent); });
    QObject::connect(source, &QNetworkReply::sslErrors, source,
                     [this](const QList<QSslError> &errors) {
                         distrust = TlsOptions::Explain(errors.first(), reply->url().host());
                     });
    QObject::connect(source, &QNetworkReply::metaDataChanged, source, [this] { headWatch.End(); });
    source->setReadBufferSize(readAhead);
}

Transfer::~Transfer() = default;

Transfer::Answer Transfer::Await()
{
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QSocketNotifier stop(Interruption::Descriptor(), QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, reply.get(), [this, &stop] {
        stop.setEnabled(false);
        reply->abort();
    });
    loop.exec();
    headWatch.End();
    Interruption::ThrowIfAny();
    if (headTooLong) {
        throw HeadTooLong(*reply);
    }
    if (!sinkFailed && !enough) {
        Take();
    }
    if (sinkFailed) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write %1: %2")
                              .arg(sink.device->objectName(), sink.device->errorString()));
    }
    if (!enough && (BrokeOff(*reply) || IsShort(*reply, arrived))) {
        throw TransportFailure(*reply, bytesPassed, distrust);
    }
    answer.status = StatusOf(*reply);
    answer.closesConnection = !enough && reply->rawHeader("Connection").toLower() == "close";
    return answer;
}

void Transfer::Take()
{
    if (enough || sinkFailed || !reply->isOpen()) {
        return;
    }
    const QByteArray bytes = reply->readAll();
    bytesPassed = bytesPassed || !bytes.isEmpty();
    arrived += bytes.size();
    if (sink.device == nullptr || StatusOf(*reply) != statusDone) {
        Keep(bytes);
    } else {
        WriteToSink(bytes);
    }
}

void Transfer::Keep(const QByteArray &bytes)
{
    const int longest = StatusOf(*reply) == statusDone ? longestDocument : longestErrorPage;
    answer.body += bytes.left(longest + 1 - answer.body.size());
    if (answer.body.size() > longest) {
        StopReading();
    }
}

void Transfer::WriteToSink(const QByteArray &bytes)
{
    const QByteArray wanted =
        bytes.left(static_cast<int>(std::min<qint64>(bytes.size(), sink.announced + 1 - received)));
    sinkFailed = sink.device->write(wanted) != wanted.size();
    if (!sinkFailed) {
        received += wanted.size();
        progress(received);
    }
    if (sinkFailed || received > sink.announced) {
        StopReading();
    }
}

void Transfer::StopReading()
{
    enough = !sinkFailed;
    if (reply->isRunning()) {
        reply->abort();
    }
}

void Transfer::GiveUpHead()
{
    headTooLong = true;
    reply->abort();
}

void Transfer::TellSent(qint64 sent)
{
    bytesPassed = bytesPassed || sent > 0;
    if (progress && sink.device == nullptr) {
        progress(sent);
    }
}
