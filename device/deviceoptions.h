#ifndef DEVICEOPTIONS_H
#define DEVICEOPTIONS_H

#include <QString>
#include <QStringList>

#include "fault.h"

/** What the command line of the simulator asks for. */
struct DeviceOptions
{
    /** What the program does next. */
    enum class Action
    {
        Serve,   ///< serves the device
        Explain, ///< prints `message` on standard output and ends with status 0
        Refuse   ///< prints `message` on standard error and ends with status 2
    };

    Action action = Action::Refuse;
    QString message;    ///< the help, the version, or one line that names the bad argument
    QString dataFolder; ///< absolute and free of "." and ".."; symbolic links are kept
    int mode = 0;
    bool storageAvailable = true;
    int workOrderLimit = 10000;
    bool requireSandbox = false;
    Faults faults;
    QString faultFile; ///< absolute, clean and not below `dataFolder`; empty for none
    bool verbose = false;

    /**
     * Reads the arguments, the program's name first. An unknown option or a surplus argument is
     * refused even beside `--help` and `--version`; the values of the others are not looked at
     * then. A `QCoreApplication` with the program's name and version must exist.
     */
    static DeviceOptions Parse(const QStringList &arguments);
};

#endif
