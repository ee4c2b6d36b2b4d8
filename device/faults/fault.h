#ifndef FAULT_H
#define FAULT_H

#include <QByteArray>
#include <QString>
#include <QVector>
#include <optional>

/** What can go wrong on purpose. The table in fault.cpp says which fault bites where. */
enum class FaultKind
{
    SlowCall,
    StorageAway,
    NoSpace,
    WriteFails,
    ReadFails,
    DeleteRefused,
    StoreFails,
    Busy,
    Http500,
    DropAfter,
    StallAfter,
    Throttle,
    CorruptDownload,
    LateAnswer
};

/** What there is to know about a fault before it is asked for: a plain value. */
struct FaultDescription
{
    QString name;
    FaultKind kind = FaultKind::SlowCall;
    QString unit; ///< of the number behind the name; empty for a fault that takes none
    qint64 least = 0;
    qint64 most = 0;
    QString place; ///< where it bites, for people
};

/** One fault as it was asked for: a plain value. */
struct Fault
{
    FaultKind kind = FaultKind::SlowCall;
    qint64 value = 0;      ///< 0 for a fault that takes none
    int count = 0;         ///< how often it bites; 0: always
    QByteArray route = {}; ///< requests whose path begins so; empty: all

    /** Whether it bites on the line in front of the server, rather than in the host. */
    bool IsOfTheLine() const;

    /** Whether it can only be told by whoever sees the requests come. */
    bool NeedsTheLine() const { return IsOfTheLine() || !route.isEmpty(); }

    /**
     * Reads NAME[=VALUE][*COUNT][@ROUTE]. None, with one line in `*error` that says why, when it is
     * none.
     */
    static std::optional<Fault> Parse(const QString &text, QString *error);

    /** All faults, in the order in which people are told of them. */
    static QVector<FaultDescription> All();

    /** The names of all faults and what they take, for the help text. */
    static QString Names();
};

using Faults = QVector<Fault>;

#endif
