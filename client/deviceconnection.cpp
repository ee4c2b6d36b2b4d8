#include "deviceconnection.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHttpMultiPart>
#include <QJsonArray>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <algorithm>
#include <memory>

#include "clienterror.h"
#include "interruption.h"
#include "receivedjson.h"

namespace {

constexpr int statusFailed = 500;

// The first part of an error page, on one line and without its mark-up.
QString Excerpt(const QByteArray &page)
{
    constexpr int looked = 4096;
    constexpr int longest = 200;
    static const QRegularExpression markUp("<[^>]*>|<!--.*?-->");
    return QString::fromUtf8(page.left(looked)).replace(markUp, " ").simplified().left(longest);
}

// The device gave up waiting: for its turn, or for its own answer, which takes longer than its time
// limit when a file of many gigabytes is summed up for the first time.
bool IsBusy(int status, const QByteArray &page)
{
    return status == statusBusy || (status == statusFailed && page.contains("internal timeout"));
}

ClientError NotServed(int status, const QByteArray &page)
{
    const QString text = Excerpt(page);
    return {ExitStatus::DeviceRefused,
            text.isEmpty() ? QString("the device answered with status %1").arg(status) : text};
}

void RequireWhole(const Transfer::Answer &answer, const QUrl &device)
{
    if (answer.body.size() > Transfer::longestDocument) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("the answer of %1 is longer than %2 MiB, which only that to "
                                  "\"files get\" may be; fetch it with curl")
                              .arg(device.authority())
                              .arg(Transfer::longestDocument >> 20));
    }
}

void RequireBearable(bool isBearable, const QUrl &device)
{
    if (!isBearable) {
        throw ClientError(
            ExitStatus::TransferCorrupt,
            QString("the answer of %1 is denser than a list of 50,000 files, or has a text of more "
                    "than %2 MB, or an object with a key twice: delete some, or fetch it with curl")
                .arg(device.authority())
                .arg(ReceivedJson::longestText / 1'000'000));
    }
}

QJsonDocument ParsedAnswer(const QByteArray &json)
{
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        throw ClientError(ExitStatus::TransferCorrupt,
                          QString("the answer is not JSON: %1").arg(error.errorString()));
    }
    if (DeviceConnection::IsErrorObject(document)) {
        throw DeviceRefusal(document.object().value("errorMessage").toString());
    }
    return document;
}

// What is shown of a body by --trace.
QString Shortened(const QByteArray &body)
{
    constexpr int longest = 4096;
    const QString text = QString::fromUtf8(body.left(longest)).simplified();
    return body.size() > longest ? QString("%1 ... (%2 bytes)").arg(text).arg(body.size()) : text;
}

// Leaves the choice to the proxy of the application.
class ApplicationProxy : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &) override
    {
        return {QNetworkProxy(QNetworkProxy::DefaultProxy)};
    }
};

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
    // Directly, and in large pieces: with NoProxy here Qt reads a head byte by byte from the
    // socket.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    manager.setProxyFactory(new ApplicationProxy);
}

const DeviceConnection::Settings &DeviceConnection::ItsSettings() const
{
    return settings;
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
    return Json(Simple({"GET", route, {}}));
}

bool DeviceConnection::GetList(const QByteArray &route, const QByteArray &key,
                               const std::function<void(const QJsonObject &)> &take)
{
    const Transfer::Answer answer = Simple({"GET", route, {}});
    RequireWholeSuccess(answer);
    RequireBearable(ReceivedJson::IsBearableList(answer.body), settings.device);
    const ReceivedJson::List list(answer.body, key);
    const auto parse = [this](const QByteArray &json) {
        RequireBearable(ReceivedJson::IsBearable(json), settings.device);
        return ParsedAnswer(json);
    };
    const QJsonDocument frame = parse(list.Frame());
    const QJsonValue found = key.isEmpty() ? frame.array() : frame.object().value(key);
    if ((key.isEmpty() && !frame.isArray()) || !found.isArray() || !found.toArray().isEmpty()) {
        return false;
    }
    list.ForEach([&](const QByteArray &element) {
        QByteArray document("["); // an element alone may be none
        document += element;
        document += ']';
        take(parse(document).array().first().toObject());
    });
    return true;
}

QJsonDocument DeviceConnection::Put(const QByteArray &route, const QByteArray &body)
{
    return Json(Simple({"PUT", route, body}));
}

void DeviceConnection::PutForEmptyAnswer(const QByteArray &route)
{
    ExpectEmptyObject(Simple({"PUT", route, {}}));
}

void DeviceConnection::PostForEmptyAnswer(const QByteArray &route, const QByteArray &body)
{
    ExpectEmptyObject(Simple({"POST", route, body}));
}

void DeviceConnection::DeleteForEmptyAnswer(const QByteArray &route)
{
    ExpectEmptyObject(Simple({"DELETE", route, {}}));
}

Transfer::Answer DeviceConnection::Any(const QByteArray &method, const QByteArray &route,
                                       const QByteArray &body)
{
    Transfer::Answer answer = Simple({method, route, body});
    RequireWhole(answer, settings.device);
    return answer;
}

void DeviceConnection::Download(const QByteArray &route, QFile &sink, qint64 announced,
                                const Progress &progress)
{
    const auto start = [&] {
        sink.seek(0);
        sink.resize(0);
        return manager.get(RequestFor(route));
    };
    const Transfer::Answer answer =
        Exchange({"GET", route, {}}, start, BreakOff::IsRetried, {&sink, announced}, progress);
    if (answer.status != statusDone) {
        throw NotServed(answer.status, answer.body);
    }
}

