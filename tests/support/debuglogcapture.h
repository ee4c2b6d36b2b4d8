#ifndef DEBUGLOGCAPTURE_H
#define DEBUGLOGCAPTURE_H

#include <QtGlobal>
#include <string>
#include <vector>

/**
 * Collects the lines of the Qt debug log, from all threads, for as long as it lives. Messages of
 * other kinds still go where they went before. One at a time.
 */
class DebugLogCapture
{
public:
    DebugLogCapture();
    ~DebugLogCapture();
    DebugLogCapture(const DebugLogCapture &) = delete;
    DebugLogCapture &operator=(const DebugLogCapture &) = delete;

    /** The lines so far, in UTF-8. */
    std::vector<std::string> Lines() const;

private:
    static void Handle(QtMsgType type, const QMessageLogContext &context, const QString &message);

    QtMessageHandler previous;
};

#endif
