#include "deviceoptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <arpa/inet.h>

#include "documentfile.h"

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
        , port(QStringLiteral("port"),
               QStringLiteral("Serve on this port (default 8081); 0 takes a free one, which the "
                              "line \"listening on\" tells."),
               QStringLiteral("number"), QStringLiteral("8081"))
        , listen(QStringLiteral("listen"),
                 QStringLiteral("Serve on this IPv4 address (default 127.0.0.1); 0.0.0.0 stands "
                                "for all. There is no login."),
                 QStringLiteral("address"), QStringLiteral("127.0.0.1"))
        , serving(QStringLiteral("serving"),
                  QStringLiteral("\"prompt\" (default) answers at once, \"classic\" as "
                                 "instruments in the field do."),
                  QStringLiteral("kind"), QStringLiteral("prompt"))
        , allowOrigin(QStringLiteral("allow-origin"),
                      QStringLiteral("Serve the web pages of <origin> too; may be given several "
                                     "times, \"*\" stands for any. Prompt serving only."),
                      QStringLiteral("origin"))
        , logRequests(QStringLiteral("log-requests"),
                      QStringLiteral("Print a line for each request on standard output; with "
                                     "\"=json\" a JSON object."),
                      QStringLiteral("format"))
        , empty(QStringLiteral("empty"),
                QStringLiteral("Fill a missing or empty folder with nothing but the description "
                               "of the device."))
        , temporary(QStringLiteral("temporary"),
                    QStringLiteral("Keep the device in a folder that goes with the process; takes "
                                   "the place of --data."))
        , from(QStringLiteral("from"),
               QStringLiteral("Fill a missing or empty folder with a copy of <dir>."),
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
        , userFileLimit(QStringLiteral("user-file-limit"),
                        QStringLiteral("Take no upload beside so many files on the storage, user "
                                       "files and templates (default 50000); none that replaces a "
                                       "file either."),
                        QStringLiteral("number"), QStringLiteral("50000"))
        , requireSandbox(QStringLiteral("require-sandbox"),
                         QStringLiteral("Do not start where the kernel cannot confine the program "
                                        "to the folder of the device."))
        , fault(QStringLiteral("fault"),
                QStringLiteral("Let something go wrong, *count times or always, in every request "
                               "or in those whose path begins with route; may be given several "
                               "times: %1.")
                    .arg(Fault::Names()),
                QStringLiteral("name[=value][*count][@route]"))
        , faultFile(
              QStringLiteral("fault-file"),
              QStringLiteral("Read faults from <file>, one in a line, whenever it changes. It "
                             "lies outside the folder of the device, where no upload "
                             "reaches it."),
              QStringLiteral("file"))
        , activity(QStringLiteral("activity"),
                   QStringLiteral("Measure every so many seconds (0.1 to 3600, default 5) while a "
                                  "work order is active: a result file appears and one of its "
                                  "tests is filled in."),
                   QStringLiteral("seconds"))
        , seed(QStringLiteral("seed"),
               QStringLiteral("What is measured follows from this number (default 1)."),
               QStringLiteral("number"), QStringLiteral("1"))
        , scenario(QStringLiteral("scenario"),
                   QStringLiteral("Let happen what <file> says: faults, new files and restarts, by "
                                  "time or by the number of the request."),
                   QStringLiteral("file"))
        , verbose(QStringLiteral("verbose"), QStringLiteral("Print debug lines on standard error."))
        , help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this text."))
        , version({QStringLiteral("v"), QStringLiteral("version")},
                  QStringLiteral("Print the version."))
    {
        parser.setApplicationDescription(
            QStringLiteral("A simulated instrument that serves its REST interface."));
        parser.addOptions({data,
                           temporary,
                           from,
                           empty,
                           port,
                           listen,
                           serving,
                           allowOrigin,
                           logRequests,
                           mode,
                           storageUnavailable,
                           workOrderLimit,
                           userFileLimit,
                           requireSandbox,
                           fault,
                           faultFile,
                           activity,
                           seed,
                           scenario,
                           verbose,
                           help,
                           version});
    }

    QCommandLineParser parser;
    QCommandLineOption data;
    QCommandLineOption port;
    QCommandLineOption listen;
    QCommandLineOption serving;
    QCommandLineOption allowOrigin;
    QCommandLineOption logRequests;
    QCommandLineOption empty;
    QCommandLineOption temporary;
    QCommandLineOption from;
    QCommandLineOption mode;
    QCommandLineOption storageUnavailable;
    QCommandLineOption workOrderLimit;
    QCommandLineOption userFileLimit;
    QCommandLineOption requireSandbox;
    QCommandLineOption fault;
    QCommandLineOption faultFile;
    QCommandLineOption activity;
    QCommandLineOption seed;
    QCommandLineOption scenario;
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

// Each of these reads some options into `*options`, and gives the reason when one is wrong.

QString ReadServing(const CommandLine &line, DeviceOptions *options)
{
    bool isNumber = false;
    options->port = line.parser.value(line.port).toUShort(&isNumber);
    if (!isNumber) {
        return QStringLiteral("--port takes a number from 0 to 65535, not \"%1\"")
            .arg(line.parser.value(line.port));
    }
    options->listenAddress = line.parser.value(line.listen);
    in_addr address = {};
    if (inet_pton(AF_INET, options->listenAddress.toLatin1().constData(), &address) != 1) {
        return QStringLiteral("--listen takes an IPv4 address, not \"%1\"")
            .arg(options->listenAddress);
    }
    const QString serving = line.parser.value(line.serving);
    if (serving == QLatin1String("classic")) {
        options->serving = RestServerOptions::Serving::Classic;
    } else if (serving != QLatin1String("prompt")) {
        return QStringLiteral("--serving takes \"prompt\" or \"classic\", not \"%1\"").arg(serving);
    }
    const QStringList origins = line.parser.values(line.allowOrigin);
    for (const QString &origin : origins) {
        options->allowedOrigins.append(origin.toUtf8());
    }
    const QString format = line.parser.value(line.logRequests);
    if (format == QLatin1String("json")) {
        options->requestLines = RequestReport::Lines::Json;
    } else if (format == QLatin1String("text")) {
        options->requestLines = RequestReport::Lines::Text;
    } else if (line.parser.isSet(line.logRequests)) {
        return QStringLiteral("--log-requests takes \"json\" or nothing, not \"%1\"").arg(format);
    }
    return QString();
}

QString ReadContent(const CommandLine &line, DeviceOptions *options)
{
    const QString folder = line.parser.value(line.data);
    options->temporary = line.parser.isSet(line.temporary);
    if (options->temporary && line.parser.isSet(line.data)) {
        return QStringLiteral("--temporary makes a folder of its own: leave --data out");
    }
    if (folder.isEmpty() && !options->temporary) {
        return QStringLiteral("--data is missing: it names the folder of the device");
    }
    options->dataFolder = folder.isEmpty() ? QString() : AbsolutePath(folder);
    const bool empty = line.parser.isSet(line.empty);
    options->content = empty ? SampleContent::Extent::Description : SampleContent::Extent::Whole;
    if (empty && line.parser.isSet(line.from)) {
        return QStringLiteral("--empty and --from exclude each other");
    }
    if (line.parser.isSet(line.from)) {
        options->goldenFolder = AbsolutePath(line.parser.value(line.from));
    }
    return QString();
}

QString ReadFaults(const CommandLine &line, DeviceOptions *options)
{
    if (line.parser.isSet(line.faultFile)) {
        options->faultFile = AbsolutePath(line.parser.value(line.faultFile));
        if (!options->temporary && IsBelow(options->faultFile, options->dataFolder)) {
            return QStringLiteral("--fault-file: %1 lies in the folder of the device, where "
                                  "uploads reach it; choose a place outside")
                .arg(options->faultFile);
        }
    }
    for (const QString &text : line.parser.values(line.fault)) {
        QString error;
        const std::optional<Fault> fault = Fault::Parse(text, &error);
        if (!fault) {
            return QStringLiteral("--fault: %1").arg(error);
        }
        options->faults.append(*fault);
    }
    return QString();
}

QString ReadLimit(const CommandLine &line, const QCommandLineOption &option, int *limit)
{
    bool isNumber = false;
    const QString text = line.parser.value(option);
    *limit = text.toInt(&isNumber);
    return isNumber && *limit >= 0 ? QString()
                                   : QStringLiteral("--%1 takes a number of 0 or more, not \"%2\"")
                                         .arg(option.names().constFirst(), text);
}

QString ReadInstrument(const CommandLine &line, DeviceOptions *options)
{
    bool isNumber = false;
    const QString mode = line.parser.value(line.mode);
    options->mode = mode.toInt(&isNumber);
    if (!isNumber) {
        return QStringLiteral("--mode takes a whole number, not \"%1\"").arg(mode);
    }
    options->storageAvailable = !line.parser.isSet(line.storageUnavailable);
    const QString reason = ReadLimit(line, line.workOrderLimit, &options->workOrderLimit);
    return reason.isEmpty() ? ReadLimit(line, line.userFileLimit, &options->userFileLimit) : reason;
}

QString ReadScenario(const CommandLine &line, DeviceOptions *options)
{
    if (!line.parser.isSet(line.scenario)) {
        return QString();
    }
    const QString path = line.parser.value(line.scenario);
    QString error;
    const std::optional<QByteArray> text = DocumentFile::Read(path, &error);
    const auto events = text ? Scenario::Parse(QString::fromUtf8(*text), &error) : std::nullopt;
    if (!events) {
        return QStringLiteral("--scenario: %1: %2")
            .arg(path, error.isEmpty() ? QStringLiteral("there is no such file") : error);
    }
    options->scenario = *events;
    return QString();
}

QString ReadActivity(const CommandLine &line, DeviceOptions *options)
{
    bool isNumber = false;
    const QString seed = line.parser.value(line.seed);
    options->seed = seed.toUInt(&isNumber);
    if (!isNumber) {
        return QStringLiteral("--seed takes a number from 0 to 4294967295, not \"%1\"").arg(seed);
    }
    if (!line.parser.isSet(line.activity)) {
        return QString();
    }
    const QString text = line.parser.value(line.activity);
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.1 && seconds <= 3600)) {
        return QStringLiteral("--activity takes a number of seconds from 0.1 to 3600, not \"%1\"")
            .arg(text);
    }
    options->activity = std::chrono::milliseconds(qRound64(seconds * 1000));
    return QString();
}

