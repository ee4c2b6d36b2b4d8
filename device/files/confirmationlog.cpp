#include "confirmationlog.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <utility>

#include "diskspace.h"
#include "documentfile.h"
#include "durablefile.h"
#include "statefile.h"

namespace {

constexpr qint64 largestFile = qint64{256} * 1024 * 1024;
// Below these numbers writing anew is not worth while.
constexpr int fewLines = 1000;
constexpr int manyLines = 100'000;

const QString pathKey = QStringLiteral("path");
const QString inodeKey = QStringLiteral("inode");
const QString sizeKey = QStringLiteral("size");
const QString secondsKey = QStringLiteral("modifiedSeconds");
const QString nanosecondsKey = QStringLiteral("modifiedNanoseconds");
const QString removedKey = QStringLiteral("removed");
const QString sha256Key = QStringLiteral("sha256");

QByteArray Line(const QString &name, const Confirmation &confirmation)
{
    const FileStatus &status = confirmation.status;
    // An inode number may need all its 64 bits, which a JSON number does not keep.
    const QJsonObject entry = {{pathKey, name},
                               {inodeKey, QString::number(status.inode)},
                               {sizeKey, status.size},
                               {secondsKey, status.modifiedSeconds},
                               {nanosecondsKey, status.modifiedNanoseconds},
                               {sha256Key, confirmation.sha256}};
    return DocumentFile::Written(entry, QJsonDocument::Compact) + '\n';
}

bool IsConfirmation(const QJsonObject &entry)
{
    bool inode = false;
    entry.value(inodeKey).toString().toULongLong(&inode);
    return inode && entry.value(pathKey).isString() && entry.value(sha256Key).isString() &&
           entry.value(sizeKey).isDouble() && entry.value(secondsKey).isDouble() &&
           entry.value(nanosecondsKey).isDouble();
}

qint64 Integer(const QJsonObject &object, const QString &key)
{
    return object.value(key).toVariant().toLongLong();
}

FileStatus StatusOf(const QJsonObject &entry)
{
    FileStatus status;
    status.inode = entry.value(inodeKey).toString().toULongLong();
    status.size = Integer(entry, sizeKey);
    status.modifiedSeconds = Integer(entry, secondsKey);
    status.modifiedNanoseconds = Integer(entry, nanosecondsKey);
    return status;
}

} // namespace

ConfirmationLog::ConfirmationLog(FileSystem &files, const QString &path, Presence isPresent,
                                 IErrorReporter &errors)
    : fileSystem(files)
    , filePath(path)
    , present(std::move(isPresent))
    , errorReporter(errors)
{
    Load();
}

const Confirmation *ConfirmationLog::Find(const QString &name) const
{
    const auto entry = confirmations.constFind(name);
    return entry != confirmations.cend() ? &*entry : nullptr;
}

bool ConfirmationLog::Add(const QString &name, const Confirmation &confirmation)
{
    QString error = QStringLiteral("%1 is damaged and is kept as it is").arg(filePath);
    if (keepFile || !HasRoom(0, &error) || !Store(name, confirmation, &error)) {
        errorReporter.ReportError(error, "confirmationlog", __LINE__);
        return false;
    }
    confirmations.insert(name, confirmation);
    return true;
}

// While there is no room for a second file, the old one grows on.
bool ConfirmationLog::Store(const QString &name, const Confirmation &confirmation, QString *error)
{
    const QByteArray line = Line(name, confirmation);
    const bool canGrow = appendable && bytes + line.size() <= largestFile;
    if (canGrow && !(IsWritingDue() && HasRoom(bytes, error))) {
        return Append(line, error);
    }
    return WriteAnew(name, confirmation, error) || (canGrow && appendable && Append(line, error));
}

void ConfirmationLog::Remove(const QString &name)
{
    QString error;
    if (confirmations.remove(name) > 0 && appendable &&
        !Append(
            DocumentFile::Written({{pathKey, name}, {removedKey, true}}, QJsonDocument::Compact) +
                '\n',
            &error)) {
        errorReporter.ReportError(error, "confirmationlog", __LINE__);
    }
}

