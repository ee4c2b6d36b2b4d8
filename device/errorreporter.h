#ifndef ERRORREPORTER_H
#define ERRORREPORTER_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>

#include "hostmodel.h"

/**
 * Prints each reported error as one line, at once:
 *
 *     2024-05-17T09:30:12.345Z error: MESSAGE (SOURCE:LINE)
 *
 * The time is UTC. Line breaks and other control characters of the message become spaces. Of an
 * error that is reported over and over 20 lines are printed in a second; how many more there were
 * is told in a line of its own, once another error is reported or the second is over. Any thread
 * may report.
 */
class ErrorReporter : public IErrorReporter
{
public:
    /** Prints to `output`, which stays the caller's and outlives the reporter. */
    explicit ErrorReporter(std::FILE *output = stderr);

    ~ErrorReporter();
    ErrorReporter(const ErrorReporter &) = delete;
    ErrorReporter &operator=(const ErrorReporter &) = delete;

    void ReportError(QString message, const char *sourceFile, int line) override;

    /** How many were reported. */
    quint64 Count() const { return count; }

private:
    bool IsOneTooMany(const QString &text);
    void TellUntold();

    std::FILE *stream;
    std::mutex mutex;
    QString latest;                              // guarded by mutex
    std::chrono::steady_clock::time_point since; // guarded by mutex: of the second that counts
    int times = 0;                               // guarded by mutex: in that second
    quint64 untold = 0;                          // guarded by mutex
    std::atomic<quint64> count{0};
};

#endif
