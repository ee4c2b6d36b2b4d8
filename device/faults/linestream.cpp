#include "linestream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>

namespace {

constexpr int streamCapacity = 64 * 1024;
constexpr int longestHead = 32 * 1024; // the server takes less

bool IsOnlyLate()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

} // namespace

LineStream::LineStream(int source, int sink)
    : from(source)
    , to(sink)
{}

bool LineStream::WantsBytes() const
{
    return !sourceEnded && waiting.size() < streamCapacity;
}

void LineStream::Receive()
{
    if (!WantsBytes()) {
        return;
    }
    std::array<char, streamCapacity> block; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const auto room = static_cast<std::size_t>(streamCapacity - waiting.size());
    const ssize_t count = recv(from, block.data(), room, 0);
    if (count > 0 && !discards) {
        waiting.append(block.data(), static_cast<int>(count));
    } else if (count == 0) {
        sourceEnded = true;
    } else if (count < 0 && !IsOnlyLate()) {
        sourceEnded = true;
        sourceBroken = true;
    }
    FindHead();
}

void LineStream::FindHead()
{
    if (head >= 0) {
        return;
    }
    const int end = waiting.indexOf("\r\n\r\n");
    if (end >= 0) {
        head = end + 4;
    } else if (sourceEnded || waiting.size() >= longestHead) {
        head = waiting.size();
    }
}

void LineStream::Send(Time now)
{
    const qint64 passable = Passable(now);
    if (passable <= 0) {
        return;
    }
    const ssize_t count =
        send(to, waiting.constData(), static_cast<std::size_t>(passable), MSG_NOSIGNAL);
    if (count < 0) {
        sinkBroken = !IsOnlyLate();
        return;
    }
    waiting.remove(0, static_cast<int>(count));
    const int ofHead = std::min(head, static_cast<int>(count));
    head -= ofHead;
    bodyPassed += count - ofHead;
    if (pace) {
        pace->Count(count - ofHead);
    }
}

qint64 LineStream::Passable(Time now) const
{
    if (head < 0 || sinkBroken) {
        return 0;
    }
    qint64 body = waiting.size() - head;
    if (limit) {
        body = std::min(body, *limit - bodyPassed);
    }
    if (pace) {
        body = std::min(body, pace->Allowance(now));
    }
    return head + body;
}

bool LineStream::IsAtLimit() const
{
    return limit && head == 0 && bodyPassed >= *limit && !waiting.isEmpty();
}

std::optional<LineStream::Time> LineStream::Due(Time now) const
{
    const bool waits = pace && head == 0 && !waiting.isEmpty() && !IsAtLimit();
    return waits && pace->Allowance(now) == 0 ? std::optional<Time>(pace->Due()) : std::nullopt;
}

void LineStream::Discard()
{
    discards = true;
    waiting.clear();
    head = std::min(head, 0);
}

void LineStream::Replace(const QByteArray &message)
{
    waiting = message;
    head = message.size();
    sourceEnded = true;
    sourceBroken = false;
}
