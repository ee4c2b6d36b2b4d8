#ifndef FILEMANAGERMODEL_H
#define FILEMANAGERMODEL_H

#include <array>
#include <functional>

#include "hostmodel.h"
#include "userfiledirectory.h"

/**
 * Lists, reads and deletes the user files.
 *
 * Paths are the client's and are judged by `UserFileDirectory`. Each piece of a download opens the
 * file anew: a descriptor per piece costs nothing beside 5 MB, and no download that was given up
 * keeps a deleted file on the disk. Main thread only.
 */
class FileManagerModel : public IFileManagerModel
{
public:
    /** Called for each file that was deleted. */
    using Deleted = std::function<void(const UserFile &file)>;

    /** Keeps the references; both objects outlive this one. */
    FileManagerModel(const UserFileDirectory &userFiles, IErrorReporter &errors,
                     Deleted onDeleted = {});

    /** `{"files": [{"path", "size", "modifiedTime"}]}`, in the order of the paths. */
    QJsonObject GetUserFiles() override;

    /**
     * Past the end of the file `*ok` and `*lastChunk` are true and there are no bytes, so a file
     * that shrinks during a download ends it. When it cannot be read, because it is none, is gone
     * or the disk fails, `*ok` is false and `*lastChunk` is true. A failing disk is reported.
     */
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override;

    /** Removes one regular file for good. A failure other than "no such file" is reported. */
    bool DeleteUserFile(QString path) override;

private:
    QByteArray ReadPiece(const OpenUserFile &open, bool *ok, qint64 offset, qint64 maxLength,
                         bool *lastChunk);
    QByteArray TakePlace(int size);

    const UserFileDirectory &directory;
    IErrorReporter &errorReporter;
    Deleted deleted;
    std::array<QByteArray, 3> places; // the last pieces of a download that goes on
    size_t turn = 0;                  // the place of the last piece
};

#endif
