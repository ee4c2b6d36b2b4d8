#ifndef STAGEDFILE_H
#define STAGEDFILE_H

#include <QFile>
#include <QString>

#include "sha256.h"

/**
 * A file that computes the SHA-256 of what passes through it, so that a transfer needs no second
 * pass over its bytes. Open it with `QIODevice::Unbuffered` and read or write it from its start to
 * its end; going back to the start begins a new sum.
 */
class HashingFile : public QFile
{
public:
    explicit HashingFile(const QString &name);

    bool seek(qint64 position) override;

    /** Bytes read or written since the start. */
    qint64 Count() const;

    /** Their sum as lower-case hexadecimal. */
    QString Digest() const;

    /** The sum of a whole file, or an empty text when it cannot be read. */
    static QString Sha256Of(const QString &name);

protected:
    qint64 readData(char *data, qint64 length) override;
    qint64 writeData(const char *data, qint64 length) override;

private:
    void Add(const char *data, qint64 length);

    Sha256 digest;
    qint64 count = 0;
};

/**
 * A local file that appears under its own name only when it is whole: it is written under another
 * name in a folder of the same file system and renamed by `Commit`. Without that call, and when
 * a signal ends the program at once, the file of the other name is removed and what stood at the
 * target is as it was. One at a time. Failures throw a `ClientError` of status
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
    bool ended = false;
};

#endif // STAGEDFILE_H
