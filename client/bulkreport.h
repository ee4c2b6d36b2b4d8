#ifndef BULKREPORT_H
#define BULKREPORT_H

#include <QJsonArray>
#include <QJsonObject>
#include <QVector>
#include <exception>
#include <functional>

#include "clienterror.h"

class Output;

/**
 * What became of the things that one command was given: one that fails does not keep the others.
 * The exit status is that of the first failure. Without a connection, and after a signal, nothing
 * more is tried; what was done until then is told all the same.
 */
class BulkReport
{
public:
    /** @param nameKey what a thing is called in JSON, "path" or "file" */
    BulkReport(const Output &reportOutput, const char *nameKey);

    /** Does the work for each; `work` returns what JSON says of a success. */
    void ForEach(const QVector<QString> &names,
                 const std::function<QJsonObject(const QString &)> &work);

    /** Tells the user at once. */
    void Failed(const QString &name, const ClientError &error);

    /** What cannot be done for anybody, by its name alone. */
    void Skipped(const QString &name, const ClientError &reason);

    /** @param doneKey under which JSON has the successes */
    ExitStatus Finish(const char *doneKey) const;

private:
    void Add(QJsonArray &list, const QString &name, const ClientError &error);

    const Output &output;
    const char *const key;
    QJsonArray done;
    QJsonArray failed;
    QJsonArray skipped;
    ExitStatus status = ExitStatus::Done;
    QString stopMessage;
    std::exception_ptr stop; ///< what ended the work before its time
};

#endif // BULKREPORT_H
