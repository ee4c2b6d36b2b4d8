#include "replacingfile.h"

#include <QFile>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int mostLinks = 40;        // as the kernel follows them
constexpr mode_t newFileMode = 0666; // less the umask

// Hidden names of this process come and go under it, so that none is taken for one left behind.
std::mutex hiddenNames;

QByteArray ResolvedPath(const QByteArray &path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.constData(), nullptr),
                                                               &std::free);
    return resolved ? QByteArray(resolved.get()) : QByteArray();
}

QByteArray LinkText(const QByteArray &path)
{
    char text[PATH_MAX];
    const ssize_t length = readlink(path.constData(), text, sizeof text);
    return length > 0 ? QByteArray(text, static_cast<int>(length)) : QByteArray();
}

void FlushFolder(const QByteArray &folder)
{
    const int descriptor = open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

// A hidden file whose lock is free belongs to nobody: its process was killed.
void RemoveIfLeftBehind(const QByteArray &name)
{
    const int descriptor = open(name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        unlink(name.constData());
    }
    close(descriptor);
}

struct CloseFolder
{
    void operator()(DIR *entries) const { closedir(entries); }
};

void RemoveLeftBehind(const QByteArray &folder)
{
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.constData()));
    while (entries) {
        const dirent *entry = readdir(entries.get()); // NOLINT(concurrency-mt-unsafe): own stream
        if (entry == nullptr) {
            return;
        }
        if (std::strncmp(entry->d_name, ReplacingFile::hiddenPrefix,
                         sizeof ReplacingFile::hiddenPrefix - 1) == 0) {
            RemoveIfLeftBehind(folder + '/' + entry->d_name);
        }
    }
}

QByteArray NewHiddenName(const QByteArray &folder)
{
    static unsigned int number = 0; // guarded by hiddenNames
    return folder + '/' + ReplacingFile::hiddenPrefix + QByteArray::number(getpid()) + '-' +
           QByteArray::number(++number);
}

} // namespace

ReplacingFile::ReplacingFile(const QString &targetPath, const BodyPiece *piecesOfBody,
                             RoomForMore roomForMore)
    : room(std::move(roomForMore))
    , path(targetPath)
    , pieces(piecesOfBody)
{}

