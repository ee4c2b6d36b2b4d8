#ifndef FUZZFAILURE_H
#define FUZZFAILURE_H

#include <cstdio>
#include <cstdlib>
#include <string>

/** Ends the program as a crash would, so that the fuzzer keeps the input. */
[[noreturn]] inline void Fail(const std::string &reason)
{
    std::fprintf(stderr, "%s\n", reason.c_str());
    std::abort();
}

/** Fails unless `holds`. */
inline void Require(bool holds, const char *what)
{
    if (!holds) {
        Fail(std::string("does not hold: ") + what);
    }
}

#endif
