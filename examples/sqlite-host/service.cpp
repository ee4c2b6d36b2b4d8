#include "service.h"

#include <QFile>
#include <cstdio>
#include <restserveroptions.h>

namespace {

// Uploads are written by the HTTP threads, which need nothing but the user files: whatever path a
// client names, they do not reach the database.
FileSystemSandbox::Rules OnlyUserFiles(const QDir &folder)
{
    const std::string userFiles = QFile::encodeName(folder.filePath("files")).toStdString();
    return {{userFiles}, FileSystemSandbox::TimeZoneFiles(), false};
}

// A kernel without Landlock serves unconfined and says so.
bool Enter(const FileSystemSandbox::Domain &domain)
{
    const FileSystemSandbox::Result result = domain.Enter();
    if (result.outcome != FileSystemSandbox::Outcome::Confined) {
        std::fprintf(stderr, "sqlite-host: uploads are not confined: %s\n", result.reason.c_str());
    }
    return result.outcome != FileSystemSandbox::Outcome::Failed;
}

} // namespace

Service::Service(const QDir &folder)
    : device(folder, &server)
    , uploads(OnlyUserFiles(folder))
{
    RestServerOptions options = RestServerOptions::Prompt();
    options.errorLogFile.clear();
    options.prepareWorker = [this] { return Enter(uploads); };
    server.SetOptions(options);
    server.Construct(&device);
    if (device.Problem().isEmpty()) {
        server.Start();
    }
    if (server.Running()) {
        watchdog = std::make_unique<ServiceWatchdog>();
    }
}

Service::~Service()
{
    watchdog.reset();
    if (server.Running()) {
        server.Stop();
    }
}

QString Service::Problem()
{
    if (!device.Problem().isEmpty()) {
        return "device.db: " + device.Problem();
    }
    return server.Running() ? QString() : QStringLiteral("port 8081 is taken");
}
