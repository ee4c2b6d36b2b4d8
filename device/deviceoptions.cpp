#include "deviceoptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

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
        , workOrderLimit(QStringLiteral("work-order-limit"),
                         QStringLiteral("Store at most so many work orders (default 10000)."),
                         QStringLiteral("number"), QStringLiteral("10000"))
        , requireSandbox(QStringLiteral("require-sandbox"),
                         QStringLiteral("Do not start where the kernel cannot confine the program "
                                        "to the folder of the device."))
        , fault(QStringLiteral("fault"),
                QStringLiteral("Let something go wrong, *count times or always; may be given "
                               "several times: %1.")
                    .arg(Fault::Names()),
                QStringLiteral("name[=value][*count]"))
        , faultFile(
              QStringLiteral("fault-file"),
              QStringLiteral("Read faults from <file>, one in a line, whenever it changes. It "
                             "lies outside the folder of the device, where no upload "
                             "reaches it."),
              QStringLiteral("file"))
        , verbose(QStringLiteral("verbose"), QStringLiteral("Print debug lines on standard error."))
        , help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this text."))
        , version({QStringLiteral("v"), QStringLiteral("version")},
                  QStringLiteral("Print the version."))
    {
        parser.setApplicationDescription(
            QStringLiteral("A simulated instrument that serves its REST interface on port 8081."));
        parser.addOptions({data, mode, storageUnavailable, workOrderLimit, requireSandbox, fault,
                           faultFile, verbose, help, version});
    }

    QCommandLineParser parser;
    QCommandLineOption data;
    QCommandLineOption mode;
    QCommandLineOption storageUnavailable;
    QCommandLineOption workOrderLimit;
    QCommandLineOption requireSandbox;
    QCommandLineOption fault;
    QCommandLineOption faultFile;
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

QString AbsolutePath(const QString &path)
{
    return QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

// Without symbolic links as far as the path exists.
QString RealPath(const QString &path)
{
    const QFileInfo file(path);
    QString canonical = file.canonicalFilePath();
    if (!canonical.isEmpty() || file.isRoot()) {
        return canonical;
    }
    return QDir(RealPath(file.path())).filePath(file.fileName());
}

bool IsBelow(const QString &path, const QString &folder)
{
    return RealPath(path).startsWith(RealPath(folder) + QLatin1Char('/'));
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
    const QString limit = line.parser.value(line.workOrderLimit);
    options.workOrderLimit = limit.toInt(&isNumber);
    if (!isNumber || options.workOrderLimit < 0) {
        return Refuse(QStringLiteral("--work-order-limit takes a number of 0 or more, not \"%1\"")
                          .arg(limit));
    }
    const QString folder = line.parser.value(line.data);
    if (folder.isEmpty()) {
        return Refuse(QStringLiteral("--data is missing: it names the folder of the device"));
    }
    options.dataFolder = AbsolutePath(folder);
    if (line.parser.isSet(line.faultFile)) {
        options.faultFile = AbsolutePath(line.parser.value(line.faultFile));
        if (IsBelow(options.faultFile, options.dataFolder)) {
            return Refuse(QStringLiteral("--fault-file: %1 lies in the folder of the device, where "
                                         "uploads reach it; choose a place outside")
                              .arg(options.faultFile));
        }
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
