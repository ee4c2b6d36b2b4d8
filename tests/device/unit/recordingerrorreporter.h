#ifndef RECORDINGERRORREPORTER_H
#define RECORDINGERRORREPORTER_H

#include <QStringList>

#include "hostmodel.h"

/** Keeps the messages that were reported. */
class RecordingErrorReporter : public IErrorReporter
{
public:
    void ReportError(QString message, const char *, int) override { messages.append(message); }

    QStringList messages;
};

#endif
