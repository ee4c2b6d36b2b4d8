#include "terminationsignals.h"

#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

TerminationSignals::TerminationSignals(std::function<void()> onSignal)
    : callback(std::move(onSignal))
{
    sigset_t watched;
    sigemptyset(&watched);
    sigaddset(&watched, SIGINT);
    sigaddset(&watched, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &watched, &formerMask);
    descriptor = signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK);
    notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [this] { Receive(); });
}

TerminationSignals::~TerminationSignals()
{
    Release();
    notifier.reset();
    close(descriptor);
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
