#ifndef SCENARIOPLAYER_H
#define SCENARIOPLAYER_H

#include <QObject>
#include <functional>
#include <mutex>

#include "faultplan.h"
#include "scenario.h"

/**
 * Lets a scenario happen. Events by time happen in the main thread, which needs an event loop;
 * those by request in the thread of the line, before the request goes on, so that a request always
 * finds the device as the scenario says.
 */
class ScenarioPlayer
{
public:
    /**
     * `userFiles` is where files are added; `restart` is called in either thread. All objects
     * outlive this one.
     */
    ScenarioPlayer(const QVector<ScenarioEvent> &scenario, FaultPlan &faultPlan,
                   IErrorReporter &errors, const QString &userFiles, std::function<void()> restart);

    /** The time of the scenario begins, with what happens after no time; once. */
    void Start();

    /** A request has come. False when the device restarts, and the request is lost. */
    bool RequestComes();

private:
    /** False for a restart. */
    bool Happen(const ScenarioEvent &event);
    void AddFile(const ScenarioEvent &event);

    const QVector<ScenarioEvent> events;
    FaultPlan &faults;
    IErrorReporter &errorReporter;
    const QString folder;
    const std::function<void()> restartDevice;
    QObject context; // of the timers

    std::mutex mutex; // for the number
    int requests = 0;
};

#endif
