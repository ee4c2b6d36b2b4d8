#ifndef CONTENDER_H
#define CONTENDER_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "workload.h"

/**
 * Takes the part's bytes as a part writer does: copies each slice into the buffer that would be
 * written next. Every contender hands it every byte of the part, or says how many it looked at.
 */
class Sink
{
public:
    void Take(const char *data, size_t size)
    {
        received += size;
        while (size > sizeof buffer - used) {
            const size_t count = sizeof buffer - used;
            __builtin_memcpy(buffer + used, data, count);
            data += count;
            size -= count;
            used = 0;
        }
        __builtin_memcpy(buffer + used, data, size);
        used += size;
    }

    /** Counts bytes of the part that a limit looks at and does not copy. */
    void Pass(size_t size) { received += size; }

    uint64_t Received() const { return received; }

private:
    uint64_t received = 0;
    size_t used = 0;
    char buffer[1 << 16]; // begun anew when it is full
};

/** Takes one body apart, piece by piece. The sink is new for each run. */
using Run = std::function<void(Sink *sink)>;

struct Contender
{
    const char *name;
    /** Prepares for a workload, outside of what is measured. The workload outlives the run. */
    std::function<Run(const Workload &workload)> prepare;
};

/** The parser, and what it is measured against within this project. */
std::vector<Contender> OwnContenders();

/** The multipart parsers of other libraries. */
std::vector<Contender> PeerContenders();

/** Calls `feed(bytes, size)` for each piece of the body. */
template <typename Feed>
void ForEachPiece(const Workload &workload, Feed feed)
{
    const std::string &body = workload.body;
    for (size_t begin = 0; begin < body.size(); begin += workload.pieceSize) {
        feed(body.data() + begin, std::min(workload.pieceSize, body.size() - begin));
    }
}

#endif
