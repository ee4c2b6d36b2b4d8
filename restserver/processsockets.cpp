#include "processsockets.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstddef>
#include <fcntl.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// New descriptors get the lowest free number, so those of a server are far below this even in a
// process that may open a million.
constexpr rlim_t highestDescriptor = 65536;

union SocketAddress {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

int DescriptorLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(std::min(limit.rlim_cur, highestDescriptor));
}

int PortOf(const SocketAddress &address)
{
    switch (address.any.sa_family) {
    case AF_INET:
        return ntohs(address.v4.sin_port);
    case AF_INET6:
        return ntohs(address.v6.sin6_port);
    default:
        return 0;
    }
}

QByteArray AddressText(const SocketAddress &address)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (address.any.sa_family == AF_INET) {
        inet_ntop(AF_INET, &address.v4.sin_addr, text, sizeof text);
    } else {
        inet_ntop(AF_INET6, &address.v6.sin6_addr, text, sizeof text);
    }
    return text;
}

int LocalPort(int descriptor)
{
    SocketAddress address{};
    socklen_t length = sizeof address;
    return getsockname(descriptor, &address.any, &length) == 0 ? PortOf(address) : 0;
}

ino_t Identity(int descriptor)
{
    struct stat status
    {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode) ? status.st_ino : 0;
}

bool Listens(int descriptor)
{
    int value = 0;
    socklen_t length = sizeof value;
    return getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &value, &length) == 0 && value != 0;
}

// False when nobody is at the other end.
bool FillPeer(ProcessSocket *socket)
{
    SocketAddress address{};
    socklen_t length = sizeof address;
    if (getpeername(socket->descriptor, &address.any, &length) != 0) {
        return false;
    }
    socket->peer = PeerName(AddressText(address), PortOf(address));
    return true;
}

} // namespace

QVector<ProcessSocket> ListeningSockets()
{
    QVector<ProcessSocket> found;
    const int limit = DescriptorLimit();
    for (int descriptor = 0; descriptor < limit; ++descriptor) {
        const int port = LocalPort(descriptor);
        if (port != 0 && Listens(descriptor)) {
            found.append({descriptor, Identity(descriptor), port, QByteArray()});
        }
    }
    return found;
}

QVector<ProcessSocket> AcceptedSockets(const QVector<int> &localPorts)
{
    QVector<ProcessSocket> found;
    const int limit = DescriptorLimit();
    for (int descriptor = 0; descriptor < limit; ++descriptor) {
        ProcessSocket socket{descriptor, 0, LocalPort(descriptor), QByteArray()};
        if (socket.localPort != 0 && localPorts.contains(socket.localPort) && FillPeer(&socket)) {
            socket.identity = Identity(descriptor);
            found.append(socket);
        }
    }
    return found;
}

QByteArray PeerName(const QByteArray &address, int port)
{
    // Without the interface that a local address of IPv6 comes through: not everybody writes it.
    return address.mid(0, address.indexOf('%')) + ':' + QByteArray::number(port);
}

qint64 MovedBytes(const ProcessSocket &socket)
{
    tcp_info information{};
    socklen_t length = sizeof information;
    const int result = getsockopt(socket.descriptor, IPPROTO_TCP, TCP_INFO, &information, &length);
    // An old kernel fills less, and what it does not know must not look like a client that sleeps.
    if (result != 0 || length < offsetof(tcp_info, tcpi_bytes_received) + sizeof(__u64)) {
        return -1;
    }
    return static_cast<qint64>(information.tcpi_bytes_received + information.tcpi_bytes_acked);
}

bool HasUnreadBytes(const ProcessSocket &socket)
{
    int count = 0;
    return ioctl(socket.descriptor, FIONREAD, &count) == 0 && count > 0;
}

void ShutDown(const ProcessSocket &socket)
{
    // Not even a duplicate is made of a file of the host: to close it would release the file's
    // locks.
    if (Identity(socket.descriptor) != socket.identity) {
        return;
    }
    const int duplicate = fcntl(socket.descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) {
        return;
    }
    if (Identity(duplicate) == socket.identity) {
        shutdown(duplicate, SHUT_RDWR);
    }
    close(duplicate);
}
