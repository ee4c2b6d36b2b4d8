#include "promptreply.h"

#include <array>
#include <ctime>

#include "requestexchange.h"

namespace {

constexpr int largestAtOnce = 64 * 1024; // beyond it a copy of the body costs more than it saves

QByteArray Date()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text.data();
}

// As the embedded server writes it.
QByteArray Head(const mg_request_info &information, const RestServerResponseObject &response)
{
    return QByteArray("HTTP/") + information.http_version +
           " 200 OK\r\n"
           "Cache-Control: no-cache, no-store, must-revalidate, private, max-age=0\r\n"
           "Expires: 0\r\n"
           "Pragma: no-cache\r\n"
           "Content-Type: " +
           response.HeaderMimeType() +
           "\r\n"
           "Content-Length: " +
           QByteArray::number(response.ResponseDataChunk()->Data().size()) +
           "\r\n"
           "Date: " +
           Date() +
           "\r\n"
           "Connection: close\r\n"
           "\r\n";
}

} // namespace

qint64 SendReplyAtOnce(mg_connection *conn, const RestServerResponseObject &response)
{
    const QByteArray &body = response.ResponseDataChunk()->Data();
    if (body.isEmpty() || body.size() > largestAtOnce) {
        return SendWholeReply(conn, response);
    }
    const QByteArray reply = Head(*mg_get_request_info(conn), response) + body;
    mg_write(conn, reply.constData(), static_cast<size_t>(reply.size()));
    return body.size();
}
