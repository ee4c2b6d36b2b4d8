#include "rawclient.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

RawClient::RawClient(int port)
    : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const timeval limit{60, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        Close();
    }
}

RawClient::~RawClient()
{
    Close();
}

void RawClient::Close()
{
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    descriptor = -1;
}

bool RawClient::Send(const std::string &bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            ::send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<size_t>(count);
    }
    return true;
}

void RawClient::EndSending()
{
    ::shutdown(descriptor, SHUT_WR);
}

std::string RawClient::Receive(size_t limit)
{
    std::string bytes(limit, '\0');
    const ssize_t count = ::recv(descriptor, &bytes[0], bytes.size(), 0);
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
}

std::string RawClient::ReceiveAll()
{
    std::string all;
    for (;;) {
        const std::string piece = Receive(1 << 20);
        if (piece.empty()) {
            return all;
        }
        all += piece;
    }
}

void RawClient::Vanish()
{
    const linger atOnce{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Close();
}

std::string Exchange(const std::string &request, int port)
{
    RawClient client(port);
    if (!client.Connected()) {
        return "not connected";
    }
    client.Send(request);
    return client.ReceiveAll();
}

std::string Request(const std::string &method, const std::string &uri, const std::string &body)
{
    return method + " " + uri +
           " HTTP/1.1\r\nHost: device\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

std::string WithoutDate(const std::string &response)
{
    const std::string name = "\r\nDate: ";
    const size_t length = std::string("Sat, 21 Nov 2026 05:17:33 GMT").size();
    const size_t begin = response.find(name);
    if (begin == std::string::npos ||
        response.compare(begin + name.size() + length - 4, 6, " GMT\r\n") != 0) {
        return response;
    }
    return std::string(response).replace(begin + name.size(), length, "*");
}

std::string BodyOf(const std::string &response)
{
    const size_t end = response.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : response.substr(end + 4);
}

std::string DecodeChunks(const std::string &body)
{
    std::string decoded;
    size_t position = 0;
    for (;;) {
        const size_t lineEnd = body.find("\r\n", position);
        if (lineEnd == std::string::npos) {
            return "broken";
        }
        const size_t size = std::strtoul(body.c_str() + position, nullptr, 16);
        const size_t begin = lineEnd + 2;
        if (begin + size > body.size() || body.compare(begin + size, 2, "\r\n") != 0) {
            return "broken";
        }
        if (size == 0) {
            return begin + 2 == body.size() ? decoded : "broken";
        }
        decoded.append(body, begin, size);
        position = begin + size + 2;
    }
}
