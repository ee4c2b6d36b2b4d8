#include "threadlimit.h"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <limits>
#include <pthread.h>

namespace {

std::atomic<int> most{std::numeric_limits<int>::max()};
std::atomic<int> asked{0};

} // namespace

ThreadLimit::ThreadLimit(int mostNewThreads)
{
    asked = 0;
    most = mostNewThreads;
}

ThreadLimit::~ThreadLimit()
{
    most = std::numeric_limits<int>::max();
}

int ThreadLimit::Asked()
{
    return asked;
}

// Found before the one of the C library, also by shared libraries.
extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                              void *(*start)(void *), void *argument) noexcept
{
    using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (++asked > most) {
        return EAGAIN;
    }
    return create(thread, attributes, start, argument);
}
