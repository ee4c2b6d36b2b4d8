#include "devicelog.h"

#include <QString>
#include <cstdio>

#include "outputline.h"

namespace {

// Set before any other thread exists and only read after that.
Verbosity wanted = Verbosity::Normal;

const char *NameOfType(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    case QtFatalMsg:
        break;
    }
    return "fatal";
}

} // namespace

void DeviceLog::Install(Verbosity verbosity)
{
    wanted = verbosity;
    qInstallMessageHandler(Print);
}

void DeviceLog::Print(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    Q_UNUSED(context)
    if (type != QtDebugMsg || wanted == Verbosity::Debug) {
        PrintLogLine(stderr, NameOfType(type), message);
    }
}
