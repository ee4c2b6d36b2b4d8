#ifndef MODELCALLS_H
#define MODELCALLS_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class QObject;

/**
 * Calls from HTTP threads to the thread of the model, where the host's interfaces may be called.
 *
 *     auto answer = std::make_shared<QJsonObject>();
 *     if (calls->Run([answer, host] { *answer = host->AssetModel()->GetAssetInfo(); }) ==
 * ModelCalls::Done)
 *         ...
 *
 * Calls run in the order in which they were posted, one in each turn of the event loop, at low
 * priority, so that the application's own events come first. While one runs no other begins, also
 * when it runs an event loop of its own. Nothing of it ticks or spins
 * while no call waits for a condition.
 *
 * A call outlives whoever waits for it when it takes too long. What it uses must therefore belong
 * to it: capture by value or by shared pointer, never the stack of the HTTP thread.
 */
class ModelCalls : public std::enable_shared_from_this<ModelCalls>
{
public:
    enum Outcome
    {
        Done,
        NotBegun, ///< it waited 10 s for its turn; it was withdrawn and never runs
        TooLong,  ///< it has been running for 10 s; it runs on, and its result is dropped
        Stopped   ///< the server stops; it may or may not have run
    };

    using Work = std::function<void()>;
    using Condition = std::function<bool()>; // asked on the thread of the model
    class Call;
    using Ticket = std::shared_ptr<Call>;

    /** Made on the thread of the model, whose event loop runs the calls. */
    static std::shared_ptr<ModelCalls> Create();
    ~ModelCalls();

    /**
     * Queues a call; it waits for its turn and until `mayBegin`, where there is one, is true: that
     * is asked whenever a call ends, and each second while somebody waits.
     */
    Ticket Post(Work work, Condition mayBegin = Condition());

    /** Waits for the end of a call. HTTP threads only. */
    Outcome Wait(const Ticket &call);

    /** Waits like `Wait`, but a call that did not begin stays queued. */
    Outcome WaitWithoutWithdrawing(const Ticket &call);

    Outcome Run(Work work) { return Wait(Post(std::move(work))); }

    /** Fails every call, now and from now on. On the thread of the model; a running call goes on.
     */
    void Stop();

    /** True while a call runs. On the thread of the model. */
    bool Running() const { return running; }

private:
    class Waker;
    using Lock = std::unique_lock<std::mutex>;

    ModelCalls();
    void Wake();
    void RunNext();
    Ticket TakeNext();
    Outcome WaitFor(const Ticket &call, bool withdraw);
    void WaitUntil(std::chrono::steady_clock::time_point deadline, const Ticket &call, Lock *lock);
    void Withdraw(const Ticket &call);

    std::mutex mutex;
    std::deque<Ticket> queue; // guarded by mutex
    bool wakePosted = false;  // guarded by mutex
    bool stopped = false;     // guarded by mutex
    bool running = false;     // thread of the model
    Ticket current;           // guarded by mutex: the call that runs
    Waker *waker;             // lives on the thread of the model; guarded by mutex
};

#endif
