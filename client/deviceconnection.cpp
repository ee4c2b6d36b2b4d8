#include "deviceconnection.h"

#include <QEventLoop>
#include <QFile>
#include <QHttpMultiPart>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>
#include <algorithm>
#include <memory>

#include "clienterror.h"

namespace {

constexpr int statusDone = 200;
constexpr int statusBusy = 408;
constexpr int statusFailed = 500;
// How much Qt reads ahead of us: enough for speed, and what bounds the memory of a download.
constexpr qint64 readAhead = 4 << 20;

int StatusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// The first part of an error page, on one line.
QString Excerpt(const QByteArray &page)
{
    constexpr int longest = 200;
    return QString::fromUtf8(page.left(longest)).simplified();
}

// The device gave up waiting: for its turn, or for its own answer, which takes longer than its time
// limit when a file of many gigabytes is summed up for the first time.
bool IsBusy(int status, const QByteArray &page)
{
    return status == statusBusy || (status == statusFailed && page.contains("internal timeout"));
}

ClientError Refusal(int status, const QByteArray &page)
{
    const QString text = Excerpt(page);
    return {ExitStatus::DeviceRefused,
            text.isEmpty() ? QString("the device answered with status %1").arg(status) : text};
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

QHttpPart FormPart(const char *disposition, const char *contentType)
{
    QHttpPart part;
    part.setRawHeader("Content-Disposition", disposition);
    part.setRawHeader("Content-Type", contentType);
    return part;
}

} // namespace

DeviceConnection::DeviceConnection(Settings connectionSettings)
    : settings(std::move(connectionSettings))
{
    manager.setProxy(QNetworkProxy::NoProxy);
}

QByteArray DeviceConnection::Route(const char *prefix, const QString &name)
{
    return prefix + QUrl::toPercentEncoding(name, "/");
}

bool DeviceConnection::IsErrorObject(const QJsonDocument &document)
{
    const QJsonObject object = document.object();
    return object.size() == 1 && object.value("errorMessage").isString();
}

QJsonDocument DeviceConnection::Get(const QByteArray &route)
{
    const auto start = [&] { return manager.get(RequestFor(route)); };
    return Json(Exchange(start, BreakOff::Fails, nullptr, {}));
}

QJsonDocument DeviceConnection::Put(const QByteArray &route, const QByteArray &body)
{
    const auto start = [&] { return manager.put(RequestFor(route), body); };
    return Json(Exchange(start, BreakOff::Fails, nullptr, {}));
}

void DeviceConnection::PutForEmptyAnswer(const QByteArray &route)
{
    const auto start = [&] { return manager.put(RequestFor(route), QByteArray()); };
    ExpectEmptyObject(Exchange(start, BreakOff::Fails, nullptr, {}));
}

void DeviceConnection::PostForEmptyAnswer(const QByteArray &route, const QByteArray &body)
{
    const auto start = [&] { return manager.post(RequestFor(route), body); };
    ExpectEmptyObject(Exchange(start, BreakOff::Fails, nullptr, {}));
}

void DeviceConnection::DeleteForEmptyAnswer(const QByteArray &route)
{
    const auto start = [&] { return manager.deleteResource(RequestFor(route)); };
    ExpectEmptyObject(Exchange(start, BreakOff::Fails, nullptr, {}));
}

void DeviceConnection::Download(const QByteArray &route, QIODevice &sink, const Progress &progress)
{
    const auto start = [&] { return manager.get(RequestFor(route)); };
    const Answer answer = Exchange(start, BreakOff::Fails, &sink, progress);
    if (answer.status != statusDone) {
        throw Refusal(answer.status, answer.body);
    }
}

void DeviceConnection::Upload(const QByteArray &route, const QJsonObject &description,
                              QFile &source, const Progress &progress)
{
    const auto start = [&] { return StartUpload(route, description, source); };
    // A busy device answers and closes before it has read the body, and that answer can be lost.
    ExpectEmptyObject(Exchange(start, BreakOff::IsRetried, nullptr, progress));
}

QNetworkRequest DeviceConnection::RequestFor(const QByteArray &route) const
{
    QNetworkRequest request(QUrl::fromEncoded(settings.device.toEncoded() + route));
    // Bytes as they are: the device does not compress, so a coded answer would be a broken one.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("Connection", "close");
    request.setHeader(QNetworkRequest::UserAgentHeader, "parlowenctl/" PARLOWENCTL_VERSION);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
    request.setTransferTimeout(settings.timeoutMs);
    return request;
}

QNetworkReply *DeviceConnection::StartUpload(const QByteArray &route,
                                             const QJsonObject &description, QFile &source)
{
    source.seek(0);
    QHttpPart metadata = FormPart("form-data; name=\"metadata\"", "application/json");
    metadata.setBody(QJsonDocument(description).toJson(QJsonDocument::Compact));
    QHttpPart content = FormPart("form-data; name=\"file\"", "application/octet-stream");
    content.setBodyDevice(&source);

    auto form = std::make_unique<QHttpMultiPart>(QHttpMultiPart::FormDataType);
    form->append(metadata);
    form->append(content);
    QNetworkRequest request = RequestFor(route);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QVariant());
    QNetworkReply *reply = manager.post(request, form.get());
    form.release()->setParent(reply);
    return reply;
}

