#include "userfiles.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <algorithm>

UserFiles::UserFiles(const QString &folder)
    : directory(folder)
{}

const QDir &UserFiles::Folder() const
{
    return directory;
}

QString UserFiles::Resolve(const QString &pathFromUri) const
{
    // It holds one character for each byte of the client's UTF-8; links and ".." lead anywhere.
    const QString path = QString::fromUtf8(pathFromUri.toLatin1());
    const QFileInfo file(QFileInfo(path).canonicalFilePath());
    const bool inside = file.filePath().startsWith(directory.path() + '/');
    return inside && file.isFile() ? file.filePath() : QString();
}

QVector<QFileInfo> UserFiles::All() const
{
    QVector<QFileInfo> files;
    QDirIterator below(directory.path(), QDir::Files | QDir::NoSymLinks,
                       QDirIterator::Subdirectories);
    while (below.hasNext()) {
        below.next();
        files.append(below.fileInfo());
    }
    std::sort(files.begin(), files.end(), [](const QFileInfo &left, const QFileInfo &right) {
        return left.filePath() < right.filePath();
    });
    return files;
}

QString UserFiles::State(const QFileInfo &file)
{
    return QString("%1 %2").arg(file.lastModified().toMSecsSinceEpoch()).arg(file.size());
}

QJsonObject UserFiles::Record(const QFileInfo &file)
{
    return {{"path", file.filePath()},
            {"size", file.size()},
            {"modifiedTime", file.lastModified().toUTC().toString("yyyy-MM-ddThh:mm:ssZ")}};
}

QJsonObject UserFiles::Metadata(const QFileInfo &file)
{
    QJsonObject metadata = Record(file);
    metadata.insert("sha256", Digest(file));
    return metadata;
}

QString UserFiles::Digest(const QFileInfo &file)
{
    // Summed up once for each content: a large file takes seconds.
    QPair<QString, QString> &known = digests[file.filePath()];
    QFile content(file.filePath());
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (known.first != State(file) && content.open(QIODevice::ReadOnly) && hash.addData(&content)) {
        known = {State(file), hash.result().toHex()};
    }
    return known.second;
}
