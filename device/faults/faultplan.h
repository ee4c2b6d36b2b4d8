#ifndef FAULTPLAN_H
#define FAULTPLAN_H

#include <QByteArray>
#include <mutex>

#include "fault.h"
#include "hostmodel.h"

/**
 * The faults that the simulator is to show: those of the command line, and those of a file, which
 * is read again whenever it has changed. The file holds one fault in a line, as on the command
 * line; empty lines and those that begin with "#" are passed over. Where both set a fault, the
 * file's counts, and of two lines the later one. A line that is no fault is reported and passed
 * over.
 *
 * Any thread may ask.
 */
class FaultPlan
{
public:
    /** `faultFile` need not exist; an empty path stands for none. The reporter outlives this. */
    FaultPlan(const Faults &commandLine, const QString &faultFile, IErrorReporter &errors);

    /** The fault's value, 0 for one without; none when it is not in force. Uses up nothing. */
    std::optional<qint64> Value(FaultKind kind);

    /** Tells that the fault has bitten once. */
    void Count(FaultKind kind);

    /** Whether the fault is in force; if so, it has bitten once. */
    bool Bites(FaultKind kind);

    /** Waits as long as `SlowCall` says. */
    void DelayCall();

    /** Counts up whenever the file was read. */
    int Revision();

private:
    struct Entry
    {
        Fault fault;
        int bites = 0; ///< so far
    };
    using Entries = QVector<Entry>;

    static void Add(Entries *entries, const Fault &fault);
    static Entry *FindIn(Entries *entries, FaultKind kind);
    static bool IsUsedUp(const Entry &entry);

    // With the mutex held.
    Entry *InForce(FaultKind kind);
    void Refresh();
    void ReadFaultFile();
    QByteArray FaultFileVersion() const;

    const QString faultFilePath;
    IErrorReporter &errorReporter;

    std::mutex mutex; // for all below
    Entries given;
    Entries fromFile;
    QByteArray version; // of the file as it was read
    int revision = 0;
};

#endif
