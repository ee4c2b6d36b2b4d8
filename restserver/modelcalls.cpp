#include "modelcalls.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QScopedValueRollback>
#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds longestCall(10);
constexpr std::chrono::seconds betweenQuestions(1);

} // namespace

class ModelCalls::Call
{
public:
    enum State
    {
        Queued,
        Begun,
        Ended,
        Failed // the server stopped
    };

    Work work;
    Condition mayBegin;
    State state = Queued;                   // guarded by the mutex of the calls
    Clock::time_point since = Clock::now(); // when it got into its state; guarded likewise
    std::condition_variable changed;
};

// What the event loop knows of the calls. It outlives them when they go in the middle of its event.
class ModelCalls::Waker : public QObject
{
public:
    explicit Waker(ModelCalls *owner)
        : calls(owner)
    {}

    static QEvent::Type EventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    void CallsAreGone()
    {
        calls = nullptr;
        QCoreApplication::removePostedEvents(this, EventType());
        if (inEvent) {
            deleteLater();
        } else {
            delete this;
        }
    }

protected:
    void customEvent(QEvent *) override
    {
        if (calls != nullptr) {
            const QScopedValueRollback<bool> handling(inEvent, true);
            // The work may stop the server and drop the last other reference to the calls.
            const std::shared_ptr<ModelCalls> kept = calls->shared_from_this();
            kept->RunNext();
        }
    }

private:
    ModelCalls *calls; // thread of the model; null once they are gone
    bool inEvent = false;
};

std::shared_ptr<ModelCalls> ModelCalls::Create()
{
    return std::shared_ptr<ModelCalls>(new ModelCalls);
}

ModelCalls::ModelCalls()
    : waker(new Waker(this))
{}

ModelCalls::~ModelCalls()
{
    waker->CallsAreGone();
}

ModelCalls::Ticket ModelCalls::Post(Work work, Condition mayBegin)
{
    auto call = std::make_shared<Call>();
    call->work = std::move(work);
    call->mayBegin = std::move(mayBegin);
    const Lock lock(mutex);
    if (stopped) {
        call->state = Call::Failed;
        return call;
    }
    queue.push_back(call);
    Wake();
    return call;
}

// At most one event is on its way, so that one call runs in each turn of the loop.
void ModelCalls::Wake()
{
    if (!wakePosted && !stopped) {
        wakePosted = true;
        QCoreApplication::postEvent(waker, new QEvent(Waker::EventType()), Qt::LowEventPriority);
    }
}

void ModelCalls::RunNext()
{
    Lock lock(mutex);
    wakePosted = false;
    if (running) {
        return; // an event loop inside a call: the queue goes on when that call ends
    }
    current = TakeNext();
    if (!current) {
        return;
    }
    const Ticket call = current;
    call->state = Call::Begun;
    call->since = Clock::now(); // whoever waits looks at it when the time to begin is over
    running = true;
    lock.unlock();
    call->work();
    const Work finished = std::move(call->work); // released without the lock
    lock.lock();
    running = false;
    current.reset();
    if (call->state == Call::Begun) {
        call->state = Call::Ended;
    }
    if (!queue.empty()) {
        Wake();
    }
    lock.unlock();
    call->changed.notify_one();
}

// The first call that may begin.
ModelCalls::Ticket ModelCalls::TakeNext()
{
    const auto ready = std::find_if(queue.begin(), queue.end(), [](const Ticket &call) {
        return !call->mayBegin || call->mayBegin();
    });
    if (ready == queue.end()) {
        return Ticket();
    }
    Ticket call = *ready;
    queue.erase(ready);
    return call;
}

ModelCalls::Outcome ModelCalls::Wait(const Ticket &call)
{
    return WaitFor(call, true);
}

ModelCalls::Outcome ModelCalls::WaitWithoutWithdrawing(const Ticket &call)
{
    return WaitFor(call, false);
}

ModelCalls::Outcome ModelCalls::WaitFor(const Ticket &call, bool withdraw)
{
    Lock lock(mutex);
    for (;;) {
        switch (call->state) {
        case Call::Ended:
            return Done;
        case Call::Failed:
            return Stopped;
        case Call::Queued:
        case Call::Begun:
            break;
        }
        const auto deadline = call->since + longestCall;
        if (Clock::now() < deadline) {
            WaitUntil(deadline, call, &lock);
        } else if (call->state == Call::Begun) {
            return TooLong;
        } else {
            if (withdraw) {
                Withdraw(call);
            }
            return NotBegun;
        }
    }
}

// What a call waits for may come true by time alone, so the event loop is made to look again.
void ModelCalls::WaitUntil(std::chrono::steady_clock::time_point deadline, const Ticket &call,
                           Lock *lock)
{
    if (call->state != Call::Queued || !call->mayBegin) {
        call->changed.wait_until(*lock, deadline);
        return;
    }
    call->changed.wait_until(*lock, std::min(deadline, Clock::now() + betweenQuestions));
    Wake();
}

void ModelCalls::Withdraw(const Ticket &call)
{
    queue.erase(std::remove(queue.begin(), queue.end(), call), queue.end());
}

void ModelCalls::Stop()
{
    std::deque<Ticket> dropped; // released without the lock
    const Lock lock(mutex);
    stopped = true;
    dropped.swap(queue);
    if (current) {
        dropped.push_back(current);
    }
    for (const Ticket &call : dropped) {
        call->state = Call::Failed;
        call->changed.notify_one();
    }
    QCoreApplication::removePostedEvents(waker, Waker::EventType());
}
