#include "userfilestest.h"

#include <QFile>
#include <QJsonObject>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

UserFilesTest::UserFilesTest()
    : root(base.filePath(QStringLiteral("userfiles")))
    , stateFolder(base.filePath(QStringLiteral("state")))
{
    mkdir(root.toUtf8().constData(), 0755);
    mkdir(stateFolder.toUtf8().constData(), 0755);
}

UserFilesTest::~UserFilesTest()
{
    // Removes trees whose paths are longer than a system call takes, too.
    std::error_code error;
    std::filesystem::remove_all(root.toStdString(), error);
}

QString UserFilesTest::ClientPath(const QByteArray &name) const
{
    return QString::fromLatin1(root.toUtf8() + '/' + name);
}

void UserFilesTest::Write(const QByteArray &name, const QByteArray &content) const
{
    const int descriptor = open(OnDisk(name).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(descriptor, 0) << name.constData();
    QFile file;
    ASSERT_TRUE(file.open(descriptor, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle));
    ASSERT_EQ(file.write(content), content.size());
}

void UserFilesTest::MakeFolder(const QByteArray &name) const
{
    ASSERT_EQ(mkdir(OnDisk(name).constData(), 0755), 0) << name.constData();
}

QByteArray UserFilesTest::Content(const QByteArray &name) const
{
    QFile file(QString::fromUtf8(OnDisk(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool UserFilesTest::Exists(const QByteArray &name) const
{
    struct stat status = {};
    return lstat(OnDisk(name).constData(), &status) == 0;
}

void UserFilesTest::SetTime(const QByteArray &name, qint64 seconds, long nanoseconds) const
{
    const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, OnDisk(name).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
}

QStringList PathsOf(const QJsonArray &descriptions)
{
    QStringList paths;
    for (const QJsonValue &description : descriptions) {
        paths.append(description.toObject().value(QStringLiteral("path")).toString());
    }
    return paths;
}
