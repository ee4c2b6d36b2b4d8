#ifndef LEAKSBYDESIGN_H
#define LEAKSBYDESIGN_H

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

/**
 * For as long as it lives, what its thread allocates is not counted as a leak: for tests of records
 * that the server drops without deleting them.
 */
class LeaksByDesign
{
public:
#if defined(__SANITIZE_ADDRESS__)
    LeaksByDesign()
    {
        __lsan_disable();
    }
    ~LeaksByDesign()
    {
        __lsan_enable();
    }
#else
    LeaksByDesign() {}
    ~LeaksByDesign() {}
#endif
    LeaksByDesign(const LeaksByDesign &) = delete;
    LeaksByDesign &operator=(const LeaksByDesign &) = delete;
};

#endif
