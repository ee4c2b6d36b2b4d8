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
    StoreFails
};

/** One fault as it was asked for: a plain value. */
struct Fault
{
    FaultKind kind = FaultKind::SlowCall;
    qint64 value = 0; ///< 0 for a fault that takes none
    int count = 0;    ///< how often it bites; 0: always

    /**
     * Reads NAME[=VALUE][*COUNT]. None, with one line in `*error` that says why, when it is none.
     */
    static std::optional<Fault> Parse(const QString &text, QString *error);

    /** The names of all faults and what they take, for the help text. */
    static QString Names();
};

using Faults = QVector<Fault>;

#endif