ReplacingFile::~ReplacingFile()
{
    if (!hiddenName.isEmpty()) {
        const std::lock_guard<std::mutex> lock(hiddenNames);
        unlink(hiddenName.constData());
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// Without its NUL or its half of a surrogate pair it would be the name of another file.
bool ReplacingFile::CanBeNamed(const QString &path)
{
    return !path.contains(QChar::Null) && QString::fromUtf8(path.toUtf8()) == path;
}

bool ReplacingFile::Open()
{
    open = FindTarget() && CheckOldFile() && (OpenNameless() || OpenHidden());
    return open;
}

// Where the file is to be once every link is followed, one that points to nothing included.
bool ReplacingFile::FindTarget()
{
    QByteArray name = QFile::encodeName(path);
    if (!CanBeNamed(path)) {
        errno = EILSEQ;
        Fail("the path");
        return false;
    }
    for (int links = 0; links <= mostLinks; ++links) {
        const int slash = name.lastIndexOf('/');
        folder = ResolvedPath(slash > 0 ? name.left(slash) : QByteArray(slash == 0 ? "/" : "."));
        const QByteArray last = name.mid(slash + 1);
        if (folder.isEmpty()) {
            Fail("its folder");
            return false;
        }
        if (last.isEmpty() || last == "." || last == "..") {
            errno = EISDIR;
            Fail("the path");
            return false;
        }
        if (last.startsWith(hiddenPrefix)) { // it would be taken for one left behind
            errno = EPERM;
            Fail("the path");
            return false;
        }
        target = folder + '/' + last;
        const QByteArray link = LinkText(target);
        if (link.isEmpty()) {
            return true;
        }
        name = link.startsWith('/') ? link : folder + '/' + link;
    }
    errno = ELOOP;
    Fail("the path");
    return false;
}

// A pipe, a device or a folder is looked at without being opened, which might block or do harm.
bool ReplacingFile::CheckOldFile()
{
    struct stat64 status
    {};
    if (lstat64(target.constData(), &status) != 0) {
        replaces = false;
        return true;
    }
    if (!S_ISREG(status.st_mode)) {
        failure = QStringLiteral("%1 is not a regular file").arg(path);
        return false;
    }
    const int old =
        ::open(target.constData(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_LARGEFILE | O_CLOEXEC);
    if (old < 0 && errno == ENOENT) { // deleted in between
        replaces = false;
        return true;
    }
    if (old < 0) {
        Fail("the file");
        return false;
    }
    close(old);
    replaces = true;
    oldMode = status.st_mode & 07777;
    return true;
}

bool ReplacingFile::OpenNameless()
{
    if (geteuid() != 0 && access("/proc/self/fd", F_OK) != 0) {
        return false; // it could not be given a name later
    }
    descriptor =
        ::open(folder.constData(), O_TMPFILE | O_RDWR | O_LARGEFILE | O_CLOEXEC, newFileMode);
    return descriptor >= 0;
}

bool ReplacingFile::OpenHidden()
{
    const std::lock_guard<std::mutex> lock(hiddenNames);
    RemoveLeftBehind(folder);
    const QByteArray name = NewHiddenName(folder);
    descriptor =
        ::open(name.constData(), O_CREAT | O_EXCL | O_RDWR | O_LARGEFILE | O_CLOEXEC, newFileMode);
    if (descriptor < 0) {
        Fail("its folder");
        return false;
    }
    flock(descriptor, LOCK_EX | LOCK_NB);
    hiddenName = name;
    return true;
}

// The parser hands out the bytes that it held back at a CR from a place of its own. In the piece
// they stand where the slice before them ended, so all slices of a piece are written with one call.
void ReplacingFile::Append(const char *data, int length)
{
    if (pendingEnd != nullptr && pieces->end - pendingEnd >= length &&
        (data == pendingEnd || std::memcmp(data, pendingEnd, static_cast<size_t>(length)) == 0)) {
        pendingEnd += length;
        return;
    }
    WritePending();
    if (pieces->Holds(data, length)) {
        pendingBegin = data;
        pendingEnd = data + length;
    } else {
        Write(data, length);
    }
}

void ReplacingFile::WriteOut()
{
    WritePending();
}

void ReplacingFile::Close()
{
    WritePending();
    open = false;
}

void ReplacingFile::WritePending()
{
    if (pendingBegin != pendingEnd) {
        Write(pendingBegin, pendingEnd - pendingBegin);
    }
    pendingBegin = pendingEnd = nullptr;
}

void ReplacingFile::Write(const char *data, qint64 length)
{
    if (!failure.isEmpty() || !AskForRoom(length)) {
        return;
    }
    while (length > 0) {
        const ssize_t count = write(descriptor, data, static_cast<size_t>(length));
        if (count < 0 && errno != EINTR) {
            Fail("the file");
            return;
        }
        const ssize_t taken = count > 0 ? count : 0;
        data += taken;
        length -= taken;
        written += taken;
    }
}

bool ReplacingFile::AskForRoom(qint64 length)
{
    if (written + length <= granted) {
        return true;
    }
    const qint64 more = room(length);
    granted = written + more;
    if (more < length) {
        failure = QStringLiteral("there is no room for the rest of %1").arg(path);
        return false;
    }
    return true;
}

bool ReplacingFile::Commit()
{
    if (!failure.isEmpty() || descriptor < 0) {
        return false;
    }
    if (replaces) {
        fchmod(descriptor, oldMode);
    }
    if (fsync(descriptor) != 0 || !PutInPlace()) {
        Fail("the file");
        return false;
    }
    FlushFolder(folder);
    return true;
}

bool ReplacingFile::PutInPlace()
{
    const std::lock_guard<std::mutex> lock(hiddenNames);
    if (hiddenName.isEmpty()) {
        const QByteArray passing = folder + '/' + hiddenPrefix + "passing";
        unlink(passing.constData()); // a process was killed between the two steps below
        if (!replaces && LinkTo(target)) {
            return true;
        }
        if ((!replaces && errno != EEXIST) || !LinkTo(passing)) {
            return false;
        }
        hiddenName = passing;
    }
    if (rename(hiddenName.constData(), target.constData()) != 0) {
        const int reason = errno;
        unlink(hiddenName.constData());
        errno = reason;
        return false;
    }
    hiddenName.clear();
    return true;
}

// By the descriptor where the process may, otherwise by the name that the kernel has for it.
bool ReplacingFile::LinkTo(const QByteArray &name)
{
    if (linkat(descriptor, "", AT_FDCWD, name.constData(), AT_EMPTY_PATH) == 0) {
        return true;
    }
    if (errno == EEXIST) {
        return false;
    }
    const QByteArray own = "/proc/self/fd/" + QByteArray::number(descriptor);
    return linkat(AT_FDCWD, own.constData(), AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW) == 0;
}

void ReplacingFile::Fail(const char *what)
{
    failure = QStringLiteral("cannot write %1: %2: %3")
                  .arg(path, QLatin1String(what), qt_error_string(errno));
}
