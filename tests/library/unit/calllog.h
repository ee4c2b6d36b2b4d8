#ifndef CALLLOG_H
#define CALLLOG_H

#include <mutex>
#include <string>
#include <vector>

/** What the fake host was asked, in order, as texts such as "StorageModel.Directory(9)". */
class CallLog
{
public:
    void Add(const std::string &call)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        calls.push_back(call);
    }

    std::vector<std::string> Calls() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return calls;
    }

    void Clear()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        calls.clear();
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> calls; // guarded by mutex
};

#endif
