#include "devicesandbox.h"

#include <QDir>
#include <QFile>
#include <link.h>

namespace {

// Read by libraries while the program runs: time zones, configuration and code loaded late.
const std::vector<std::string> readByLibraries = {
    "/dev/null", "/dev/urandom", "/etc/ld.so.cache", "/etc/localtime",
    "/etc/ssl",  "/lib",         "/lib64",           "/sys/devices/system/cpu",
    "/usr/lib",  "/usr/lib64",   "/usr/share",       "/usr/local/lib",
};

// What the C library and the sanitizers ask about the process and its processors.
const std::vector<std::string> readAboutTheProcess = {"/proc/self", "/proc/stat"};

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
    paths.insert(paths.end(), readAboutTheProcess.begin(), readAboutTheProcess.end());
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

UploadSandbox::UploadSandbox()
    : allowed(decision.get_future().share())
{}

bool UploadSandbox::Allow(const QString &storageFolder, QString *problem)
{
    constexpr bool movesBetweenFolders = false;
    domain = std::make_unique<FileSystemSandbox::Domain>(FileSystemSandbox::Rules{
        {QFile::encodeName(storageFolder).toStdString()}, readByLibraries, movesBetweenFolders});
    const bool usable = domain->Made().outcome != FileSystemSandbox::Outcome::Failed;
    *problem = usable ? QString() : QString::fromStdString(domain->Made().reason);
    decision.set_value(usable);
    return usable;
}

void UploadSandbox::Refuse()
{
    decision.set_value(false);
}

bool UploadSandbox::Enter() const
{
    return allowed.get() && domain->Enter().outcome != FileSystemSandbox::Outcome::Failed;
}
