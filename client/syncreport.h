#ifndef SYNCREPORT_H
#define SYNCREPORT_H

#include <QJsonArray>
#include <QSet>
#include <QVector>
#include <exception>

#include "clienterror.h"
#include "filerecord.h"

class Output;
class UserFiles;

/**
 * What became of the files of one synchronisation. A file counts as done only when the device does
 * not have it as pending any more: the answer to a confirmation that was corrupted on its way is
 * the same as to the one that was meant. Order of calls: one of `Confirmed`, `Failed` and `Skipped`
 * for each file, `TakeChanged` after all of them, then one of `CompareWith` and `NotCompared`, then
 * `Finish`.
 */
class SyncReport
{
public:
    /** `reportOutput` must live as long as the report. */
    explicit SyncReport(const Output &reportOutput);

    /** The device has accepted the confirmation of this file. */
    void Confirmed(const FileRecord &record);

    /** Both tell the user at once. */
    void Failed(const QString &path, const ClientError &error);
    void Skipped(const QString &path, const ClientError &reason);

    /** Nothing more can be done; what was done until then is told all the same. */
    void Stopped(ClientError &error);

    /**
     * The confirmed files that the device lists as something else by now: they count as not done
     * any more and are to be fetched once more.
     */
    QVector<FileRecord> TakeChanged(UserFiles &files);

    /** @param left what is pending at the end */
    void CompareWith(const QVector<FileRecord> &left);

    /**
     * In its place when the device does not tell what is pending: nothing is known to be done.
     * Throws `error` itself when there was no file.
     */
    void NotCompared(const ClientError &error);

    /** Prints the result and returns the status, that of the first failure. */
    ExitStatus Finish() const;

private:
    void AddFailure(const QString &path, const ClientError &error);

    const Output &output;
    QVector<FileRecord> done;
    QJsonArray failures;
    QJsonArray skipped;
    QSet<QString> failedPaths;
    ExitStatus status = ExitStatus::Done;
    std::exception_ptr stop;
};

#endif // SYNCREPORT_H
