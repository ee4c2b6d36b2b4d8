#include "deviceoptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

namespace {

/** The options, declared once for reading and for the help. */
class CommandLine
{
public:
    CommandLine()
        : data(QStringLiteral("data"),
               QStringLiteral("Serve the device kept in <dir>; a missing or empty folder is filled "
                              "with sample content."),
               QStringLiteral("dir"))
        , mode(QStringLiteral("mode"),
               QStringLiteral("Operating mode of the instrument, a whole number (default 0). In "
                              "mode 2 a new active work order resets the job view."),
               QStringLiteral("number"), QStringLiteral("0"))
        , storageUnavailable(QStringLiteral("storage-unavailable"),
                             QStringLiteral("Start without the guarded storage."))
        , requireSandbox(QStringLiteral("require-sandbox"),
                         QStringLiteral("Do not start where the kernel cannot confine the program "
                                        "to the folder of the device."))
        , fault(QStringLiteral("fault"),
                QStringLiteral("Let something go wrong; may be given several times: %1. The file "
                               "state/faults in the folder of the device does the same, one fault "
                               "in a line, while the program runs.")
                    .arg(Fault::Names()),
                QStringLiteral("name[=value][*count]"))
        , verbose(QStringLiteral("verbose"), QStringLiteral("Print debug lines on standard error."))
        , help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this text."))
        , version({QStringLiteral("v"), QStringLiteral("version")},
                  QStringLiteral("Print the version."))
    {
        parser.setApplicationDescription(
            QStringLiteral("A simulated instrument that serves its REST interface on port 8081."));
        parser.addOptions(
            {data, mode, storageUnavailable, requireSandbox, fault, verbose, help, version});
    }

    QCommandLineParser parser;
    QCommandLineOption data;
    QCommandLineOption mode;
    QCommandLineOption storageUnavailable;
    QCommandLineOption requireSandbox;
    QCommandLineOption fault;
    QCommandLineOption verbose;
    QCommandLineOption help;
    QCommandLineOption version;
};

DeviceOptions Explain(const QString &text)
{
    DeviceOptions options;
    options.action = DeviceOptions::Action::Explain;
    options.message = text.trimmed();
    return options;
}

DeviceOptions Refuse(const QString &reason)
{
    DeviceOptions options;
    options.message = reason + QStringLiteral(" (--help lists the options)");
    return options;
}

DeviceOptions ReadValues(const CommandLine &line)
{
    DeviceOptions options;
    bool isNumber = false;
    const QString mode = line.parser.value(line.mode);
    options.mode = mode.toInt(&isNumber);
    if (!isNumber) {
        return Refuse(QStringLiteral("--mode takes a whole number, not \"%1\"").arg(mode));
    }
    const QString folder = line.parser.value(line.data);
    if (folder.isEmpty()) {
        return Refuse(QStringLiteral("--data is missing: it names the folder of the device"));
    }
    for (const QString &text : line.parser.values(line.fault)) {
        QString error;
        const std::optional<Fault> fault = Fault::Parse(text, &error);
        if (!fault) {
            return Refuse(QStringLiteral("--fault: %1").arg(error));
        }
        options.faults.append(*fault);
    }
    options.action = DeviceOptions::Action::Serve;
    options.requireSandbox = line.parser.isSet(line.requireSandbox);
    options.dataFolder = QDir::cleanPath(QDir::current().absoluteFilePath(folder));
    options.storageAvailable = !line.parser.isSet(line.storageUnavailable);
    options.verbose = line.parser.isSet(line.verbose);
    return options;
}

} // namespace

DeviceOptions DeviceOptions::Parse(const QStringList &arguments)
{
    CommandLine line;
    if (!line.parser.parse(arguments)) {
        return Refuse(line.parser.errorText());
    }
    const QStringList others = line.parser.positionalArguments();
    if (!others.isEmpty()) {
        return Refuse(QStringLiteral("Unexpected argument \"%1\".").arg(others.first()));
    }
    if (line.parser.isSet(line.help)) {
        return Explain(line.parser.helpText());
    }
    if (line.parser.isSet(line.version)) {
        return Explain(QCoreApplication::applicationName() + QLatin1Char(' ') +
                       QCoreApplication::applicationVersion());
    }
    return ReadValues(line);
}
