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
 * line; empty lines and those that begin with "#" are passed over. Where both set a fault for the
 * same route, the file's counts, and of two lines the later one. A line that is no fault is
 * reported and passed over.
 *
 * The line in front of the server asks with the path of a request. The host does not know which
 * request it is asked for: there a fault with a route bites while a request of that route is under
 * way.
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
    std::optional<qint64> Value(FaultKind kind, const QByteArray &path);

    /** Tells that the fault has bitten once. */
    void Count(FaultKind kind);

    /** Whether the fault is in force; if so, it has bitten once. */
    bool Bites(FaultKind kind);
    bool Bites(FaultKind kind, const QByteArray &path);

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

    /** A request of this path is under way until `EndRequest` is called as often. */
    void BeginRequest(const QByteArray &path);
    void EndRequest(const QByteArray &path);

private:
    struct Entry
    {
        Fault fault;
        int bites = 0; ///< so far
    };
    using Entries = QVector<Entry>;

    static std::optional<qint64> ValueOf(const Entry *entry);
    static void Add(Entries *entries, const Fault &fault);
    static Entry *FindIn(Entries *entries, const Fault &fault);
    static bool IsUsedUp(const Entry &entry);

    // With the mutex held. `path` is null for the host.
    bool NoteBite(Entry *entry); // whether there is one
    Entry *InForce(FaultKind kind, const QByteArray *path);
    bool Concerns(const Fault &fault, const QByteArray *path) const;
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
    QVector<QByteArray> underWay; // paths
};

#endif