DeviceOptions ReadValues(const CommandLine &line)
{
    DeviceOptions options;
    for (const auto read :
         {ReadInstrument, ReadContent, ReadServing, ReadFaults, ReadActivity, ReadScenario}) {
        const QString reason = read(line, &options);
        if (!reason.isEmpty()) {
            return Refuse(reason);
        }
    }
    options.action = DeviceOptions::Action::Serve;
    options.requireSandbox = line.parser.isSet(line.requireSandbox);
    options.verbose = line.parser.isSet(line.verbose);
    return options;
}

// The parser knows options with a value and without one, but none that may do without.
QStringList WithDefaults(QStringList arguments)
{
    arguments.replaceInStrings(QRegularExpression(QStringLiteral("^--log-requests$")),
                               QStringLiteral("--log-requests=text"));
    arguments.replaceInStrings(QRegularExpression(QStringLiteral("^--activity$")),
                               QStringLiteral("--activity=5"));
    return arguments;
}

} // namespace

bool DeviceOptions::NeedsLine() const
{
    return faultsMayCome || !faultFile.isEmpty() || !scenario.isEmpty() ||
           std::any_of(faults.begin(), faults.end(),
                       [](const Fault &fault) { return fault.NeedsTheLine(); });
}

DeviceOptions DeviceOptions::Parse(const QStringList &arguments)
{
    CommandLine line;
    if (!line.parser.parse(WithDefaults(arguments))) {
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
