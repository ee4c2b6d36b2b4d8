#include "terminationsignals.h"

#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace {

bool IsIgnored(int number)
{
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> onSignal)
    : callback(std::move(onSignal))
{
    sigset_t watched;
    sigemptyset(&watched);
    sigaddset(&watched, SIGINT);
    sigaddset(&watched, SIGTERM);
    if (!IsIgnored(SIGHUP)) { // as it is for programs that outlive their terminal
        sigaddset(&watched, SIGHUP);
    }
    pthread_sigmask(SIG_BLOCK, &watched, &formerMask);
    descriptor = signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK);
    notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [this] { Receive(); });
}

TerminationSignals::~TerminationSignals()
{
    // One that came too late for the event loop has nothing left to end.
    signalfd_siginfo pending = {};
    while (read(descriptor, &pending, sizeof pending) > 0) {
    }
    Release();
    notifier.reset();
    close(descriptor);
}

bool TerminationSignals::IsPending()
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1 ||
           sigismember(&pending, SIGHUP) == 1;
}

void TerminationSignals::Receive()
{
    signalfd_siginfo received = {};
    if (read(descriptor, &received, sizeof received) == static_cast<ssize_t>(sizeof received)) {
        Release();
        callback();
    }
}

void TerminationSignals::Release()
{
    pthread_sigmask(SIG_SETMASK, &formerMask, nullptr);
}
