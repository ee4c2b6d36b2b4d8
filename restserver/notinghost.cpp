#include "notinghost.h"

void NotingErrorReporter::ReportError(QString message, const char *sourceFile, int line)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        notes.append(message);
    }
    host->ErrorReporter()->ReportError(message, sourceFile, line);
}

QStringList NotingErrorReporter::TakeNotes()
{
    const std::lock_guard<std::mutex> lock(mutex);
    QStringList taken;
    taken.swap(notes);
    return taken;
}
