#include "assetmodel.h"

#include "documentfile.h"
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
    information.insert(QStringLiteral("userFilesFolder"), directory.Path());
    return information;
}

QJsonObject AssetModel::ReadDocument() const
{
    QString problem;
    const std::optional<QJsonObject> document = DocumentFile::ReadObject(documentPath, &problem);
    if (!document) {
        errorReporter.ReportError(
            QStringLiteral("Cannot use %1: %2")
                .arg(documentPath, problem.isEmpty() ? QStringLiteral("it is missing") : problem),
            "assetmodel", __LINE__);
    }
    return document.value_or(QJsonObject());
}
