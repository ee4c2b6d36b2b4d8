#ifndef SYNCREPORT_H
#define SYNCREPORT_H

#include <QJsonArray>
#include <QSet>
#include <QVector>

#include "clienterror.h"
#include "filerecord.h"

class ClientError;
class Output;

/**
 * What became of the files of one synchronisation. A file counts as done only when the device does
 * not have it as pending any more: the answer to a confirmation that was corrupted on its way is
 * the same as to the one that was meant. Order of calls: one of `Confirmed` and `Failed` for each
 * file, then one of `CompareWith` and `NotCompared`, then the rest.
 */
class SyncReport
{
public:
    /** `reportOutput` must live as long as the report. */
    explicit SyncReport(const Output &reportOutput);

    /** The device has accepted the confirmation of this file. */
    void Confirmed(const FileRecord &record);

    /** Tells the user at once. */
    void Failed(const QString &path, const ClientError &error);

    /** @param left what is pending at the end */
    void CompareWith(const QVector<FileRecord> &left);

    /**
     * In its place when the device does not tell what is pending: nothing is known to be done.
     * Throws `error` itself when there was no file.
     */
    void NotCompared(const ClientError &error);

    /** That of the first failure. */
    ExitStatus Status() const;

    void Print() const;

private:
    void AddFailure(const QString &path, const ClientError &error);

    const Output &output;
    QVector<FileRecord> done;
    QJsonArray failures;
    QSet<QString> failedPaths;
    ExitStatus status = ExitStatus::Done;
};

#endif // SYNCREPORT_H
