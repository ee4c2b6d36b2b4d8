#include "prompthost.h"

namespace {

constexpr std::chrono::seconds longestBracket(10);
constexpr std::chrono::seconds longestWaitForItsEnd(5);

} // namespace

QDir CountedStorage::Directory(int key)
{
    return host->StorageModel()->Directory(key);
}

bool CountedStorage::IsStorageAvailable()
{
    return host->StorageModel()->IsStorageAvailable();
}

void CountedStorage::BeginStorageAccess()
{
    if (depth++ == 0) {
        begun = std::chrono::steady_clock::now();
        host->StorageModel()->BeginStorageAccess();
    }
}

void CountedStorage::EndStorageAccess()
{
    if (depth > 0 && --depth == 0) {
        host->StorageModel()->EndStorageAccess();
    }
}

bool CountedStorage::HasFreeSpace(qint64 bytes)
{
    return host->StorageModel()->HasFreeSpace(bytes);
}

bool CountedStorage::TakesTransfers(std::chrono::steady_clock::duration waited) const
{
    return depth == 0 || waited >= longestWaitForItsEnd ||
           std::chrono::steady_clock::now() - begun < longestBracket;
}

void CountedStorage::EndAll()
{
    ended = true;
    if (depth > 0) {
        depth = 0;
        host->StorageModel()->EndStorageAccess();
    }
}
