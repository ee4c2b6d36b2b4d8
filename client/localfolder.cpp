#include "localfolder.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>
#include <algorithm>

#include "clienterror.h"
#include "printabletext.h"

namespace {

constexpr char stagingName[] = ".parlowenctl.part";
constexpr char lockName[] = ".parlowenctl.lock";

ClientError Failure(const QString &text)
{
    return {ExitStatus::LocalFailure, text};
}

bool IsPlainName(const QString &name)
{
    return !name.isEmpty() && name != "." && name != ".." && name != stagingName &&
           name != lockName;
}

} // namespace

LocalFolder::LocalFolder(const QString &folder)
{
    if (!QDir().mkpath(folder)) {
        throw Failure(QString("cannot make the folder %1").arg(folder));
    }
    root = QFileInfo(folder).canonicalFilePath();
    lock = std::make_unique<QLockFile>(root + '/' + lockName);
    lock->setStaleLockTime(0);
    if (!lock->tryLock()) {
        throw Failure(lock->error() == QLockFile::LockFailedError
                          ? QString("another synchronisation fills %1").arg(folder)
                          : QString("cannot write in %1").arg(folder));
    }
    QFile::remove(Staging());
}

QString LocalFolder::Target(const QString &relative) const
{
    const QStringList names = relative.split('/');
    QString path = root;
    for (int i = 0; i < names.size(); ++i) {
        if (std::any_of(names[i].begin(), names[i].end(), IsUnprintable)) {
            throw Unnameable(ExitStatus::LocalFailure,
                             QStringLiteral("its name holds control characters"));
        }
        if (!IsPlainName(names[i])) {
            throw Failure(QString("%1 is no name for a file in this folder").arg(relative));
        }
        path += '/' + names[i];
        if (i + 1 < names.size()) {
            EnterSubFolder(path, relative);
        }
    }
    const QFileInfo present(path);
    if (present.exists() && !present.isSymLink() && !present.isFile()) {
        throw Failure(QString("%1 is there and is no regular file").arg(path));
    }
    return path;
}

QString LocalFolder::Staging() const
{
    return root + '/' + stagingName;
}

void LocalFolder::EnterSubFolder(const QString &folder, const QString &relative) const
{
    const QFileInfo information(folder);
    if (information.isSymLink()) {
        throw Failure(
            QString("%1 would be written through the symbolic link %2").arg(relative, folder));
    }
    if (!information.isDir() && !QDir().mkdir(folder)) {
        throw Failure(QString("cannot make the folder %1").arg(folder));
    }
}
