#ifndef DEVICELOG_H
#define DEVICELOG_H

#include <QtGlobal>

/** Whether debug lines are wanted. */
enum class Verbosity
{
    Normal, ///< warnings and worse
    Debug   ///< everything
};

/**
 * Where the Qt log of the program goes: to standard error, one line per message, with its time.
 * Messages come from any thread, those of the HTTP server included.
 */
class DeviceLog
{
public:
    /** Takes the log over. Called before the first thread is started. */
    static void Install(Verbosity verbosity);

private:
    static void Print(QtMsgType type, const QMessageLogContext &context, const QString &message);
};

#endif
