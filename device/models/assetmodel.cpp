#include "assetmodel.h"

#include <QFile>
#include <QJsonDocument>

#include "durablefile.h"

AssetModel::AssetModel(const QString &path, const UserFileDirectory &userFiles,
                       FileDigestCache &digests, IErrorReporter &errors)
    : documentPath(path)
    , directory(userFiles)
    , digestCache(digests)
    , errorReporter(errors)
{}

QJsonObject AssetModel::GetFileMetadata(QString fileName, bool *found)
{
    *found = false;
    const std::optional<OpenUserFile> open = directory.Open(fileName);
    if (!open) {
        return QJsonObject();
    }
    const QString digest = digestCache.Digest(open->descriptor, open->file.status);
    if (digest.isNull()) {
        errorReporter.ReportError(DescribeFailure("read", open->file.path), "assetmodel", __LINE__);
        return QJsonObject();
    }
    *found = true;
    QJsonObject metadata = open->file.Describe();
    metadata.insert(QStringLiteral("sha256"), digest);
    return metadata;
}

QJsonObject AssetModel::GetAssetInfo()
{
    QJsonObject information = ReadDocument();
    information.insert(QStringLiteral("simulator"), true);
    return information;
}

QJsonObject AssetModel::ReadDocument() const
{
    QFile file(documentPath);
    if (!file.open(QIODevice::ReadOnly)) {
        errorReporter.ReportError(
            QStringLiteral("Cannot read %1: %2").arg(documentPath, file.errorString()),
            "assetmodel", __LINE__);
        return QJsonObject();
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject()) {
        const QString reason = error.error == QJsonParseError::NoError
                                   ? QStringLiteral("it holds no object")
                                   : error.errorString();
        errorReporter.ReportError(QStringLiteral("Cannot use %1: %2").arg(documentPath, reason),
                                  "assetmodel", __LINE__);
    }
    return document.object();
}