void ConfirmationLog::Recognize(const QString &name, const FileStatus &status)
{
    const auto entry = confirmations.find(name);
    if (entry != confirmations.end() && entry->status != status) {
        entry->status = status;
        outdated = true; // the next confirmation keeps this for later runs
    }
}

void ConfirmationLog::Load()
{
    QString problem;
    const std::optional<QByteArray> content = DocumentFile::Read(filePath, &problem, largestFile);
    if (content) {
        bool usable = true;
        const int end = content->lastIndexOf('\n') + 1;
        for (int start = 0; start < end; start = content->indexOf('\n', start) + 1) {
            const int length = content->indexOf('\n', start) - start;
            usable = TakeLine(content->mid(start, length)) && usable;
        }
        bytes = end;
        torn = end != content->size();
        linesWhenWhole = lines;
        appendable = usable && end > 0;
        problem = usable ? QString() : QStringLiteral("it is damaged");
    }
    keepFile = !problem.isEmpty() && !SetAside(fileSystem, filePath, problem, errorReporter);
}

bool ConfirmationLog::TakeLine(const QByteArray &line)
{
    ++lines;
    const QJsonObject entry = QJsonDocument::fromJson(line).object();
    if (entry.value(removedKey).toBool()) {
        confirmations.remove(entry.value(pathKey).toString());
        return true;
    }
    if (!IsConfirmation(entry)) {
        return false;
    }
    confirmations.insert(entry.value(pathKey).toString(),
                         {StatusOf(entry), entry.value(sha256Key).toString()});
    return true;
}

bool ConfirmationLog::IsWritingDue() const
{
    // Lines that were replaced are counted; those of files that went unnoticed are only found by
    // looking, which is not done before there may be very many.
    return outdated || lines > 2 * confirmations.size() + fewLines ||
           lines > 2 * linesWhenWhole + manyLines;
}

// A device whose disk is full to the reserve must still take confirmations, of files that are to be
// deleted next.
bool ConfirmationLog::HasRoom(qint64 size, QString *error) const
{
    const std::optional<DiskSpace> space =
        DiskSpace::Of(fileSystem, QFileInfo(filePath).path(), error);
    if (space && space->BesideReserve() - space->Taken(size) < -DiskSpace::reserve / 2) {
        *error = QStringLiteral("Cannot write %1: its disk has less than 8 MiB free").arg(filePath);
        return false;
    }
    return space.has_value();
}

bool ConfirmationLog::Append(const QByteArray &line, QString *error)
{
    if (torn && fileSystem.Truncate(filePath, bytes) != 0) {
        *error = DescribeFailure("shorten", filePath);
        return false;
    }
    torn = false;
    if (AppendDurably(fileSystem, filePath, line, error)) {
        bytes += line.size();
        ++lines;
        return true;
    }
    // What came through of the line must not count after a restart.
    torn = fileSystem.Truncate(filePath, bytes) != 0;
    outdated = true;
    return false;
}

bool ConfirmationLog::WriteAnew(const QString &name, const Confirmation &confirmation,
                                QString *error)
{
    Confirmations remaining;
    QByteArray content;
    for (auto entry = confirmations.cbegin(); entry != confirmations.cend(); ++entry) {
        if (entry.key() != name && present(entry.key())) {
            remaining.insert(entry.key(), *entry);
            content += Line(entry.key(), *entry);
        }
    }
    content += Line(name, confirmation);
    const QString written = TemporaryPath(filePath);
    if (!WriteFile(fileSystem, written, content, Flushing::AtOnce, error)) {
        return false;
    }
    // Should the folder not be flushed, nobody knows which of the two files a restart will find.
    appendable = false;
    if (!ReplaceDurably(fileSystem, written, filePath, error)) {
        return false;
    }
    confirmations = remaining;
    bytes = content.size();
    lines = remaining.size() + 1;
    linesWhenWhole = lines;
    appendable = true;
    outdated = false;
    torn = false;
    return true;
}
