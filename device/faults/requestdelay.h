#ifndef REQUESTDELAY_H
#define REQUESTDELAY_H

#include <QObject>

#include "faultplan.h"

/**
 * Makes requests late while `FaultKind::SlowCall` is in force: the first call of a model in each
 * turn of the event loop waits. A request is answered within one turn and may call models a hundred
 * times, so a delay of each call would say little about how late its answer is.
 *
 * Main thread only, and an application object must exist.
 */
class RequestDelay : public QObject
{
    Q_OBJECT

public:
    /** Keeps the reference; the plan outlives this object. */
    explicit RequestDelay(FaultPlan &faultPlan);

    /** Called before each call of a model. True when it was the first one of this turn. */
    bool Wait();

private:
    FaultPlan &faults;
    bool waited = false; // in this turn
};

#endif
