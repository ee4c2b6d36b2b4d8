#ifndef FAULTPLAN_H
#define FAULTPLAN_H

#include <QByteArray>
#include <QDateTime>
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
 * Any thread may ask and change it.
 */
class FaultPlan
{
public:
    /** A fault that has bitten. */
    struct Bite
    {
        FaultKind kind = FaultKind::SlowCall;
        QDateTime time; ///< in UTC
    };

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

    /** Counts up whenever the file was read or the plan changed otherwise. */
    int Revision();

    /** Sets a fault as if the command line had; it counts its bites anew. */
    void Set(const Fault &fault);

    /** Takes a fault back that the command line or `Set` has set. */
    void Clear(FaultKind kind);

    /** From now on bites are kept for `TakeBites`, the first thousand between two calls. */
    void KeepBites();

    /** What has bitten since the last call, the first bite first. */
    QVector<Bite> TakeBites();

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
    void NoteBite(Entry *entry);
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
    bool keepsBites = false;
    QVector<Bite> bites;
};

#endif
