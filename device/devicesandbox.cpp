#include "devicesandbox.h"

#include <QDir>
#include <QFile>
#include <filesystemsandbox.h>
#include <link.h>

namespace {

// Read by libraries while the program runs: time zones, configuration, code loaded late, and what
// the C library and the sanitizers ask about the process and its processors.
const std::vector<std::string> readByLibraries = {
    "/dev/null", "/dev/urandom", "/etc/ld.so.cache", "/etc/localtime", "/etc/ssl",
    "/lib",      "/lib64",       "/proc/self",       "/proc/stat",     "/sys/devices/system/cpu",
    "/usr/lib",  "/usr/lib64",   "/usr/share",       "/usr/local/lib",
};

// The files of the program itself: whoever reports a crash or a leak reads function names there.
std::vector<std::string> LoadedFiles()
{
    std::vector<std::string> files = {"/proc/self/exe"};
    const auto add = [](dl_phdr_info *object, size_t, void *list) {
        if (*object->dlpi_name == '/') {
            static_cast<std::vector<std::string> *>(list)->emplace_back(object->dlpi_name);
        }
        return 0;
    };
    dl_iterate_phdr(add, &files);
    return files;
}

std::vector<std::string> Readable(const QStringList &others)
{
    std::vector<std::string> paths = LoadedFiles();
    paths.insert(paths.end(), readByLibraries.begin(), readByLibraries.end());
    for (const QString &path : others) {
        paths.push_back(QFile::encodeName(path).toStdString());
    }
    return paths;
}

} // namespace

bool DeviceSandbox::Enter(const QString &dataFolder, const QStringList &readable, QString *problem)
{
    if (!QDir().mkpath(dataFolder)) {
        return true;
    }
    const FileSystemSandbox::Result result = FileSystemSandbox::Confine(
        {{QFile::encodeName(dataFolder).toStdString()}, Readable(readable)});
    *problem = QString::fromStdString(result.reason);
    return result.outcome == FileSystemSandbox::Outcome::Confined;
}
