#ifndef ANSWERMEMORY_H
#define ANSWERMEMORY_H

#include <QtGlobal>
#include <atomic>
#include <memory>

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

    static constexpr qint64 room = qint64(sizeof(void *) == 8 ? 512 : 128) * 1024 * 1024;

    bool HasRoom() const { return held < room; }

private:
    std::atomic<qint64> held{0};
};

#endif
