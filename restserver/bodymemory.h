#ifndef BODYMEMORY_H
#define BODYMEMORY_H

#include <QByteArray>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>

/**
 * How much memory the bodies of all requests together may hold while they are read: 64 MiB.
 *
 * The first 64 KiB of a body are always granted. What is above waits while others hold the rest;
 * the body that began first always goes on, so that one of them ends. Each wait takes a thread, and
 * others need one too: `mostWaiting` bodies wait for up to 10 s. Further ones wait for 2 s, and not
 * at all while some body has waited for longer than that. Any thread.
 */
class BodyMemory
{
public:
    /** What one body holds; it is given back with this object. */
    class Share
    {
    public:
        explicit Share(std::shared_ptr<BodyMemory> memory);
        ~Share();
        Share(const Share &) = delete;
        Share &operator=(const Share &) = delete;

        /** Waits until the body may hold `bytes` in all; false when it has waited for as long as it
         * may, or when the server stops. */
        bool GrowTo(size_t bytes);

        /** Gives back what the body holds above `bytes`. */
        void ShrinkTo(size_t bytes);

    private:
        friend class BodyMemory;
        std::shared_ptr<BodyMemory> memory;
        size_t held = 0; // above what is always granted; guarded by the memory's mutex
        std::list<Share *>::iterator place;
    };

    static constexpr size_t alwaysGranted = size_t(64) * 1024;
    static constexpr size_t largestBody = 5000000;
    static constexpr size_t mostWaiting = sizeof(void *) == 8 ? 20 : 10;

    /** `bodies` is the largest number of bodies at a time. */
    explicit BodyMemory(size_t bodies);

    /** Refuses every wait from now on. */
    void Stop();

    /** Whether some body has had to wait at all times of the last 2 s. */
    bool IsScarce();

private:
    using Clock = std::chrono::steady_clock;
    using Waits = std::list<Clock::time_point>;

    bool MayHold(const Share &share, size_t bytes) const;
    bool WaitForRoom(const Share &share, size_t bytes, std::unique_lock<std::mutex> *lock);
    bool IsCrowded() const;
    bool MayGoOnWaiting(Waits::const_iterator wait) const;

    std::mutex mutex;
    std::condition_variable changed;
    std::list<Share *> shares;      // guarded by mutex, in the order in which their bodies began
    size_t held = 0;                // guarded by mutex: the sum over all shares
    size_t room;                    // what they may hold besides what the first of them may
    bool stopped = false;           // guarded by mutex
    Waits waits;                    // guarded by mutex: when each began, in this order
    Clock::time_point waitingSince; // guarded by mutex: some body, all the time
};

#endif
