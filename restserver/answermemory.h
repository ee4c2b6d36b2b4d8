#ifndef ANSWERMEMORY_H
#define ANSWERMEMORY_H

#include <QtGlobal>
#include <atomic>
#include <memory>
#include <utility>

/**
 * How much memory the answers on their way to slow clients hold. Requests that may have a large
 * answer begin only while there is room, so that all together hold at most one answer more than
 * 512 MiB, or 128 MiB where pointers have 32 bits. Any thread.
 */
class AnswerMemory
{
public:
    /** What one answer holds; it is given back with this object. */
    class Share
    {
    public:
        explicit Share(std::shared_ptr<AnswerMemory> owner)
            : memory(std::move(owner))
        {}
        ~Share() { memory->held -= bytes; }
        Share(const Share &) = delete;
        Share &operator=(const Share &) = delete;

        /** Once. */
        void Hold(qint64 size)
        {
            bytes = size;
            memory->held += size;
        }

    private:
        std::shared_ptr<AnswerMemory> memory;
        qint64 bytes = 0;
    };

    /**
     * A request that may have a large answer, while it has not begun. At most `mostWaiting` wait
     * for room, each with a thread: others ask for small answers, and need one too. Asked on one
     * thread.
     */
    class Turn
    {
    public:
        explicit Turn(std::shared_ptr<AnswerMemory> owner)
            : memory(std::move(owner))
        {}
        ~Turn() { Leave(); }
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;

        /** Whether the request goes on: there is room, or it may not wait. */
        bool HasCome()
        {
            if (memory->HasRoom()) {
                Leave();
                return true;
            }
            if (!waits) {
                waits = memory->waiting < mostWaiting;
                memory->waiting += waits ? 1 : 0;
            }
            refused = !waits;
            return refused;
        }

        /** Of one that has come: that it may not wait, and is to be told so. */
        bool IsRefused() const { return refused; }

    private:
        void Leave()
        {
            if (std::exchange(waits, false)) {
                --memory->waiting;
            }
        }

        std::shared_ptr<AnswerMemory> memory;
        bool waits = false;
        bool refused = false;
    };

    static constexpr qint64 room = qint64(sizeof(void *) == 8 ? 512 : 128) * 1024 * 1024;
    static constexpr int mostWaiting = sizeof(void *) == 8 ? 20 : 10;

    bool HasRoom() const { return held < room; }

private:
    std::atomic<qint64> held{0};
    std::atomic<int> waiting{0};
};

#endif
