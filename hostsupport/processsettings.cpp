#include "processsettings.h"

#include <cstdlib>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

void ProcessSettings::ReturnLargeBlocks()
{
#if defined(__GLIBC__)
    constexpr int largeBlock = 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, largeBlock); // fixed, where glibc would let it grow
#endif
}
