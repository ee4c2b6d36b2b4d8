#ifndef DEVICEPROGRAM_H
#define DEVICEPROGRAM_H

#include <functional>

#include "datafolder.h"
#include "deviceoptions.h"

class DeviceApplication;

/**
 * The course of a program that serves a device, from its arguments to its exit status. Its messages
 * go to standard output and standard error.
 *
 * Usual order of calls: `Prepare` and `Serve`, with an application object each, which may be two
 * objects one after the other. Made first of all; main thread only.
 */
class DeviceProgram
{
public:
    /** What is done while the device serves; gives the exit status. */
    using Run = std::function<int()>;

    /** Sets the process up: memory, file names, and what the program calls itself. */
    DeviceProgram(const QString &name, const QString &version);

    /**
     * Reads the arguments, the program's name first, and prepares the folder of the device. False
     * when there is nothing to serve: the program ends with `Status`.
     */
    bool Prepare(const QStringList &arguments);

    /** The exit status as long as nothing is served. */
    int Status() const { return status; }

    /** What the arguments ask for; after a successful `Prepare`. */
    const DeviceOptions &Options() const { return options; }

    /**
     * Starts the device, which was made with these options, says where it listens, and stops it
     * when `run` has returned; the application quits when the process is told to end. Gives the
     * exit status. What lies below `readable` can be read, besides what every device needs.
     */
    int Serve(DeviceApplication &device, const Run &run, const QStringList &readable = {});

private:
    bool PrepareFolder(QString *error);
    bool Confine(QStringList readable) const;
    bool Fail(const QString &error);

    QString programName;
    DeviceOptions options;
    TemporaryFolder temporary;
    int status = 0;
};

#endif
