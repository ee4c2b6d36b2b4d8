#include "servicewatchdog.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// How long the manager waits for a sign of this process; 0 when it does not.
std::chrono::microseconds ManagersPatience()
{
    const QByteArray process = qgetenv("WATCHDOG_PID");
    const bool isMeant = process.isEmpty() || process.toLongLong() == getpid();
    return std::chrono::microseconds(isMeant ? qgetenv("WATCHDOG_USEC").toLongLong() : 0);
}

} // namespace

ServiceWatchdog::ServiceWatchdog()
    : manager(qgetenv("NOTIFY_SOCKET"))
{
    Tell("READY=1");
    const auto half = std::chrono::duration_cast<std::chrono::milliseconds>(ManagersPatience() / 2);
    if (half.count() > 0) {
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] { Tell("WATCHDOG=1"); });
        timer.start(half);
    }
}

ServiceWatchdog::~ServiceWatchdog()
{
    Tell("STOPPING=1");
}

// A name that begins with "@" stands for one that is in no folder and begins with NUL.
void ServiceWatchdog::Tell(const QByteArray &state) const
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const auto length = static_cast<size_t>(manager.size());
    if (manager.isEmpty() || length > sizeof address.sun_path) {
        return;
    }
    std::memcpy(address.sun_path, manager.constData(), length);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const int messages = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sendto(messages, state.constData(), static_cast<size_t>(state.size()),
           MSG_NOSIGNAL | MSG_DONTWAIT, reinterpret_cast<const sockaddr *>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
    if (messages >= 0) {
        close(messages);
    }
}
