#ifndef REQUESTREPORT_H
#define REQUESTREPORT_H

#include <cstdio>
#include <functional>
#include <memory>

#include "requestlog.h"

class ErrorReporter;

/**
 * Tells people what the server did: a line for each request where that was asked for, and in any
 * case one for each that failed. Main thread only.
 */
class RequestReport : public IRequestObserver
{
public:
    enum class Lines
    {
        None,
        Text,
        Json
    };

    /** Lines go to `output`, failures to `failures`; all objects outlive this one. */
    RequestReport(Lines lines, std::FILE *output, std::FILE *failures,
                  const ErrorReporter &errorReporter);

    /** Tells another observer too, which outlives this one; a null pointer for none. */
    void PassOn(IRequestObserver *observer) { next = observer; }

    void RequestServed(const RequestRecord &record) override;
    void TransferMoved(const TransferProgress &progress) override;

    /** "GET /info: 500, the reason". */
    static QString Failure(const RequestRecord &record);

private:
    std::unique_ptr<RequestLog> log; // only where lines are wanted
    std::FILE *failureStream;
    const ErrorReporter &reporter;
    IRequestObserver *next = nullptr;
    quint64 reported = 0; // lines of the reporter before this request
};

#endif
