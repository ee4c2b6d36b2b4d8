#include <QCoreApplication>
#include <QFileInfo>
#include <QTextCodec>
#include <algorithm>
#include <cstdio>
#include <malloc.h>

#include "datafolder.h"
#include "deviceapplication.h"
#include "devicelog.h"
#include "deviceoptions.h"
#include "devicesandbox.h"
#include "outputline.h"
#include "servicewatchdog.h"
#include "terminationsignals.h"

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;
constexpr int largeBlock = 1024 * 1024;

void SetUpProcess()
{
    // The pieces of a transfer go back to the kernel when they are freed, instead of staying in the
    // heaps of whichever threads passed them on.
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    // File names are UTF-8, whatever the locale says.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication::setApplicationName(QStringLiteral("parlowen-device"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PARLOWEN_DEVICE_VERSION));
}

void PrintError(const QString &text)
{
    PrintLine(stderr, QStringLiteral("parlowen-device: %1").arg(text));
}

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

bool PrepareFolder(DeviceOptions *options, TemporaryFolder *temporary, QString *error)
{
    if (options->temporary) {
        if (!temporary->Make(error)) {
            return false;
        }
        options->dataFolder = temporary->Path() + QLatin1String("/device");
    }
    return HasPlainName(options->dataFolder, error) &&
           (options->goldenFolder.isEmpty() ||
            CopyFolder(options->goldenFolder, options->dataFolder, error));
}

bool Confine(const DeviceOptions &options)
{
    // The folder rather than the file, which may come and go while the program runs.
    const QStringList readable = options.faultFile.isEmpty()
                                     ? QStringList()
                                     : QStringList{QFileInfo(options.faultFile).path()};
    QString problem;
    if (DeviceSandbox::Enter(options.dataFolder, readable, &problem)) {
        return true;
    }
    PrintError(problem);
    return !options.requireSandbox;
}

int Serve(DeviceOptions options)
{
    DeviceLog::Install(options.verbose ? Verbosity::Debug : Verbosity::Normal);
    QString error;
    TemporaryFolder temporary;
    if (!DeviceApplication::PortIsFree(options, &error) ||
        !PrepareFolder(&options, &temporary, &error)) {
        PrintError(error);
        return exitFailure;
    }
    if (!Confine(options)) {
        return exitFailure;
    }
    const TerminationSignals termination([] { QCoreApplication::quit(); });
    DeviceApplication device(options, stdout);
    if (!device.Start(&error)) {
        PrintError(error);
        return exitFailure;
    }
    PrintLine(stdout, QStringLiteral("listening on %1").arg(device.Address()));
    const ServiceWatchdog watchdog;
    const int status = QCoreApplication::exec();
    device.Stop();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    SetUpProcess();
    const QCoreApplication application(argc, argv);
    const DeviceOptions options = DeviceOptions::Parse(QCoreApplication::arguments());
    switch (options.action) {
    case DeviceOptions::Action::Serve:
        return Serve(options);
    case DeviceOptions::Action::Explain:
        std::puts(options.message.toUtf8().constData());
        return 0;
    case DeviceOptions::Action::Refuse:
        break;
    }
    PrintError(options.message);
    return exitUsage;
}
