#ifndef SERVICEWATCHDOG_H
#define SERVICEWATCHDOG_H

#include <QByteArray>
#include <QTimer>

/**
 * Tells the service manager (systemd) that the device serves, and from then on that the event loop
 * still turns, twice within the time that the manager waits. A loop that is held up says nothing,
 * and the manager then starts the program again. Without a manager nothing happens.
 *
 *     server.Start();
 *     if (server.Running()) {
 *         watchdog = std::make_unique<ServiceWatchdog>();
 *     }
 *
 * Made and destroyed in the thread that serves, so that it is this thread's loop that is watched.
 * Its unit has "Type=notify" and "WatchdogSec=30".
 */
class ServiceWatchdog
{
public:
    /** Finds the manager and its time-out in the environment, and tells it that service begins. */
    ServiceWatchdog();
    ServiceWatchdog(const ServiceWatchdog &) = delete;
    ServiceWatchdog &operator=(const ServiceWatchdog &) = delete;

    /** Tells the manager that the service ends. */
    ~ServiceWatchdog();

    /**
     * Tells the manager, twice in its time-out at most, that the thread makes progress though its
     * loop does not turn. For work that may take longer than the manager waits, such as to read a
     * file of many gigabytes: call it before each step. By the thread that serves.
     */
    static void TellProgress();

private:
    QTimer timer;
};

#endif
