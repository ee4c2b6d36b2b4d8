#include "headwatch.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

int PeerPort(int descriptor)
{
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &length) != 0) {
        return -1;
    }
    switch (peer.ss_family) {
    case AF_INET:
        return ntohs(reinterpret_cast<const sockaddr_in &>(peer).sin_port);
    case AF_INET6:
        return ntohs(reinterpret_cast<const sockaddr_in6 &>(peer).sin6_port);
    default:
        return -1;
    }
}

// A descriptor is used again for another connection; this number is not.
quint64 SocketNumber(int descriptor)
{
    struct stat status
    {};
    return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

qint64 ReadFrom(int descriptor)
{
    tcp_info info{};
    socklen_t length = sizeof info;
    int waiting = 0;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 ||
        ioctl(descriptor, FIONREAD, &waiting) != 0) {
        return 0;
    }
    return static_cast<qint64>(info.tcpi_bytes_received) - waiting;
}

} // namespace

BytesRead::BytesRead(int remotePort)
    : port(remotePort)
    , before(UntilNow(port))
{}

qint64 BytesRead::MostOfOneConnection() const
{
    qint64 most = 0;
    const BySocket now = UntilNow(port);
    for (auto socket = now.begin(); socket != now.end(); ++socket) {
        most = std::max(most, socket.value() - before.value(socket.key()));
    }
    return most;
}

BytesRead::BySocket BytesRead::UntilNow(int port)
{
    BySocket sockets;
    std::error_code none; // without the folder nothing is counted
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", none)) {
        const int descriptor = std::atoi(entry.path().filename().c_str());
        if (PeerPort(descriptor) == port) {
            sockets.insert(SocketNumber(descriptor), ReadFrom(descriptor));
        }
    }
    return sockets;
}

HeadWatch::HeadWatch(int port, std::function<void()> tooLong)
    : read(port)
    , giveUp(std::move(tooLong))
{
    constexpr int intervalMs = 5;
    timer.start(intervalMs, this);
}

void HeadWatch::End()
{
    ended = true;
    timer.stop();
}

// A head that has ended was announced to this thread before more than this was read: that is in the
// queue of events already, however late the thread gets there, and comes before what is put into it
// now.
void HeadWatch::timerEvent(QTimerEvent *)
{
    if (read.MostOfOneConnection() > longestHead) {
        timer.stop();
        QMetaObject::invokeMethod(
            this, [this] { GiveUp(); }, Qt::QueuedConnection);
    }
}

void HeadWatch::GiveUp()
{
    if (!ended) {
        End();
        giveUp();
    }
}
