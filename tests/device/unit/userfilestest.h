#ifndef USERFILESTEST_H
#define USERFILESTEST_H

#include <QByteArray>
#include <QJsonArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

/**
 * A user-files directory in a folder of its own, with the helpers that its tests share. Names are
 * given as the bytes on disk, relative to the directory.
 */
class UserFilesTest : public testing::Test
{
protected:
    UserFilesTest();
    ~UserFilesTest() override;

    /** The directory's absolute path, followed by `name`. */
    QString Path(const QString &name) const { return root + name; }

    /** The same text as it comes out of a URI: one character per byte. */
    QString ClientPath(const QByteArray &name) const;

    void Write(const QByteArray &name, const QByteArray &content) const;
    void MakeFolder(const QByteArray &name) const;
    QByteArray Content(const QByteArray &name) const;
    bool Exists(const QByteArray &name) const;

    /** Sets the time of the last change. */
    void SetTime(const QByteArray &name, qint64 seconds, long nanoseconds = 0) const;

    /** The bytes of a path on disk. */
    QByteArray OnDisk(const QByteArray &name) const { return root.toUtf8() + '/' + name; }

    QTemporaryDir base;
    QString root;
    QString stateFolder;
};

/** The "path" of each description. */
QStringList PathsOf(const QJsonArray &descriptions);

#endif
