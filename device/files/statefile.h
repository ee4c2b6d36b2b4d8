#ifndef STATEFILE_H
#define STATEFILE_H

#include <QJsonObject>
#include <QString>
#include <functional>

#include "filesystem.h"
#include "hostmodel.h"

/**
 * Keeps what is at `path` under a name of its own (".damaged-1" and so on is added) and reports
 * that, with the reason. False when it could not be renamed.
 */
bool SetAside(FileSystem &fileSystem, const QString &path, const QString &reason,
              IErrorReporter &errors);

/**
 * A small JSON object that outlives the program and a loss of power.
 *
 * Call `Load` once, then `Store` after each change. A file that cannot be used is never deleted nor
 * written over: it keeps its content under a name of its own (".damaged-1" and so on is added), and
 * the program goes on without it. Main thread only.
 */
class StateFile
{
public:
    /** Whether an object read from the file is one that the owner can use. */
    using Check = std::function<bool(const QJsonObject &)>;

    /** Keeps the references; both objects outlive this one. The folder of `path` exists. */
    StateFile(FileSystem &files, const QString &path, IErrorReporter &errors);

    /**
     * The stored object; empty when there is no file yet. What is no readable regular file of up to
     * 16 MiB that holds an object, and an object that `check` refuses, is reported and set aside,
     * and the result is empty.
     */
    QJsonObject Load(const Check &check);

    /**
     * Stores `state` in one step; true once it is on the disk. On failure, which is reported, the
     * former state stays stored, or, where only the folder could not be flushed, the new one is in
     * its place. Always fails after `Load` could not set a damaged file aside.
     */
    bool Store(const QJsonObject &state);

private:
    FileSystem &fileSystem;
    QString filePath;
    IErrorReporter &errorReporter;
    bool keepFile = false;
};

#endif
