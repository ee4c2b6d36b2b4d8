#include "deviceprogram.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTextCodec>
#include <algorithm>
#include <cstdio>
#include <malloc.h>

#include "deviceapplication.h"
#include "devicelog.h"
#include "devicesandbox.h"
#include "outputline.h"
#include "servicewatchdog.h"
#include "terminationsignals.h"

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;
constexpr int largeBlock = 1024 * 1024;

// A client's path in a URI comes as bytes, and the rule for such paths compares text: a folder of
// another name than ASCII would be found by some calls and not by others.
bool HasPlainName(const QString &path, QString *error)
{
    const bool plain = std::all_of(path.cbegin(), path.cend(),
                                   [](QChar character) { return character.unicode() < 0x80; });
    if (!plain) {
        *error =
            QStringLiteral("cannot keep a device in %1: its path is not plain ASCII").arg(path);
    }
    return plain;
}

} // namespace

DeviceProgram::DeviceProgram(const QString &name, const QString &version)
    : programName(name)
{
    // The pieces of a transfer go back to the kernel when they are freed, instead of staying in the
    // heaps of whichever threads passed them on.
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    // File names are UTF-8, whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication::setApplicationName(name);
    QCoreApplication::setApplicationVersion(version);
}

bool DeviceProgram::Prepare(const QStringList &arguments)
{
    options = DeviceOptions::Parse(arguments);
    if (options.action == DeviceOptions::Action::Explain) {
        std::puts(options.message.toUtf8().constData());
        return false;
    }
    if (options.action == DeviceOptions::Action::Refuse) {
        Fail(options.message);
        status = exitUsage;
        return false;
    }
    DeviceLog::Install(options.verbose ? Verbosity::Debug : Verbosity::Normal);
    QString error;
    return (DeviceApplication::PortIsFree(options, &error) && PrepareFolder(&error)) || Fail(error);
}

bool DeviceProgram::PrepareFolder(QString *error)
{
    if (options.temporary) {
        if (!temporary.Make(error)) {
            return false;
        }
        options.dataFolder = temporary.Path() + QLatin1String("/device");
    }
    return HasPlainName(options.dataFolder, error) &&
           (options.goldenFolder.isEmpty() ||
            CopyFolder(options.goldenFolder, options.dataFolder, error));
}

bool DeviceProgram::Confine(QStringList readable) const
{
    // The folder rather than the file, which may come and go while the program runs.
    if (!options.faultFile.isEmpty()) {
        readable.append(QFileInfo(options.faultFile).path());
    }
    QString problem;
    if (DeviceSandbox::Enter(options.dataFolder, readable, &problem)) {
        return true;
    }
    PrintLine(stderr, programName + QLatin1String(": ") + problem);
    return !options.requireSandbox;
}

bool DeviceProgram::Fail(const QString &error)
{
    PrintLine(stderr, programName + QLatin1String(": ") + error);
    status = exitFailure;
    return false;
}

int DeviceProgram::Serve(DeviceApplication &device, const Run &run, const QStringList &readable)
{
    if (!Confine(readable)) {
        return exitFailure;
    }
    const TerminationSignals termination([] { QCoreApplication::quit(); });
    QString error;
    if (!device.Start(&error)) {
        if (error.isEmpty()) {
            return 0;
        }
        Fail(error);
        return exitFailure;
    }
    PrintLine(stdout, QStringLiteral("listening on %1").arg(device.Address()));
    const ServiceWatchdog watchdog;
    const int result = run();
    device.Stop();
    return result;
}
