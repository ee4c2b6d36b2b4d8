#ifndef SHAREDQUEUE_H
#define SHAREDQUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>

#include "timestamp.h"

/**
 * A first-in, first-out queue between threads, used for raw pointers: ownership of what a pointer
 * points to passes from the producer that pushes it to the consumer that removes it. The queue
 * itself never deletes anything.
 *
 * Any number of threads may push. There must be one consumer at a time, because reading the front
 * and removing it are two steps:
 *
 *     DataChunk *chunk = queue->front();   // waits until there is one
 *     queue->pop_front();                  // now the caller owns the chunk
 *
 * Each operation holds the lock for its own duration only. A lock that fails throws
 * `std::system_error`.
 */
template <typename T>
class SharedQueue
{
public:
    SharedQueue() = default;
    SharedQueue(const SharedQueue &) = delete;
    SharedQueue &operator=(const SharedQueue &) = delete;

    /** Appends the element and wakes one waiting consumer. */
    void push_back(const T &item)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            elements.push_back(item);
        }
        condition.notify_one();
    }

    /** Removes the front element; waits without limit while there is none. */
    void pop_front()
    {
        std::unique_lock<std::mutex> lock(mutex);
        WaitForElement(lock);
        elements.pop_front();
    }

    /** The number of elements at this moment. */
    int size()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return static_cast<int>(elements.size());
    }

    /** A copy of the front element, which stays; waits without limit while there is none. */
    T front()
    {
        std::unique_lock<std::mutex> lock(mutex);
        WaitForElement(lock);
        return elements.front();
    }

    /**
     * Takes the front element off the queue into `*out`, waiting at most `timeout` milliseconds; a
     * `timeout` of 0 takes an element that is there.
     *
     * The wait polls without sleeping: no wake-up delays it, and it keeps one core busy.
     * Returns false, with the queue untouched, when `out` is null or the time has passed; an
     * element that arrives at the very last moment then stays for the next call.
     */
    bool FrontWithTimeout(T *out, long long timeout)
    {
        if (out == nullptr) {
            return false;
        }
        TimeStamp start = TimeStamp::GetTimeStamp();
        while (size() == 0 && !TimeStamp::CheckTimeout(&start, timeout)) {
            PauseProcessor();
        }
        if (TimeStamp::CheckTimeout(&start, timeout)) {
            return false;
        }
        *out = front();
        pop_front();
        return true;
    }

    /**
     * Waits until the consumer has taken everything, at most `timeout` milliseconds, by polling as
     * above. Returns false when the time has passed.
     */
    bool WaitUntilTaken(long long timeout)
    {
        TimeStamp start = TimeStamp::GetTimeStamp();
        while (size() != 0 && !TimeStamp::CheckTimeout(&start, timeout)) {
            PauseProcessor();
        }
        return !TimeStamp::CheckTimeout(&start, timeout);
    }

private:
    // Tells the processor that the caller spins, so that a sibling hardware thread may proceed.
    static void PauseProcessor()
    {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__arm__) && __ARM_ARCH >= 7)
        __asm__ __volatile__("yield");
#endif
    }

    void WaitForElement(std::unique_lock<std::mutex> &lock)
    {
        condition.wait(lock, [this] { return !elements.empty(); });
    }

    std::deque<T> elements; // guarded by mutex
    std::mutex mutex;
    std::condition_variable condition; // consumers wait here for an element
};

#endif
