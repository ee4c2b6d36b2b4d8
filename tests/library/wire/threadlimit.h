#ifndef THREADLIMIT_H
#define THREADLIMIT_H

/** While it lives this process gets so many new threads and then no more. One at a time. */
class ThreadLimit
{
public:
    explicit ThreadLimit(int mostNewThreads);
    ~ThreadLimit();
    ThreadLimit(const ThreadLimit &) = delete;
    ThreadLimit &operator=(const ThreadLimit &) = delete;

    /** How many were asked for. */
    static int Asked();
};

#endif
