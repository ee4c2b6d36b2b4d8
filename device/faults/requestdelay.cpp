#include "requestdelay.h"

#include <QAbstractEventDispatcher>

RequestDelay::RequestDelay(FaultPlan &faultPlan)
    : faults(faultPlan)
{
    // Whatever is executed in a turn of the event loop runs between two signals of its dispatcher.
    const auto beginTurn = [this] { waited = false; };
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, beginTurn);
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, beginTurn);
}

bool RequestDelay::Wait()
{
    if (waited) {
        return false;
    }
    waited = true;
    faults.DelayCall();
    return true;
}
