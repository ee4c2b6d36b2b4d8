#ifndef WORKLOAD_H
#define WORKLOAD_H

#include <cstddef>
#include <cstdint>
#include <string>

/** One body with one part, and the size of the pieces in which it is fed. */
struct Workload
{
    std::string name;
    std::string boundary; // the whole delimiter, with its leading hyphens
    std::string body;
    size_t partBegin; // position of the part's first byte in the body
    size_t partSize;
    size_t pieceSize;
};

/** The names of all workloads, in the order of the table. */
extern const char *const workloadNames[5];

/** Makes the workload with this name; always the same bytes. */
Workload MakeWorkload(const std::string &name);

#endif
