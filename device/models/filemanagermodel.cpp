#include "filemanagermodel.h"

#include <algorithm>
#include <utility>

#include "durablefile.h"

namespace {

// A QByteArray cannot hold more than 2 GiB; no caller asks for anything near.
constexpr qint64 largestPiece = qint64(1024) * 1024 * 1024;

} // namespace

FileManagerModel::FileManagerModel(const UserFileDirectory &userFiles, IErrorReporter &errors,
                                   Deleted onDeleted)
    : directory(userFiles)
    , errorReporter(errors)
    , deleted(std::move(onDeleted))
{}

QJsonObject FileManagerModel::GetUserFiles()
{
    QJsonArray files;
    for (const UserFile &file : directory.Files()) {
        files.append(file.Describe());
    }
    return {{QStringLiteral("files"), files}};
}

QByteArray FileManagerModel::ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                                           bool *lastChunk)
{
    *ok = false;
    *lastChunk = true;
    if (offset < 0 || maxLength <= 0) {
        return QByteArray();
    }
    const std::optional<OpenUserFile> open = directory.Open(path);
    return open ? ReadPiece(*open, ok, offset, maxLength, lastChunk) : QByteArray();
}

bool FileManagerModel::DeleteUserFile(QString path)
{
    QString error;
    const std::optional<UserFile> file = directory.Find(path);
    const bool removed = directory.Remove(path, &error);
    if (removed && file && deleted) {
        deleted(*file);
    }
    if (!error.isEmpty()) {
        errorReporter.ReportError(error, "filemanagermodel", __LINE__);
    }
    return removed;
}

QByteArray FileManagerModel::ReadPiece(const OpenUserFile &open, bool *ok, qint64 offset,
                                       qint64 maxLength, bool *lastChunk)
{
    const qint64 rest = std::max<qint64>(0, open.file.status.size - offset);
    const qint64 wanted = std::min({rest, maxLength, largestPiece});
    QByteArray piece = TakePlace(static_cast<int>(wanted));
    const qint64 count = open.descriptor.Read(piece.data(), wanted, offset);
    if (count < 0) {
        errorReporter.ReportError(DescribeFailure("read", open.file.path), "filemanagermodel",
                                  __LINE__);
        return QByteArray();
    }
    piece.truncate(static_cast<int>(count));
    *ok = true;
    *lastChunk = count < wanted || wanted == rest;
    if (*lastChunk) {
        places = {};
    } else {
        places[turn] = piece;
    }
    return piece;
}

// While one piece is read the one before it may wait to be sent and the one before that be on its
// way: the memory of the third one back is used again, unless somebody still shares it.
QByteArray FileManagerModel::TakePlace(int size)
{
    turn = (turn + 1) % places.size();
    QByteArray place = std::move(places[turn]);
    if (!place.isDetached() || place.size() != size) {
        place = QByteArray(size, Qt::Uninitialized);
    }
    return place;
}
