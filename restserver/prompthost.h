#ifndef PROMPTHOST_H
#define PROMPTHOST_H

#include <chrono>

#include "notinghost.h"

/**
 * The host's storage with its bracket counted: transfers run side by side, and the host still sees
 * one beginning before the first and one end after the last. On the thread of the model.
 */
class CountedStorage : public IStorageModel
{
public:
    explicit CountedStorage(IApplicationModel *model)
        : host(model)
    {}

    QDir Directory(int key) override;
    bool IsStorageAvailable() override;
    void BeginStorageAccess() override;
    void EndStorageAccess() override;
    bool HasFreeSpace(qint64 bytes) override;

    /**
     * False once the bracket has been open for 10 s, until it was closed: uploads that overlap
     * would keep it open for ever, and the host could never take its storage away. A transfer that
     * has waited for 5 s is taken all the same, or one slow client could keep all others out.
     */
    bool TakesTransfers(std::chrono::steady_clock::duration waited = {}) const;

    /** Ends the bracket, whoever is in it. No transfer begins after that. */
    void EndAll();

    bool Ended() const { return ended; }

private:
    IApplicationModel *host;
    int depth = 0;
    bool ended = false;
    std::chrono::steady_clock::time_point begun; // of the bracket that is open
};

/** The host's model as the request handlers see it when serving promptly. Thread of the model. */
class PromptHost : public NotingHost
{
public:
    explicit PromptHost(IApplicationModel *model)
        : NotingHost(model)
        , storage(model)
    {}

    IStorageModel *StorageModel() override { return &storage; }
    CountedStorage &Storage() { return storage; }

private:
    CountedStorage storage;
};

#endif
