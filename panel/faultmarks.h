#ifndef FAULTMARKS_H
#define FAULTMARKS_H

#include <QVector>

#include "faultplan.h"
#include "journalmodel.h"

/**
 * Finds the requests that faults have struck. A fault bites in a model, which knows no request: a
 * bite goes to the first request that ends after it and was under way. A fault that makes requests
 * fail goes to one that has failed.
 */
class FaultMarks
{
public:
    /** Adds what has bitten since the last call. */
    void Add(const QVector<FaultPlan::Bite> &bites);

    /** The names of the faults that struck a request, which has just ended; empty for none. */
    QString Take(const JournalEntry &entry);

private:
    QVector<FaultPlan::Bite> open; // of no request so far, the oldest first
};

#endif