DeviceConnection::Answer DeviceConnection::Exchange(const Start &start, BreakOff breakOff,
                                                    QIODevice *sink, const Progress &progress)
{
    for (int attempt = 0;; ++attempt) {
        // The device closes each connection. One that Qt has not seen closed yet would take the
        // next request and send it twice.
        manager.clearConnectionCache();
        try {
            Answer answer = Attempt(start(), sink, progress);
            if (!IsBusy(answer.status, answer.body) || attempt >= settings.retries) {
                return answer;
            }
            Pause(attempt, QStringLiteral("the device is busy"));
        } catch (const ClientError &error) {
            if (breakOff == BreakOff::Fails || error.Status() != ExitStatus::TransferCorrupt ||
                attempt >= settings.retries) {
                throw;
            }
            Pause(attempt, error.Message());
        }
    }
}

DeviceConnection::Answer DeviceConnection::Attempt(QNetworkReply *startedReply, QIODevice *sink,
                                                   const Progress &progress) const
{
    Answer answer;
    qint64 received = 0;
    bool bytesPassed = false;
    bool sinkFailed = false;
    QEventLoop loop;
    const std::unique_ptr<QNetworkReply> reply(startedReply);
    const auto take = [&] {
        const QByteArray bytes = reply->readAll();
        bytesPassed = bytesPassed || !bytes.isEmpty();
        if (sink == nullptr || StatusOf(*reply) != statusDone) {
            answer.body += bytes;
            return;
        }
        sinkFailed = sinkFailed || sink->write(bytes) != bytes.size();
        if (sinkFailed && reply->isRunning()) {
            reply->abort();
            return;
        }
        received += bytes.size();
        progress(received);
    };
    QObject::connect(reply.get(), &QNetworkReply::readyRead, take);
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(reply.get(), &QNetworkReply::uploadProgress, [&](qint64 sent, qint64) {
        bytesPassed = bytesPassed || sent > 0;
        if (progress && sink == nullptr) {
            progress(sent);
        }
    });
    if (sink != nullptr) {
        reply->setReadBufferSize(readAhead);
    }
    loop.exec();
    if (!sinkFailed) {
        take();
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

QJsonDocument DeviceConnection::Json(const Answer &answer) const
{
    if (answer.status != statusDone) {
        throw Refusal(answer.status, answer.body);
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer.body, &error);
    if (error.error != QJsonParseError::NoError) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("the answer is not JSON: %1").arg(error.errorString()));
    }
    if (IsErrorObject(document)) {
        const QString text = document.object().value("errorMessage").toString();
        throw ClientError(ExitStatus::DeviceRefused,
                          text.isEmpty() ? QString("the device gave no reason") : text);
    }
    return document;
}

void DeviceConnection::ExpectEmptyObject(const Answer &answer) const
{
    const QJsonDocument document = Json(answer);
    if (!document.isObject() || !document.object().isEmpty()) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QStringLiteral("the answer is not the one to this request"));
    }
}

void DeviceConnection::Pause(int attempt, const QString &reason) const
{
    constexpr int longestDoubling = 4;
    const unsigned long pauseMs = 500UL << std::min(attempt, longestDoubling);
    if (settings.notice) {
        settings.notice(QString("%1; trying again in %2 s")
                            .arg(reason)
                            .arg(static_cast<double>(pauseMs) / 1000));
    }
    QThread::msleep(pauseMs);
}
