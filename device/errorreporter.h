#ifndef ERRORREPORTER_H
#define ERRORREPORTER_H

#include <atomic>
#include <cstdio>

#include "hostmodel.h"

/**
 * Prints each reported error as one line, at once:
 *
 *     2024-05-17T09:30:12.345Z error: MESSAGE (SOURCE:LINE)
 *
 * The time is UTC. Line breaks and other control characters of the message become spaces.
 * Any thread may report.
 */
class ErrorReporter : public IErrorReporter
{
public:
    /** Prints to `output`, which stays the caller's and outlives the reporter. */
    explicit ErrorReporter(std::FILE *output = stderr);

    void ReportError(QString message, const char *sourceFile, int line) override;

    /** How many were reported. */
    quint64 Count() const { return count; }

private:
    std::FILE *stream;
    std::atomic<quint64> count{0};
};

#endif
