#include "transfer.h"

#include <QEventLoop>
#include <QNetworkReply>

#include "clienterror.h"

namespace {

constexpr int statusDone = 200;

int StatusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
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
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral("nothing arrived for too long");
    case QNetworkReply::UnknownNetworkError:
        return QStringLiteral("the connection was closed");
    default:
        return reply.errorString();
    }
}

// Only a request of which nothing has passed may never have reached the device.
bool NeverConnected(const QNetworkReply &reply, bool bytesPassed)
{
    return !bytesPassed && StatusOf(reply) == 0 &&
           reply.error() != QNetworkReply::RemoteHostClosedError &&
           reply.error() < QNetworkReply::ContentAccessDenied;
}

ClientError TransportFailure(const QNetworkReply &reply, bool bytesPassed)
{
    const QString device = reply.url().authority();
    if (NeverConnected(reply, bytesPassed)) {
        return {ExitStatus::CannotConnect,
                QString("cannot connect to %1: %2").arg(device, Reason(reply))};
    }
    return {ExitStatus::TransferCorrupt,
            QString("the transfer with %1 broke off: %2").arg(device, Reason(reply))};
}

} // namespace

Transfer::Transfer(QNetworkReply *startedReply, QIODevice *bodySink, const Progress &progressOfBody)
    : reply(startedReply)
    , sink(bodySink)
    , progress(progressOfBody)
{
    // How much Qt reads ahead of us: enough for speed, and what bounds the memory of a download.
    constexpr qint64 readAhead = 4 << 20;
    QNetworkReply *const source = reply.get();
    QObject::connect(source, &QNetworkReply::readyRead, source, [this] { Take(); });
    QObject::connect(source, &QNetworkReply::uploadProgress, source,
                     [this](qint64 sent, qint64) { TellSent(sent); });
    if (sink != nullptr) {
        source->setReadBufferSize(readAhead);
    }
}

Transfer::~Transfer() = default;

Transfer::Answer Transfer::Await()
{
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (!sinkFailed) {
        Take();
    }
    if (sinkFailed) {
        throw ClientError(ExitStatus::LocalFailure,
                          QString("cannot write the file: %1").arg(sink->errorString()));
    }
    if (BrokeOff(*reply)) {
        throw TransportFailure(*reply, bytesPassed);
    }
    answer.status = StatusOf(*reply);
    return answer;
}

void Transfer::Take()
{
    const QByteArray bytes = reply->readAll();
    bytesPassed = bytesPassed || !bytes.isEmpty();
    if (sink == nullptr || StatusOf(*reply) != statusDone) {
        answer.body += bytes;
    } else {
        WriteToSink(bytes);
    }
}

void Transfer::WriteToSink(const QByteArray &bytes)
{
    sinkFailed = sinkFailed || sink->write(bytes) != bytes.size();
    if (!sinkFailed) {
        received += bytes.size();
        progress(received);
    } else if (reply->isRunning()) {
        reply->abort();
    }
}

void Transfer::TellSent(qint64 sent)
{
    bytesPassed = bytesPassed || sent > 0;
    if (progress && sink == nullptr) {
        progress(sent);
    }
}
