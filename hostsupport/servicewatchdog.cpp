#include "servicewatchdog.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr const char *sign = "WATCHDOG=1";

// Half of the time for which the manager waits for a sign of this process; 0 when it does not.
milliseconds TimeBetweenSigns()
{
    const QByteArray process = qgetenv("WATCHDOG_PID");
    const bool isMeant = process.isEmpty() || process.toLongLong() == getpid();
    const microseconds patience(isMeant ? qgetenv("WATCHDOG_USEC").toLongLong() : 0);
    return std::chrono::duration_cast<milliseconds>(patience / 2);
}

// A name that begins with "@" stands for one that is in no folder and begins with NUL.
void Tell(const QByteArray &state)
{
    const QByteArray manager = qgetenv("NOTIFY_SOCKET");
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

} // namespace

ServiceWatchdog::ServiceWatchdog()
{
    Tell("READY=1");
    const milliseconds interval = TimeBetweenSigns();
    if (interval.count() > 0) {
        QObject::connect(&timer, &QTimer::timeout, &timer, [] { Tell(sign); });
        timer.start(interval);
    }
}

ServiceWatchdog::~ServiceWatchdog()
{
    Tell("STOPPING=1");
}

void ServiceWatchdog::TellProgress()
{
    const auto now = std::chrono::steady_clock::now();
    static auto last = now; // used by the thread that serves
    const milliseconds interval = TimeBetweenSigns();
    if (interval.count() > 0 && now - last >= interval) {
        last = now;
        Tell(sign);
    }
}
