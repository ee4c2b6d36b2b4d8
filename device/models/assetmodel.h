#ifndef ASSETMODEL_H
#define ASSETMODEL_H

#include "filedigestcache.h"
#include "hostmodel.h"
#include "userfiledirectory.h"

/** Describes the device and its user files. Main thread only. */
class AssetModel : public IAssetModel
{
public:
    /**
     * `path` is the document that describes the device. Keeps the references; the objects outlive
     * this one.
     */
    AssetModel(const QString &path, const UserFileDirectory &userFiles, FileDigestCache &digests,
               IErrorReporter &errors);

    /** The members "path", "size", "modifiedTime" and "sha256" of a user file. */
    QJsonObject GetFileMetadata(QString fileName, bool *found) override;

    /**
     * The document's object, read anew at each call so that a change shows at once, with the member
     * "simulator", which is true whatever the document says, and "userFilesFolder", the path under
     * which clients find the user files. Nothing but these, with a report, when the document is
     * missing or cannot be used.
     */
    QJsonObject GetAssetInfo() override;

private:
    QJsonObject ReadDocument() const;

    QString documentPath;
    const UserFileDirectory &directory;
    FileDigestCache &digestCache;
    IErrorReporter &errorReporter;
};

#endif
