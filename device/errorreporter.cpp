#include "errorreporter.h"

#include <utility>

#include "outputline.h"

ErrorReporter::ErrorReporter(std::FILE *output)
    : stream(output)
{}

ErrorReporter::~ErrorReporter()
{
    TellUntold();
}

void ErrorReporter::ReportError(QString message, const char *sourceFile, int line)
{
    ++count;
    const QString text =
        QStringLiteral("%1 (%2:%3)").arg(message, QLatin1String(sourceFile), QString::number(line));
    const std::lock_guard<std::mutex> lock(mutex);
    if (!IsOneTooMany(text)) {
        PrintLogLine(stream, "error", text);
    }
}

bool ErrorReporter::IsOneTooMany(const QString &text)
{
    constexpr int mostInASecond = 20;
    const auto now = std::chrono::steady_clock::now();
    if (text != latest || now - since >= std::chrono::seconds(1)) {
        TellUntold();
        latest = text;
        since = now;
        times = 0;
    }
    if (++times <= mostInASecond) {
        return false;
    }
    ++untold;
    return true;
}

void ErrorReporter::TellUntold()
{
    if (const quint64 more = std::exchange(untold, 0)) {
        PrintLogLine(
            stream, "error",
            QStringLiteral("reported %1 more times: %2").arg(QString::number(more), latest));
    }
}
