#include "requestreport.h"

#include "errorreporter.h"
#include "outputline.h"

namespace {

constexpr int firstFailure = 400;

bool HasFailed(const RequestRecord &record)
{
    return record.status >= firstFailure || !record.error.isEmpty();
}

} // namespace

RequestReport::RequestReport(Lines lines, std::FILE *output, std::FILE *failures,
                             const ErrorReporter &errorReporter)
    : failureStream(failures)
    , reporter(errorReporter)
{
    if (lines != Lines::None) {
        const auto format =
            lines == Lines::Json ? RequestLog::Format::Json : RequestLog::Format::Text;
        log = std::make_unique<RequestLog>(format, [output](const QByteArray &line) {
            PrintLine(output, QString::fromUtf8(line));
        });
    }
}

void RequestReport::RequestServed(const RequestRecord &record)
{
    if (log) {
        log->RequestServed(record);
    }
    // What was reported is on the stream already, with its reason: one line is enough.
    const quint64 before = std::exchange(reported, reporter.Count());
    if (HasFailed(record) && before == reported) {
        PrintLogLine(failureStream, "refused", Failure(record));
    }
    if (next != nullptr) {
        next->RequestServed(record);
    }
}

void RequestReport::TransferMoved(const TransferProgress &progress)
{
    if (next != nullptr) {
        next->TransferMoved(progress);
    }
}

QString RequestReport::Failure(const RequestRecord &record)
{
    QStringList reasons = record.reports;
    if (!record.error.isEmpty() && !reasons.contains(record.error)) {
        reasons.prepend(record.error);
    }
    return QStringLiteral("%1 %2: %3, %4")
        .arg(QString::fromUtf8(record.method), QString::fromUtf8(record.uri),
             QString::number(record.status), reasons.join(QStringLiteral("; ")));
}
