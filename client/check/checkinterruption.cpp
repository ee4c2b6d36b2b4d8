#include "checkinterruption.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t requested = 0;

constexpr int signalsToEnd[] = {SIGINT, SIGTERM, SIGHUP};

void Remember(int /*number*/)
{
    requested = 1;
}

} // namespace

CheckInterruption::CheckInterruption()
{
    requested = 0;
    struct sigaction action = {};
    action.sa_handler = Remember;
    action.sa_flags = SA_RESETHAND;
    for (const int number : signalsToEnd) {
        sigaction(number, &action, nullptr);
    }
}

CheckInterruption::~CheckInterruption()
{
    for (const int number : signalsToEnd) {
        std::signal(number, SIG_DFL);
    }
}

void CheckInterruption::ThrowIfRequested()
{
    if (requested != 0) {
        throw Requested();
    }
}

void CheckInterruption::Acknowledge()
{
    requested = 0;
}
