#include "devicepaths.h"

#include <QDir>
#include <QSet>
#include <QStringList>
#include <algorithm>
#include <fnmatch.h>
#include <iterator>

#include "clienterror.h"
#include "pathnames.h"

namespace {

QString FolderOf(const QString &path)
{
    return path.left(path.lastIndexOf('/'));
}

// The part of `left` that both have, as a whole number of folders.
QString SharedFolder(const QString &left, const QString &right)
{
    QString shared = left;
    while (!shared.isEmpty() && right != shared && !right.startsWith(shared + '/')) {
        shared = FolderOf(shared);
    }
    return shared;
}

QString CutAfterUserFiles(const QString &folder)
{
    const QString name = QStringLiteral("/userfiles");
    const int position = (folder + '/').lastIndexOf(name + '/');
    return position < 0 ? folder : folder.left(position + name.size());
}

QString NotListed(const char *kind, const QString &path)
{
    return QString("the device lists no %1 %2").arg(kind, path);
}

QString CleanedRelative(const QString &path)
{
    const QString cleaned = QDir::cleanPath(path);
    return cleaned == "." ? QString() : cleaned;
}

} // namespace

void UserFilesFolder::Add(const QString &listedPath)
{
    const QString folder = FolderOf(listedPath);
    shared = isKnown ? SharedFolder(shared, folder) : folder;
    isKnown = true;
}

QString UserFilesFolder::Path() const
{
    return CutAfterUserFiles(shared);
}

DevicePaths::DevicePaths(const QVector<FileRecord> &listing)
{
    QSet<QString> seen;
    UserFilesFolder userFiles;
    for (const FileRecord &record : listing) {
        userFiles.Add(record.path);
        files.append(record.path);
        seen.insert(FolderOf(record.path));
    }
    root = userFiles.Path();
    folders = seen.values().toVector();
}

QString DevicePaths::Cleaned(const QString &absolutePath)
{
    return QString::fromUtf8(JoinedPath(ResolvedNames(absolutePath.toUtf8())));
}

QString DevicePaths::Root() const
{
    return root;
}

QString DevicePaths::File(const QString &path) const
{
    return path.startsWith('/') ? path : Find(CleanedRelative(path), files, "file");
}

QVector<QString> DevicePaths::Matching(const QString &pattern) const
{
    const QString absolute = pattern.startsWith('/') ? pattern : root + '/' + pattern;
    if (files.contains(absolute)) {
        return {absolute};
    }
    const QByteArray wanted = absolute.toUtf8();
    QVector<QString> matches;
    std::copy_if(files.begin(), files.end(), std::back_inserter(matches), [&](const QString &file) {
        return fnmatch(wanted.constData(), file.toUtf8().constData(), FNM_PATHNAME | FNM_PERIOD) ==
               0;
    });
    if (matches.isEmpty()) {
        throw ClientError(ExitStatus::DeviceRefused, NotListed("file that matches", pattern));
    }
    return matches;
}

QString DevicePaths::Folder(const QString &path) const
{
    if (path.startsWith('/')) {
        return path;
    }
    const QString cleaned = CleanedRelative(path);
    return cleaned.isEmpty() && !root.isEmpty() ? root : Find(cleaned, folders, "folder");
}

QString DevicePaths::Find(const QString &path, const QVector<QString> &candidates,
                          const char *kind) const
{
    QString belowRoot = root + '/' + path;
    if (candidates.contains(belowRoot)) {
        return belowRoot;
    }
    QStringList matches;
    for (const QString &candidate : candidates) {
        if (!path.isEmpty() && candidate.endsWith('/' + path)) {
            matches.append(candidate);
        }
    }
    if (matches.size() == 1) {
        return matches.first();
    }
    if (matches.isEmpty()) {
        throw ClientError(ExitStatus::DeviceRefused, NotListed(kind, path));
    }
    throw ClientError(ExitStatus::Usage, QString("%1 could be %2: give its absolute path")
                                             .arg(path, matches.join(QStringLiteral(" or "))));
}
