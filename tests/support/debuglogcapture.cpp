#include "debuglogcapture.h"

#include <QString>
#include <mutex>

namespace {

std::mutex linesMutex;
std::vector<std::string> capturedLines;      // guarded by linesMutex
QtMessageHandler handlerForOthers = nullptr; // set while no other thread logs

} // namespace

DebugLogCapture::DebugLogCapture()
{
    {
        const std::lock_guard<std::mutex> lock(linesMutex);
        capturedLines.clear();
    }
    previous = qInstallMessageHandler(Handle);
    handlerForOthers = previous;
}

DebugLogCapture::~DebugLogCapture()
{
    qInstallMessageHandler(previous);
}

std::vector<std::string> DebugLogCapture::Lines() const
{
    const std::lock_guard<std::mutex> lock(linesMutex);
    return capturedLines;
}

void DebugLogCapture::Handle(QtMsgType type, const QMessageLogContext &context,
                             const QString &message)
{
    if (type == QtDebugMsg) {
        const std::lock_guard<std::mutex> lock(linesMutex);
        capturedLines.push_back(message.toStdString());
    } else if (handlerForOthers != nullptr) {
        handlerForOthers(type, context, message);
    }
}
