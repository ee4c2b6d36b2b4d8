#ifndef DEVICEOPTIONS_H
#define DEVICEOPTIONS_H

#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>

#include "fault.h"
#include "requestreport.h"
#include "restserveroptions.h"
#include "samplecontent.h"
#include "scenario.h"

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
    int mode = 0;
    QString message;    ///< the help, the version, or one line that names the bad argument
    QString dataFolder; ///< empty for a temporary one; otherwise absolute and free of "." and "..";
                        ///< symbolic links are kept
    int workOrderLimit = 10000;
    int userFileLimit = 50000;
    bool storageAvailable = true;
    bool requireSandbox = false;
    bool verbose = false;
    bool faultsMayCome = false; ///< the program itself sets some while it serves
    Faults faults;
    QString faultFile; ///< absolute, clean and not below `dataFolder`; empty for none

    QVector<ScenarioEvent> scenario;
    std::optional<std::chrono::milliseconds> activity; ///< between measurements; none: no activity

    QString listenAddress = QStringLiteral("127.0.0.1"); ///< IPv4
    quint32 seed = 1;                                    ///< of what is measured
    quint16 port = 8081;                                 ///< 0: a free one
    bool temporary = false;
    RestServerOptions::Serving serving = RestServerOptions::Serving::Prompt;
    RequestReport::Lines requestLines = RequestReport::Lines::None;
    QList<QByteArray> allowedOrigins;

    QString goldenFolder; ///< absolute; the device begins as a copy of it, where one is named
    SampleContent::Extent content = SampleContent::Extent::Whole;

    /** Whether faults may come that need a line in front of the server. */
    bool NeedsLine() const;

    /**
     * Reads the arguments, the program's name first. An unknown option or a surplus argument is
     * refused even beside `--help` and `--version`; the values of the others are not looked at
     * then. A `QCoreApplication` with the program's name and version must exist.
     */
    static DeviceOptions Parse(const QStringList &arguments);
};

#endif
