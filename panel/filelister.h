#ifndef FILELISTER_H
#define FILELISTER_H

#include <QObject>
#include <QThreadPool>
#include <QVector>

#include "userfiledirectory.h"

/**
 * Lists the user files in a thread of its own: a folder stays locked as long as a large file in it
 * is replaced, and a display must not wait for that. Main thread only.
 */
class FileLister : public QObject
{
    Q_OBJECT

public:
    /** `folder` is that of the user files. */
    explicit FileLister(const QString &folder, QObject *parent = nullptr);

    /** Waits for a listing that is under way. */
    ~FileLister() override;

    /** Asks for a listing, unless one is under way. */
    void Ask();

signals:
    /** What `UserFileDirectory::Files` gives; on the main thread. */
    void Listed(const QVector<UserFile> &files);

private:
    void Deliver(const QVector<UserFile> &files);

    const UserFileDirectory directory; // of the other thread, while a listing is under way
    bool isUnderWay = false;
    QThreadPool threads; // gone before what its thread uses
};

#endif
