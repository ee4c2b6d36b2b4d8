#include "bodymemory.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr size_t allBodies = size_t(64) * 1024 * 1024;
constexpr std::chrono::seconds longestWait(10);
constexpr std::chrono::seconds scarceAfter(2);

} // namespace

BodyMemory::BodyMemory(size_t bodies)
    : room(allBodies - bodies * alwaysGranted - largestBody)
{}

void BodyMemory::Stop()
{
    const std::lock_guard<std::mutex> lock(mutex);
    stopped = true;
    changed.notify_all();
}

bool BodyMemory::IsScarce()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return !waits.empty() && Clock::now() - waitingSince >= scarceAfter;
}

// The body that began first has memory of its own in store, so it never waits for the others.
bool BodyMemory::MayHold(const Share &share, size_t bytes) const
{
    return shares.front() == &share || held - share.held + bytes <= room;
}

// Clients that are slow together could have every thread wait here otherwise.
bool BodyMemory::WaitForRoom(const Share &share, size_t bytes, std::unique_lock<std::mutex> *lock)
{
    const auto hasRoom = [this, &share, bytes] { return stopped || MayHold(share, bytes); };
    if (!hasRoom() && IsCrowded()) {
        return false;
    }
    if (waits.empty()) {
        waitingSince = Clock::now();
    }
    const auto wait = waits.insert(waits.end(), Clock::now());
    const bool granted =
        changed.wait_for(*lock, scarceAfter, hasRoom) ||
        (MayGoOnWaiting(wait) && changed.wait_for(*lock, longestWait - scarceAfter, hasRoom));
    waits.erase(wait);
    return granted;
}

bool BodyMemory::IsCrowded() const
{
    return waits.size() >= mostWaiting && Clock::now() - waits.front() >= scarceAfter;
}

bool BodyMemory::MayGoOnWaiting(Waits::const_iterator wait) const
{
    return static_cast<size_t>(std::distance(waits.begin(), wait)) < mostWaiting;
}

BodyMemory::Share::Share(std::shared_ptr<BodyMemory> owner)
    : memory(std::move(owner))
{
    const std::lock_guard<std::mutex> lock(memory->mutex);
    place = memory->shares.insert(memory->shares.end(), this);
}

BodyMemory::Share::~Share()
{
    const std::lock_guard<std::mutex> lock(memory->mutex);
    memory->shares.erase(place);
    memory->held -= held;
    memory->changed.notify_all();
}

bool BodyMemory::Share::GrowTo(size_t bytes)
{
    if (bytes <= alwaysGranted) {
        return true;
    }
    const size_t wanted = bytes - alwaysGranted;
    std::unique_lock<std::mutex> lock(memory->mutex);
    const bool granted = memory->WaitForRoom(*this, wanted, &lock);
    if (!granted || memory->stopped) {
        return false;
    }
    memory->held += wanted - held;
    held = wanted;
    return true;
}

void BodyMemory::Share::ShrinkTo(size_t bytes)
{
    const std::lock_guard<std::mutex> lock(memory->mutex);
    const size_t kept = std::min(held, std::max(bytes, alwaysGranted) - alwaysGranted);
    memory->held -= held - kept;
    held = kept;
    memory->changed.notify_all();
}
