#include "userfiledirectory.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "clienttext.h"
#include "durablefile.h"
#include "pathnames.h"
#include "replacingfile.h"

namespace {

constexpr int folderFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct CloseFolder
{
    void operator()(DIR *folder) const { closedir(folder); }
};

using FolderStream = std::unique_ptr<DIR, CloseFolder>;

// A stream of its own, as what is in the folder is asked for through the folder's descriptor.
FolderStream NamesIn(const FileDescriptor &folder)
{
    FileDescriptor readable(openat(folder.Number(), ".", O_RDONLY | folderFlags));
    FolderStream stream(readable.IsOpen() ? fdopendir(readable.Number()) : nullptr);
    if (stream) {
        readable.Release();
    }
    return stream;
}

bool IsSelfOrParent(const char *name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// Most file systems tell it with the name.
mode_t KindOf(const dirent &entry, const FileDescriptor &folder)
{
    struct stat status = {};
    if (entry.d_type != DT_UNKNOWN) {
        return static_cast<mode_t>(DTTOIF(entry.d_type));
    }
    return fstatat(folder.Number(), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0
               ? status.st_mode
               : 0;
}

// Qt drops a byte order mark at the start of a text; behind the slash it stays the letter it is.
bool IsValidUtf8(const QByteArray &name)
{
    const QByteArray bytes = '/' + name;
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

// While it is written, or for a moment when it replaces another: no client has anything to do with
// it, and one that deleted it would end the upload.
bool IsUploadOnItsWay(const QByteArray &name)
{
    return name.startsWith(ReplacingFile::hiddenPrefix);
}

bool NamesAFolder(const QByteArray &path)
{
    return path.endsWith('/') || path.endsWith("/.") || path.endsWith("/..");
}

} // namespace

QJsonObject UserFile::Describe() const
{
    return {{QStringLiteral("path"), path},
            {QStringLiteral("size"), status.size},
            {QStringLiteral("modifiedTime"), status.ModifiedTime()}};
}

UserFileDirectory::UserFileDirectory(const QString &path)
    : rootNames(ResolvedNames(path.toUtf8()))
{}

std::optional<UserFile> UserFileDirectory::Find(const QString &clientPath) const
{
    const std::optional<Location> location = Locate(clientPath);
    if (!location) {
        return std::nullopt;
    }
    const std::optional<FileStatus> status = RegularFileStatus(*location);
    if (!status) {
        return std::nullopt;
    }
    return UserFile{location->path, *status};
}

std::optional<UserFile> UserFileDirectory::FindRelative(const QString &relativePath) const
{
    return Find(Path() + QLatin1Char('/') + relativePath);
}

QString UserFileDirectory::RelativePath(const UserFile &file) const
{
    return file.path.mid(Path().size() + 1);
}

QString UserFileDirectory::Path() const
{
    return QString::fromUtf8(JoinedPath(rootNames));
}

std::optional<OpenUserFile> UserFileDirectory::Open(const QString &clientPath) const
{
    const std::optional<Location> location = Locate(clientPath);
    // Opening a device can have effects of its own, so its kind is asked before.
    if (!location || !RegularFileStatus(*location)) {
        return std::nullopt;
    }
    // Another program may exchange the file in between: the open must not block, and what was
    // opened is looked at once more.
    FileDescriptor descriptor(openat(location->folder.Number(), location->name.constData(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!descriptor.IsOpen() || fstat(descriptor.Number(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return OpenUserFile{{location->path, FileStatus::From(status)}, std::move(descriptor)};
}

bool UserFileDirectory::Remove(const QString &clientPath, QString *error) const
{
    error->clear();
    const std::optional<Location> location = Locate(clientPath);
    if (!location || !RegularFileStatus(*location)) {
        return false;
    }
    if (unlinkat(location->folder.Number(), location->name.constData(), 0) != 0) {
        *error = DescribeFailure("delete", location->path);
        return false;
    }
    const FileDescriptor folder(openat(location->folder.Number(), ".", O_RDONLY | folderFlags));
    if (!folder.IsOpen() || fsync(folder.Number()) != 0) {
        *error = DescribeFailure("flush the folder of", location->path);
    }
    return true;
}

QVector<UserFile> UserFileDirectory::Files() const
{
    QVector<UserFile> files;
    // A list of what is left to do rather than a recursion: a deep tree needs neither a deep stack
    // nor many descriptors.
    QByteArrayList folders = {QByteArray()};
    while (!folders.isEmpty()) {
        ListFolder(folders.takeLast(), &folders, &files);
    }
    std::sort(files.begin(), files.end(),
              [](const UserFile &left, const UserFile &right) { return left.path < right.path; });
    return files;
}

int UserFileDirectory::Count(int most) const
{
    int count = 0;
    QByteArrayList folders = {QByteArray()};
    while (!folders.isEmpty() && count < most) {
        count += CountIn(folders.takeLast(), most - count, &folders);
    }
    return count;
}

std::optional<QByteArrayList> UserFileDirectory::NamesBelow(const QString &clientPath) const
{
    const QByteArray path = TextFromClient(clientPath).toUtf8();
    if (!path.startsWith('/') || path.contains('\0') || NamesAFolder(path)) {
        return std::nullopt;
    }
    const QByteArrayList names = ResolvedNames(path);
    if (names.size() <= rootNames.size() || names.mid(0, rootNames.size()) != rootNames ||
        IsUploadOnItsWay(names.last())) {
        return std::nullopt;
    }
    return names.mid(rootNames.size());
}

FileDescriptor UserFileDirectory::OpenFolder(const QByteArrayList &names) const
{
    FileDescriptor folder(
        open(JoinedPath(rootNames).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (const QByteArray &name : names) {
        if (!folder.IsOpen()) {
            break;
        }
        folder = FileDescriptor(openat(folder.Number(), name.constData(), O_PATH | folderFlags));
    }
    return folder;
}

std::optional<UserFileDirectory::Location>
UserFileDirectory::Locate(const QString &clientPath) const
{
    std::optional<QByteArrayList> names = NamesBelow(clientPath);
    if (!names) {
        return std::nullopt;
    }
    const QString path = PathOf(names->join('/'));
    const QByteArray name = names->takeLast();
    FileDescriptor folder = OpenFolder(*names);
    if (!folder.IsOpen()) {
        return std::nullopt;
    }
    return Location{std::move(folder), name, path};
}

QString UserFileDirectory::PathOf(const QByteArray &relativePath) const
{
    return QString::fromUtf8(JoinedPath(rootNames + QByteArrayList{relativePath}));
}

int UserFileDirectory::CountIn(const QByteArray &folder, int most, QByteArrayList *folders) const
{
    const FileDescriptor place = OpenFolder(ResolvedNames(folder));
    const FolderStream stream = NamesIn(place);
    int count = 0;
    while (const dirent *entry = stream && count < most ? readdir(stream.get()) : nullptr) {
        const mode_t kind = KindOf(*entry, place);
        count += S_ISREG(kind) ? 1 : 0;
        if (S_ISDIR(kind) && !IsSelfOrParent(entry->d_name)) {
            folders->append(folder + '/' + entry->d_name);
        }
    }
    return count;
}

void UserFileDirectory::ListFolder(const QByteArray &folder, QByteArrayList *folders,
                                   QVector<UserFile> *files) const
{
    const FileDescriptor place = OpenFolder(ResolvedNames(folder));
    const FolderStream stream = NamesIn(place);
    const QByteArray prefix = folder.isEmpty() ? folder : folder + '/';
    while (const dirent *entry = stream ? readdir(stream.get()) : nullptr) {
        const QByteArray name(entry->d_name);
        struct stat status = {};
        if (IsSelfOrParent(entry->d_name) || !IsValidUtf8(name) ||
            fstatat(place.Number(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            continue;
        }
        if (S_ISDIR(status.st_mode)) {
            folders->append(prefix + name);
        } else if (S_ISREG(status.st_mode) && !IsUploadOnItsWay(name)) {
            files->append({PathOf(prefix + name), FileStatus::From(status)});
        }
    }
}

std::optional<FileStatus> UserFileDirectory::RegularFileStatus(const Location &location)
{
    struct stat status = {};
    if (fstatat(location.folder.Number(), location.name.constData(), &status,
                AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return FileStatus::From(status);
}
