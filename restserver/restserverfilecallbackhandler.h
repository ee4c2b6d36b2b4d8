#ifndef RESTSERVERFILECALLBACKHANDLER_H
#define RESTSERVERFILECALLBACKHANDLER_H

#include <QByteArray>
#include <QString>

#include "hostmodel.h"

class IUploadFile;

/** What the first part of an upload says. */
struct UploadMetadata
{
    QString problem; // why they are not JSON; empty when they are
    QString fileUri;
    qint64 fileSize = 0;
};

/**
 * Turns the events of the multipart parser into a file. The first part of an upload is a JSON
 * object with the target in "fileUri" and the size in "fileSize", the second the file's bytes;
 * their headers are not looked at.
 *
 *     handler.Reset();
 *     // for each piece of the body:
 *     //     NotifyPartStart, ProcessPartData..., NotifyPartEnd for each part in it
 *     handler.NotifyPieceEnd();
 *     bool stored = handler.GetFinalResult();
 *
 * An upload that ends early leaves its file open until the next `Reset`. An event that does not fit
 * the state is reported to the host or ignored; it never stops the upload of what follows.
 *
 * Main thread only, one upload at a time.
 */
class RestServerFileCallbackHandler : public IConstructable
{
public:
    RestServerFileCallbackHandler();

    void Construct(IApplicationModel *model) override;
    void Shutdown() override;

    /** Prepares for the next upload: closes and forgets the file of the last one. */
    void Reset();

    void NotifyPartStart();
    void ProcessPartData(const char *data, int length);
    void NotifyPartEnd();

    /** The file, if there is one, has all bytes so far from here on, also when no more come. */
    void NotifyPieceEnd();

    /**
     * The target named by the metadata, with `*ok` true; an empty string, with `*ok` false, when
     * the metadata is not JSON, the announced size does not fit, or the path does not begin with
     * the user-files directory's.
     */
    QString GetFilename(bool *ok);

    /** True when a file part was written and closed since `Reset`. */
    bool GetFinalResult();

protected:
    /** Makes the object behind the target; it is the handler's, which opens it. */
    virtual IUploadFile *NewFile(const QString &path);

    /** Reads the first part of an upload. */
    virtual UploadMetadata ReadMetadata(const QByteArray &json);

    /** The same, with nothing of the handler's; any thread whose stack is large enough. */
    static UploadMetadata ParseMetadata(const QByteArray &json);

    /** Is told why metadata were refused. */
    virtual void Refused(const QString &reason);

private:
    enum UploadState
    {
        Idle = 0,
        ReadingMetadata = 1,
        WritingFile = 2,
        UnusedState = 3, // entered by no event
        Failed = 4
    };

    void Report(const QString &message, int line);
    void OpenFile();
    void WriteToFile(const char *data, int length);
    void CloseFile();

    IApplicationModel *applicationModel;
    int state;
    IUploadFile *file; // owned, but for that of a part which another follows; null until one starts
    QByteArray metadata;
    QString targetPath;
    bool result;
};

#endif
