#ifndef REPLACINGFILE_H
#define REPLACINGFILE_H

#include <QByteArray>
#include <QString>
#include <functional>
#include <sys/types.h>

#include "uploadfile.h"

/** The piece of a body that is being taken apart. */
struct BodyPiece
{
    const char *begin = nullptr;
    const char *end = nullptr;

    bool Holds(const char *data, int length) const
    {
        return !std::less<>()(data, begin) && !std::less<>()(end, data + length);
    }
};

/**
 * The target of an upload that nobody sees before it is whole. It is written without a name in the
 * folder of its target, or under a hidden name where the file system has no files without one, and
 * takes the target's place in one step.
 *
 *     ReplacingFile file(path, room);
 *     file.Open();
 *     file.Append(...); file.WriteOut();    // as often as there is something
 *     file.Close();
 *     if (wholeBodyCame) stored = file.Commit();
 *
 * Until `Commit` the old file stays as it is; without it nothing is left behind. A link is
 * followed. A target that is not a regular file, or that may not be written, is refused by `Open`.
 * The new file has the mode of the old one. One thread at a time uses an object.
 */
class ReplacingFile : public IUploadFile
{
public:
    /** Asked before `bytes` more are written; returns how many may be, fewer ends the upload. */
    using RoomForMore = std::function<qint64(qint64 bytes)>;

    /** `pieces` tells which piece of the body is being taken apart; it outlives the file. */
    ReplacingFile(const QString &path, const BodyPiece *pieces, RoomForMore roomForMore);
    ~ReplacingFile() override;
    ReplacingFile(const ReplacingFile &) = delete;
    ReplacingFile &operator=(const ReplacingFile &) = delete;

    /** How a hidden name begins. Nobody else is to touch, or be shown, such a file. */
    static constexpr char hiddenPrefix[] = ".parlowen-upload-";

    /** Whether a file can have this path, not one that is left of it in the file system's bytes. */
    static bool CanBeNamed(const QString &path);

    bool Open() override;
    bool IsOpen() const override { return open; }

    /**
     * Adds the bytes at the end. Slices that lie behind each other in one piece of a body are
     * written together, so `data` must stay as it is until the next `WriteOut`.
     */
    void Append(const char *data, int length) override;
    void WriteOut() override;
    void Close() override;

    /** Flushes the file to the disk and puts it in the target's place; true when it is there. */
    bool Commit();

    /** Why `Open`, a write or `Commit` failed; empty while none did. */
    QString Failure() const { return failure; }

private:
    bool FindTarget();
    bool CheckOldFile();
    bool OpenNameless();
    bool OpenHidden();
    bool PutInPlace();
    bool LinkTo(const QByteArray &name);
    void Fail(const char *what);
    void WritePending();
    bool AskForRoom(qint64 length);
    void Write(const char *data, qint64 length);

    RoomForMore room;
    QString path;
    QByteArray folder;     // of the target, links resolved
    QByteArray target;     // links resolved
    QByteArray hiddenName; // while the file has one
    mode_t oldMode = 0;
    bool replaces = false; // there is an old file
    int descriptor = -1;
    bool open = false;
    QString failure;

    const BodyPiece *pieces;
    const char *pendingBegin = nullptr; // what of the piece is to be written
    const char *pendingEnd = nullptr;
    qint64 written = 0;
    qint64 granted = 0; // by `room`
};

#endif