void DeviceConnection::Upload(const QByteArray &route, const QJsonObject &description,
                              QFile &source, const Progress &progress)
{
    const auto start = [&] { return StartUpload(route, description, source); };
    const QByteArray body = QJsonDocument(description).toJson(QJsonDocument::Compact);
    // A busy device answers and closes before it has read the body, and that answer can be lost.
    ExpectEmptyObject(Exchange({"POST", route, body}, start, BreakOff::IsRetried, {}, progress));
}

Transfer::Answer DeviceConnection::Simple(const Request &request)
{
    const auto start = [&]() -> QNetworkReply * {
        const QNetworkRequest wanted = RequestFor(request.route);
        if (request.method == "GET") {
            return manager.get(wanted);
        }
        return manager.sendCustomRequest(wanted, request.method, request.body);
    };
    return Exchange(request, start, BreakOff::Fails, {}, {});
}

DeviceConnection::Hurry::Hurry(DeviceConnection &hurriedConnection)
    : connection(hurriedConnection)
    , retries(connection.settings.retries)
    , timeoutMs(connection.settings.timeoutMs)
{
    constexpr int patienceMs = 3000;
    connection.settings.retries = 0;
    connection.settings.timeoutMs = std::min(timeoutMs, patienceMs);
}

DeviceConnection::Hurry::~Hurry()
{
    connection.settings.retries = retries;
    connection.settings.timeoutMs = timeoutMs;
}

QNetworkRequest DeviceConnection::RequestFor(const QByteArray &route) const
{
    QNetworkRequest request(QUrl::fromEncoded(settings.device.toEncoded() + route));
    // Bytes as they are: the device does not compress, so a coded answer would be a broken one.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("Connection", "close");
    request.setHeader(QNetworkRequest::UserAgentHeader, "parlowenctl/" PARLOWENCTL_VERSION);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
    request.setSslConfiguration(settings.tls);
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

Transfer::Answer DeviceConnection::Exchange(const Request &request, const Start &start,
                                            BreakOff breakOff, const Transfer::Sink &sink,
                                            const Progress &progress)
{
    for (int attempt = 0;; ++attempt) {
        try {
            Transfer::Answer answer = Try(request, start, sink, progress);
            if (!IsBusy(answer.status, answer.body) || attempt >= settings.retries) {
                return answer;
            }
            Pause(attempt, QStringLiteral("the device is busy"));
        } catch (const Interrupted &) {
            throw;
        } catch (const ClientError &error) {
            if (breakOff == BreakOff::Fails || error.Status() != ExitStatus::TransferCorrupt ||
                attempt >= settings.retries) {
                throw;
            }
            Pause(attempt, error.Message());
        }
    }
}

Transfer::Answer DeviceConnection::Try(const Request &request, const Start &start,
                                       const Transfer::Sink &sink, const Progress &progress)
{
    Interruption::ThrowIfAny();
    if (progress) {
        progress(0);
    }
    if (!settings.trace) {
        return Once(start, sink, progress);
    }
    settings.trace("> " + request.method + ' ' + settings.device.toEncoded() + request.route);
    if (!request.body.isEmpty()) {
        settings.trace("> " + Shortened(request.body));
    }
    QElapsedTimer clock;
    clock.start();
    try {
        Transfer::Answer answer = Once(start, sink, progress);
        settings.trace(QString("< status %1 after %2 ms").arg(answer.status).arg(clock.elapsed()));
        settings.trace("< " + (sink.device != nullptr && answer.body.isEmpty()
                                   ? QString("%1 bytes of a file").arg(sink.device->pos())
                                   : Shortened(answer.body)));
        return answer;
    } catch (const ClientError &error) {
        settings.trace(QString("! %1 after %2 ms").arg(error.Message()).arg(clock.elapsed()));
        throw;
    }
}

Transfer::Answer DeviceConnection::Once(const Start &start, const Transfer::Sink &sink,
                                        const Progress &progress)
{
    ForgetConnection();
    connectionMayBeOpen = true;
    Transfer::Answer answer = Transfer(start(), sink, progress).Await();
    connectionMayBeOpen = !answer.closesConnection;
    return answer;
}

// A connection that the device closes and Qt has not seen closed yet would take the next request
// and send it twice. After an answer that says so Qt closes it by itself; forgetting it always
// would cost a thread for each request.
void DeviceConnection::ForgetConnection()
{
    if (connectionMayBeOpen) {
        manager.clearConnectionCache();
    }
}

QJsonDocument DeviceConnection::Json(const Transfer::Answer &answer) const
{
    RequireWholeSuccess(answer);
    RequireBearable(ReceivedJson::IsBearable(answer.body), settings.device);
    return ParsedAnswer(answer.body);
}

void DeviceConnection::RequireWholeSuccess(const Transfer::Answer &answer) const
{
    if (answer.status != statusDone) {
        throw NotServed(answer.status, answer.body);
    }
    RequireWhole(answer, settings.device);
}

void DeviceConnection::ExpectEmptyObject(const Transfer::Answer &answer) const
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
    const int pauseMs = 500 << std::min(attempt, longestDoubling);
    if (settings.notice) {
        settings.notice(QString("%1; trying again in %2 s")
                            .arg(reason)
                            .arg(static_cast<double>(pauseMs) / 1000));
    }
    Interruption::Pause(pauseMs);
}
