#ifndef SERVICE_H
#define SERVICE_H

#include <filesystemsandbox.h>
#include <memory>
#include <restservermodel.h>
#include <servicewatchdog.h>

#include "device.h"

/** The device and its server. Made, used and destroyed in one thread that runs an event loop. */
class Service
{
public:
    /** Begins to serve. */
    explicit Service(const QDir &folder);

    /** Ends to serve. */
    ~Service();
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    /** Why nothing is served; empty when all is well. */
    QString Problem();

private:
    RestServerModel server;
    Device device;
    FileSystemSandbox::Domain uploads;
    std::unique_ptr<ServiceWatchdog> watchdog; // while the server runs
};

#endif
