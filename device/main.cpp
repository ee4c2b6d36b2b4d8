#include <QCoreApplication>
#include <QFileInfo>
#include <QTextCodec>
#include <algorithm>
#include <cstdio>
#include <malloc.h>

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

void WarnAboutPath(const QString &path)
{
    const bool plain = std::all_of(path.cbegin(), path.cend(),
                                   [](QChar character) { return character.unicode() < 0x80; });
    if (!plain) {
        PrintError(QStringLiteral("warning: downloads in pieces will not find files below %1: "
                                  "that path is not plain ASCII")
                       .arg(path));
    }
}

int Serve(const DeviceOptions &options)
{
    DeviceLog::Install(options.verbose ? Verbosity::Debug : Verbosity::Normal);
    QString error;
    if (!DeviceApplication::PortIsFree(&error)) {
        PrintError(error);
        return exitFailure;
    }
    // The folder rather than the file, which may come and go while the program runs.
    const QStringList readable = options.faultFile.isEmpty()
                                     ? QStringList()
                                     : QStringList{QFileInfo(options.faultFile).path()};
    if (!DeviceSandbox::Enter(options.dataFolder, readable, &error)) {
        PrintError(error);
        if (options.requireSandbox) {
            return exitFailure;
        }
    }
    const TerminationSignals termination([] { QCoreApplication::quit(); });
    DeviceApplication device(options, stdout);
    if (!device.Start(&error)) {
        PrintError(error);
        return exitFailure;
    }
    WarnAboutPath(options.dataFolder);
    PrintLine(stdout, QStringLiteral("listening on http://127.0.0.1:8081"));
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
