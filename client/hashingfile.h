#ifndef HASHINGFILE_H
#define HASHINGFILE_H

#include <QFile>

#include "digest.h"

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
    QString Sha256() const;

    /** The sum of a whole file, or an empty text when it cannot be read. */
    static QString Sha256Of(const QString &name);

protected:
    qint64 readData(char *data, qint64 length) override;
    qint64 writeData(const char *data, qint64 length) override;

private:
    void Add(const char *data, qint64 length);

    Digest digest;
    qint64 count = 0;
};

#endif // HASHINGFILE_H
