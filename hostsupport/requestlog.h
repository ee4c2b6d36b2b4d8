#ifndef REQUESTLOG_H
#define REQUESTLOG_H

#include <QByteArray>
#include <functional>

#include "requestobserver.h"

/**
 * Writes a line for each request that the server answered, as text or as JSON, and counts them. The
 * application hands it to the server and says where lines go:
 *
 *     RequestLog requestLog(RequestLog::Format::Text, PrintLine);
 *     RestServerOptions options = RestServerOptions::Prompt();
 *     options.observer = &requestLog;
 *
 * A line has no line end, and no control character in it. Of a long text, which a client may have
 * sent, it has the first 1,000 characters. Thread of the model only.
 */
class RequestLog final : public IRequestObserver
{
public:
    /** How a line is written. */
    enum class Format
    {
        Text, ///< "2026-01-31T10:15:30.123Z 192.0.2.1:40000 GET /info 200 0 412 0.8 ms"
        Json  ///< one object with "time", "client", "method", "uri", "status", "received", "sent",
              ///< "milliseconds", and where there are any "error" and "reason"
    };

    /** Takes a line; called for each request. */
    using Writer = std::function<void(const QByteArray &line)>;

    /** What was counted since the log was made. */
    struct Counters
    {
        qint64 requests = 0; ///< all of them
        qint64 refusals = 0; ///< answered with an error of the client's: 400 to 499, or in a body
        qint64 errors = 0;   ///< answered with 500 and more
        qint64 lateAnswers = 0; ///< the application took longer than 10 s
    };

    /** Writes lines of this format with this function. */
    RequestLog(Format lineFormat, Writer lineWriter);

    void RequestServed(const RequestRecord &record) override;

    /** What was counted so far. */
    const Counters &Counted() const { return counters; }

    /** The line of a record in one of the formats. */
    static QByteArray Line(const RequestRecord &record, Format format);

private:
    void Count(const RequestRecord &record);

    Format format;
    Writer writer;
    Counters counters;
};

#endif
