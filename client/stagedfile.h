#ifndef STAGEDFILE_H
#define STAGEDFILE_H

#include <QString>

#include "hashingfile.h"

/**
 * A local file that appears under its own name only when it is whole: it is written under another
 * name in a folder of the same file system and renamed by `Commit`. Without that call, and when
 * SIGINT, SIGTERM or SIGHUP ends the program, the file of the other name is removed and what stood
 * at the target is as it was. One at a time. Failures throw a `ClientError` of status
 * `LocalFailure`.
 */
class StagedFile
{
public:
    /** Creates `staging`, in place of whatever an earlier run left there. */
    StagedFile(const QString &target, const QString &staging);
    ~StagedFile();
    StagedFile(const StagedFile &) = delete;
    StagedFile &operator=(const StagedFile &) = delete;

    /** To be written from its start to its end. */
    HashingFile &Device();

    /** Makes the content durable and gives it its name. */
    void Commit();

private:
    HashingFile file;
    QString targetName;
    bool committed = false;
};

#endif // STAGEDFILE_H
