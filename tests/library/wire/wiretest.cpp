#include "wiretest.h"

#include <QFile>
#include <mutex>
#include <random>

namespace {

std::mutex logMutex;
QStringList logLines; // guarded by logMutex

void KeepLine(QtMsgType, const QMessageLogContext &, const QString &line)
{
    const std::lock_guard<std::mutex> lock(logMutex);
    logLines << line;
}

constexpr char cacheHeaders[] =
    "Cache-Control: no-cache, no-store, must-revalidate, private, max-age=0\r\n"
    "Expires: 0\r\n"
    "Pragma: no-cache\r\n";

} // namespace

DebugLog::DebugLog()
    : previous(qInstallMessageHandler(KeepLine))
{
    const std::lock_guard<std::mutex> lock(logMutex);
    logLines.clear();
}

DebugLog::~DebugLog()
{
    qInstallMessageHandler(previous);
}

QStringList DebugLog::Lines() const
{
    const std::lock_guard<std::mutex> lock(logMutex);
    return logLines;
}

WireDevice *WireDevice::instance = nullptr;

WireDevice::WireDevice()
{
    host.server = &server;
    server.SetOptions(Options());
    server.Construct(&host);
}

// The same tests run for each way of serving; which one it is comes from outside.
RestServerOptions WireDevice::Options()
{
    return qgetenv("PARLOWEN_SERVING") == "prompt" ? RestServerOptions::Prompt()
                                                   : RestServerOptions();
}

WireDevice::~WireDevice()
{
    server.Stop();
}

WireTest::WireTest()
    : host(WireDevice::instance->host)
    , server(WireDevice::instance->server)
{
    host.calls.clear();
    host.script = WireHost::Script();
    if (!server.Running()) {
        server.Start();
    }
}

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    WireDevice device;
    WireDevice::instance = &device;
    return RUN_ALL_TESTS();
}

std::string OkHeader(const std::string &contentType, size_t length)
{
    return "HTTP/1.1 200 OK\r\n" + std::string(cacheHeaders) + "Content-Type: " + contentType +
           "\r\nContent-Length: " + std::to_string(length) +
           "\r\nDate: *\r\nConnection: close\r\n\r\n";
}

std::string ErrorReply(const std::string &status, const std::string &text)
{
    return "HTTP/1.1 " + status + "\r\n" + std::string(cacheHeaders) +
           "Content-Type: text/plain; charset=utf-8\r\nDate: *\r\nConnection: close\r\n\r\nError " +
           status.substr(0, 3) + ": " + status.substr(4) + "\n" + text;
}

std::string ErrorBody(const std::string &message)
{
    return "{\n    \"errorMessage\": \"" + message + "\"\n}\n";
}

std::string UploadBody(const QString &target, const std::string &content,
                       const std::string &boundary)
{
    return boundary + "\r\nContent-Disposition: form-data; name=\"metadata\"\r\n\r\n" +
           "{\"fileUri\": \"" + target.toStdString() +
           "\", \"fileSize\": " + std::to_string(content.size()) + "}\r\n" + boundary +
           "\r\nContent-Disposition: form-data; name=\"file\"\r\n\r\n" + content + "\r\n" +
           boundary + "--\r\n";
}

std::string RandomBytes(size_t count)
{
    std::mt19937_64 generator(1);
    std::string bytes(count + 8, '\0');
    for (size_t i = 0; i < count; i += 8) {
        const auto word = generator();
        std::copy_n(reinterpret_cast<const char *>(&word), 8, &bytes[i]);
    }
    bytes.resize(count);
    return bytes;
}

std::string FileContent(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "no file";
}
