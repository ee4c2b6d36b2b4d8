#ifndef TERMINATIONSIGNALS_H
#define TERMINATIONSIGNALS_H

#include <QSocketNotifier>
#include <csignal>
#include <functional>
#include <memory>

/**
 * Turns SIGINT, SIGTERM and, where it is not ignored, SIGHUP into a call on the main thread.
 *
 * Made before any other thread, so that all of them leave these signals alone. The first signal
 * calls the function from the event loop. A second one ends the process at once, in case the
 * orderly way does not come to an end.
 */
class TerminationSignals
{
public:
    explicit TerminationSignals(std::function<void()> onSignal);
    TerminationSignals(const TerminationSignals &) = delete;
    TerminationSignals &operator=(const TerminationSignals &) = delete;

    /** True while one was sent that the event loop has not come to yet. */
    static bool IsPending();

    /** Drops one that is pending, and gives the signals back their former treatment. */
    ~TerminationSignals();

private:
    void Receive();
    void Release();

    std::function<void()> callback;
    sigset_t formerMask = {};
    int descriptor = -1;
    std::unique_ptr<QSocketNotifier> notifier;
};

#endif
