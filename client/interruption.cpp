#include "interruption.h"

#include <array>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int signalStatus = 128;

volatile std::sig_atomic_t caught = 0;
std::array<int, 2> wakeUp{-1, -1};

// What the handler removes. A handler may call unlink, but nothing that allocates.
std::array<char, PATH_MAX> nameToRemove{};

void Handle(int number)
{
    if (caught != 0) {
        unlink(nameToRemove.data());
        _exit(signalStatus + number);
    }
    caught = number;
    const ssize_t written = write(wakeUp[1], "!", 1);
    static_cast<void>(written);
}

} // namespace

Interrupted::Interrupted(int number, const QString &text)
    : ClientError(ExitStatus::TransferCorrupt, text)
    , signalNumber(number)
{}

bool Interrupted::EndsEverything() const
{
    return true;
}

int Interrupted::SignalNumber() const
{
    return signalNumber;
}

void Interruption::Watch()
{
    if (pipe2(wakeUp.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, Handle);
    }
}

int Interruption::Descriptor()
{
    return caught == 0 || wakeUp[0] < 0 ? wakeUp[0] : -1;
}

void Interruption::ThrowIfAny()
{
    if (caught != 0) {
        throw Interrupted(caught, QStringLiteral("stopped"));
    }
}

void Interruption::Pause(int milliseconds)
{
    pollfd entry{wakeUp[0], POLLIN, 0};
    poll(&entry, 1, milliseconds);
    ThrowIfAny();
}

Interruption::Reprieve::Reprieve()
    : kept(caught)
{
    std::array<char, 8> bytes{};
    while (read(wakeUp[0], bytes.data(), bytes.size()) > 0) {
    }
    caught = 0;
}

Interruption::Reprieve::~Reprieve()
{
    if (kept != 0) {
        caught = kept;
    }
}

void Interruption::RemoveAtOnce(const QByteArray &fileName)
{
    nameToRemove.front() = '\0';
    if (fileName.isEmpty() || fileName.size() >= static_cast<int>(nameToRemove.size())) {
        return;
    }
    // The first byte comes last: a signal in between finds an empty name.
    std::memcpy(nameToRemove.data() + 1, fileName.constData() + 1,
                static_cast<size_t>(fileName.size()));
    nameToRemove.front() = fileName.front();
}
