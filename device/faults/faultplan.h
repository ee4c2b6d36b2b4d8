#ifndef FAULTPLAN_H
#define FAULTPLAN_H

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

#include "hostmodel.h"

/** What can go wrong on purpose. */
enum class Fault
{
    /**
     * slow-call=MS: the first call of a model in each request, and that for each further piece of a
     * download, takes so many milliseconds longer
     */
    SlowCall,
    StorageAway, ///< storage-away: the guarded storage cannot be entered
    NoSpace,     ///< no-space: there is no room for an upload
    /**
     * write-fails=BYTES: the disk of the work orders and of the state is full after so many more
     * bytes; user files, which the library writes by itself, are no part of it
     */
    WriteFails,
    ReadFails,     ///< read-fails=OFFSET: downloads cannot read files from this position on
    DeleteRefused, ///< delete-refused: no user file can be deleted
    StoreFails     ///< store-fails: no work order can be stored
};

/**
 * The faults that the simulator is to show: those of the command line, and those of a control file,
 * which is read again whenever it has changed. The file holds one fault in a line, as on the
 * command line; empty lines and those that begin with "#" are passed over. Where both set a fault,
 * the file's value counts. A line that is no fault is reported and passed over.
 *
 * Main thread only.
 */
class FaultPlan
{
public:
    /** Each fault with its value, 0 for those without one. */
    using Faults = QMap<Fault, qint64>;

    /** Reads "name" or "name=value" into `*faults`. False, with one line why, when it is neither.
     */
    static bool Parse(const QString &text, Faults *faults, QString *error);

    /** The names of all faults, for the help text. */
    static QString Names();

    /** `texts` have been checked with `Parse`. The control file need not exist. */
    FaultPlan(const QStringList &texts, const QString &controlFile, IErrorReporter &errors);

    bool IsSet(Fault fault);

    /** The fault's value, none when it is not set. */
    std::optional<qint64> Value(Fault fault);

    /** Waits as long as `SlowCall` says. */
    void DelayCall();

    /** Counts up whenever the control file was read. */
    int Revision();

private:
    void Refresh();
    void ReadControlFile();
    QByteArray ControlFileVersion() const;

    Faults given;
    Faults inForce;
    QString controlFilePath;
    IErrorReporter &errorReporter;
    QByteArray version; // of the control file as it was read
    int revision = 0;
};

#endif
