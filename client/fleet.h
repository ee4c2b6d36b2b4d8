#ifndef FLEET_H
#define FLEET_H

#include <QHash>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QVector>

#include "clienterror.h"
#include "devicebook.h"

class Output;

/**
 * Runs one synchronisation for each named device, so many at a time, each in a process of its own
 * and into a folder of its own: one that is slow, dead or wrong keeps nobody else. A signal is
 * passed on to them.
 */
class Fleet
{
public:
    /** @param syncArguments what `sync` is given but for the device and the folder */
    Fleet(const Output &fleetOutput, QStringList syncArguments, int atOnce);

    /** Returns the worst status, that is, the highest, after one table for all. */
    ExitStatus Sync(const QVector<NamedDevice> &devices, const QString &folder);

private:
    struct Result
    {
        QString name;
        int synchronised = 0;
        int failed = 0;
        int status = 0;
        QString reason;
        QJsonObject document;
    };

    void Start(const NamedDevice &device, const QString &folder);
    void Finished(const QString &name, QProcess &process);
    void Print() const;

    const Output &output;
    const QStringList arguments;
    const int most;
    QVector<Result> results;
    QHash<QString, QProcess *> running;
};

#endif // FLEET_H
