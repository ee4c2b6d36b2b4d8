#ifndef UPLOADFILE_H
#define UPLOADFILE_H

#include <QFile>

/** The target of an upload as the upload handler writes it: opened, appended to, closed. */
class IUploadFile
{
public:
    virtual ~IUploadFile() = default;

    /** Makes or truncates the file; false when that is not possible. */
    virtual bool Open() = 0;

    virtual bool IsOpen() const = 0;

    /** Adds the bytes at the end. They may be kept until the next `WriteOut` or `Close`. */
    virtual void Append(const char *data, int length) = 0;

    /** Writes what was kept, so that the file has all that it was given. */
    virtual void WriteOut() = 0;

    /** Writes what was kept, then closes. */
    virtual void Close() = 0;
};

/**
 * A file that is written where it is to be. A multipart body is cut at every CR, so most slices are
 * short; they are gathered and written together. What no `WriteOut` has followed is lost when the
 * process ends, and whether the disk takes the bytes is not checked.
 *
 * Main thread only.
 */
class UploadFile : public IUploadFile
{
public:
    explicit UploadFile(const QString &path);
    ~UploadFile() override;

    bool Open() override;
    bool IsOpen() const override { return file.isOpen(); }
    void Append(const char *data, int length) override;
    void WriteOut() override;
    void Close() override;

private:
    void WriteGathered();

    QFile file;
    QByteArray gathered; // never grows beyond its reserve
};

#endif
