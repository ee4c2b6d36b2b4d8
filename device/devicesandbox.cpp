#include "devicesandbox.h"

#include <QDir>
#include <QFile>
#include <filesystemsandbox.h>

namespace {

// Read by libraries while the program runs: time zones, configuration, code loaded late, and what
// the C library and the sanitizers ask about the process and its processors.
const std::vector<std::string> readable = {
    "/dev/null", "/dev/urandom", "/etc/ld.so.cache", "/etc/localtime", "/etc/ssl",
    "/lib",      "/lib64",       "/proc/self",       "/proc/stat",     "/sys/devices/system/cpu",
    "/usr/lib",  "/usr/lib64",   "/usr/share",       "/usr/local/lib",
};

} // namespace

bool DeviceSandbox::Enter(const QString &dataFolder, QString *problem)
{
    if (!QDir().mkpath(dataFolder)) {
        return true;
    }
    const FileSystemSandbox::Result result =
        FileSystemSandbox::Confine({{QFile::encodeName(dataFolder).toStdString()}, readable});
    *problem = QString::fromStdString(result.reason);
    return result.outcome == FileSystemSandbox::Outcome::Confined;
}
