#ifndef CONFIRMATIONLOG_H
#define CONFIRMATIONLOG_H

#include <QMap>
#include <QString>
#include <functional>

#include "filestatus.h"
#include "filesystem.h"
#include "hostmodel.h"

/** The content of a file that a client confirmed. */
struct Confirmation
{
    FileStatus status; ///< of a file that had the content: as long as it stays, nothing is read
    QString sha256;    ///< of the content
};

/**
 * Confirmations by name, in a file of one line for each that outlives the program and a loss of
 * power. A new one is added at the end, so that it costs the same however many there are; of
 * several lines with one name the last counts. The file is written anew, without the lines that no
 * longer count, once it has twice as many as it had the last time; where the disk has no room for
 * both files, lines are added to the old one until it has.
 *
 * A line that a kill or a loss of power cut short was never confirmed, and does not count. A file
 * with lines that cannot be used is kept under another name; the lines that can be used still
 * count. Main thread only.
 */
class ConfirmationLog
{
public:
    /** Whether the file of a name is still there. */
    using Presence = std::function<bool(const QString &name)>;

    /**
     * Reads the file at `path`, whose folder exists. Names for which `isPresent` is false are
     * dropped when the file is written anew. Keeps the references.
     */
    ConfirmationLog(FileSystem &files, const QString &path, Presence isPresent,
                    IErrorReporter &errors);

    /** The confirmation of a name; a null pointer when there is none. */
    const Confirmation *Find(const QString &name) const;

    /**
     * True once the confirmation is on the disk. On failure, which is reported, it does not count,
     * now and after a restart. So while half of the disk's reserve is used up, see `DiskSpace`.
     */
    bool Add(const QString &name, const Confirmation &confirmation);

    /**
     * Forgets a confirmation, as its file is gone for good. When that cannot be stored, which is
     * reported, a file of the same name and content is confirmed after a restart.
     */
    void Remove(const QString &name);

    /** Remembers that a file of this status has the confirmed content, and need not be read. */
    void Recognize(const QString &name, const FileStatus &status);

private:
    using Confirmations = QMap<QString, Confirmation>;

    void Load();
    bool TakeLine(const QByteArray &line);
    bool Store(const QString &name, const Confirmation &confirmation, QString *error);
    bool Append(const QByteArray &line, QString *error);
    bool WriteAnew(const QString &name, const Confirmation &confirmation, QString *error);
    bool HasRoom(qint64 size, QString *error) const;
    bool IsWritingDue() const;

    FileSystem &fileSystem;
    QString filePath;
    Presence present;
    IErrorReporter &errorReporter;
    Confirmations confirmations;
    qint64 bytes = 0;        // of its whole lines
    int lines = 0;           // in it
    int linesWhenWhole = 0;  // when it was last written anew
    bool torn = false;       // there is part of a line behind them
    bool outdated = false;   // writing it anew is due
    bool appendable = false; // all lines of the file can be used
    bool keepFile = false;
};

#endif
