#ifndef UPLOADFILE_H
#define UPLOADFILE_H

#include <QFile>

/**
 * The target of an upload: a file that takes bytes in slices of any size. A multipart body is cut
 * at every CR, so most slices are short; they are gathered and written together. What no `WriteOut`
 * has followed is lost when the process ends.
 *
 * Main thread only.
 */
class UploadFile : public QFile
{
public:
    explicit UploadFile(const QString &path);
    ~UploadFile() override;

    /** Adds the bytes at the end. Whether the disk takes them is not checked. */
    void Append(const char *data, int length);

    /** Writes what was gathered, so that the file has all that it was given. */
    void WriteOut();

    /** Writes what was gathered, then closes. */
    void close() override;

private:
    void WriteGathered();

    QByteArray gathered; // never grows beyond its reserve
};

#endif
