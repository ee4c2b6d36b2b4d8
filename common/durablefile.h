#ifndef DURABLEFILE_H
#define DURABLEFILE_H

#include <QByteArray>
#include <QString>

#include "filesystem.h"

/** When the content of a new file reaches the disk. */
enum class Flushing
{
    AtOnce, ///< before the call returns
    Later   ///< the caller sees to it with `FileSystem::FlushFileSystem`
};

/**
 * Creates or empties `path` and writes `content` to it. On failure the file is removed again, false
 * is returned and `*error` says what went wrong with which file.
 */
bool WriteFile(FileSystem &fileSystem, const QString &path, const QByteArray &content,
               Flushing flushing, QString *error);

/**
 * Gives the file at `path` new content so that a loss of power at any moment leaves either the old
 * file or the new one: a temporary file beside it is written and flushed, takes the name in one
 * step, and the folder is flushed. True once all of that is on the disk.
 *
 * On failure false is returned and `*error` says what went wrong with which file. The file is then
 * untouched and no temporary file stays behind. One failure differs: when only the folder could not
 * be flushed, the new content is in place, though it may not survive a loss of power.
 */
bool WriteDurably(FileSystem &fileSystem, const QString &path, const QByteArray &content,
                  QString *error);

/**
 * The last steps of that: gives the file at `written`, which is flushed, the name `path` beside it
 * in place of whatever has that name, and flushes the folder. False with `*error` when one of them
 * fails; when it was the first, the file at `written` is removed.
 */
bool ReplaceDurably(FileSystem &fileSystem, const QString &written, const QString &path,
                    QString *error);

/**
 * Adds `content` at the end of the file at `path`, which exists; true once it is on the disk. On
 * failure, which `*error` describes, some of it may have been added.
 */
bool AppendDurably(FileSystem &fileSystem, const QString &path, const QByteArray &content,
                   QString *error);

/** Where the content of `path` is written before it takes that name: a hidden name beside it. */
QString TemporaryPath(const QString &path);

/** One line for people: what could not be done with which path, and `errno` in words. */
QString DescribeFailure(const char *action, const QString &path);

#endif
