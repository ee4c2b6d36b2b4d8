#include "httpexchange.h"

#include <QNetworkProxy>

#include "checkinterruption.h"
#include "jsonsyntax.h"

namespace {

// So often is looked whether the user wants to stop.
constexpr int readSliceMs = 100;
constexpr int usualPort = 8081;
constexpr int longestHeadRead = 256 * 1024;

int StatusIn(const QByteArray &head)
{
    const QList<QByteArray> words = head.left(head.indexOf("\r\n")).split(' ');
    return words.size() > 1 && words.first().startsWith("HTTP/1.") ? words.at(1).toInt() : 0;
}

} // namespace

QByteArray HttpAnswer::Header(const QByteArray &name) const
{
    const QList<QByteArray> lines = head.split('\n');
    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().toLower() == name) {
            return line.mid(colon + 1).trimmed();
        }
    }
    return {};
}

QJsonDocument HttpAnswer::Json(QString *whyNone) const
{
    if (RepeatsKeyOfJson(body)) {
        *whyNone = QStringLiteral("an object of the answer has a key twice");
        return {};
    }
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        *whyNone = QStringLiteral("the answer is not JSON: ") + error.errorString();
    }
    return document;
}

HttpExchange::HttpExchange(const Target &exchangeTarget)
    : target(exchangeTarget)
{
    socket.setProxy(QNetworkProxy::NoProxy);
}

bool HttpExchange::Connect()
{
    started.start();
    const auto port = static_cast<quint16>(target.device.port(usualPort));
    if (target.device.scheme() == "https") {
        socket.setSslConfiguration(target.encryption);
        socket.connectToHostEncrypted(target.device.host(), port);
        return socket.waitForEncrypted(target.timeoutMs);
    }
    socket.connectToHost(target.device.host(), port);
    return socket.waitForConnected(target.timeoutMs);
}

QByteArray HttpExchange::Text(const HttpRequest &request) const
{
    QByteArray text = request.method + ' ' + request.route + " HTTP/1.1\r\nHost: " +
                      target.device.authority(QUrl::FullyEncoded).toLatin1() +
                      "\r\nConnection: close\r\n";
    if (!request.body.isEmpty() || request.method == "POST" || request.method == "PUT") {
        text += "Content-Type: " + request.contentType +
                "\r\nContent-Length: " + QByteArray::number(request.body.size()) + "\r\n";
    }
    return text + "\r\n" + request.body;
}

void HttpExchange::Send(const QByteArray &bytes)
{
    socket.write(bytes);
    QElapsedTimer silence;
    silence.start();
    while (socket.bytesToWrite() > 0 && socket.state() == QAbstractSocket::ConnectedState &&
           !silence.hasExpired(target.timeoutMs)) {
        CheckInterruption::ThrowIfRequested();
        if (socket.waitForBytesWritten(readSliceMs)) {
            silence.restart();
        }
    }
}

void HttpExchange::ReceiveSome(qint64 bytes)
{
    socket.setReadBufferSize(bytes);
    while (socket.bytesAvailable() < bytes && socket.waitForReadyRead(target.timeoutMs)) {
        CheckInterruption::ThrowIfRequested();
    }
    received += socket.read(bytes);
}

HttpAnswer HttpExchange::Receive(const QByteArray &method)
{
    socket.setReadBufferSize(0);
    HttpAnswer answer;
    if (ReceiveHead(answer)) {
        ReceiveBody(answer, method);
    }
    if (taken > longestAnswer) {
        answer.problem =
            QString("the answer is longer than %1 MiB").arg(longestAnswer / 1024 / 1024);
    }
    answer.milliseconds = started.elapsed();
    return answer;
}

void HttpExchange::Abort()
{
    socket.abort();
}

bool HttpExchange::AwaitMore()
{
    QElapsedTimer silence;
    silence.start();
    while (taken <= longestAnswer && !silence.hasExpired(target.timeoutMs)) {
        CheckInterruption::ThrowIfRequested();
        if (socket.bytesAvailable() > 0 || socket.waitForReadyRead(readSliceMs)) {
            const QByteArray piece = socket.readAll();
            taken += piece.size();
            received += piece;
            return true;
        }
        if (socket.state() != QAbstractSocket::ConnectedState) {
            return false;
        }
    }
    return false;
}

bool HttpExchange::ReceiveHead(HttpAnswer &answer)
{
    int end = received.indexOf("\r\n\r\n");
    while (end < 0) {
        if (!AwaitMore()) {
            answer.problem = received.isEmpty()
                                 ? QStringLiteral("no answer came")
                                 : QStringLiteral("the answer was cut within its headers");
            return false;
        }
        if (received.size() > longestHeadRead) {
            answer.problem = QStringLiteral("the headers of the answer are longer than 256 KiB");
            return false;
        }
        end = received.indexOf("\r\n\r\n");
    }
    answer.head = received.left(end + 2);
    answer.status = StatusIn(answer.head);
    received.remove(0, end + 4);
    if (answer.status == 0) {
        answer.problem = QStringLiteral("the answer does not begin with a status line");
    }
    return answer.status != 0;
}

void HttpExchange::ReceiveBody(HttpAnswer &answer, const QByteArray &method)
{
    bool known = false;
    const qint64 length = answer.Header("content-length").toLongLong(&known);
    if (answer.Header("transfer-encoding").toLower() == "chunked") {
        ReceiveChunks(answer);
    } else if (known && method != "HEAD") {
        ReceiveLength(answer, length);
    } else {
        ReceiveToTheEnd(answer);
    }
}

void HttpExchange::ReceiveLength(HttpAnswer &answer, qint64 length)
{
    while (received.size() < length && AwaitMore()) {
    }
    answer.body = received;
    if (received.size() != length) {
        answer.problem =
            QString("%1 bytes came where %2 were announced").arg(received.size()).arg(length);
    }
}

void HttpExchange::ReceiveChunks(HttpAnswer &answer)
{
    bool last = false;
    while (!last) {
        if (!TakeChunk(answer, &last) && !AwaitMore()) {
            answer.problem = QString("the answer was cut after %1 bytes").arg(answer.body.size());
            return;
        }
        if (!answer.problem.isEmpty()) {
            return;
        }
    }
}

bool HttpExchange::TakeChunk(HttpAnswer &answer, bool *last)
{
    const int lineEnd = received.indexOf("\r\n");
    if (lineEnd < 0) {
        return false;
    }
    bool valid = false;
    const int size = received.left(lineEnd).toInt(&valid, 16);
    if (!valid || size < 0) {
        answer.problem = QStringLiteral("a piece of the answer has no length");
        return true;
    }
    if (received.size() < lineEnd + 2 + size + 2) {
        return false;
    }
    answer.body += received.mid(lineEnd + 2, size);
    received.remove(0, lineEnd + 2 + size + 2);
    *last = size == 0;
    return true;
}

void HttpExchange::ReceiveToTheEnd(HttpAnswer &answer)
{
    while (AwaitMore()) {
    }
    answer.body = received;
}
