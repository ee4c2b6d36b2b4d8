#ifndef DEVICEFOLDER_H
#define DEVICEFOLDER_H

#include <QString>

#include "filesystem.h"

/** The folder that a simulated device is kept in, and where in it everything lies. */
class DeviceFolder
{
public:
    /** `path` is absolute and clean. Nothing is touched. */
    explicit DeviceFolder(const QString &path);

    QString Path() const { return root; }
    QString AssetFile() const { return root + QLatin1String("/asset.json"); }
    QString WorkOrders() const { return root + QLatin1String("/workorders"); }
    QString Templates() const { return root + QLatin1String("/templates"); }
    QString Storage() const { return root + QLatin1String("/storage"); }
    QString GuardedTemplates() const { return root + QLatin1String("/storage/templates"); }
    QString UserFiles() const { return root + QLatin1String("/storage/userfiles"); }
    QString State() const { return root + QLatin1String("/state"); }

    /** True when the folder is missing or has nothing in it, hidden files included. */
    bool IsUnused() const;

    /** Makes the folder and its parents when they are missing. On failure `*error` names one. */
    bool Make(FileSystem &fileSystem, QString *error) const;

    /**
     * Makes the folder and every sub-folder that is missing; what is there stays as it is. False
     * when one of them cannot be made or not be used; `*error` then names it.
     */
    bool MakeFolders(FileSystem &fileSystem, QString *error) const;

private:
    QString root;
};

#endif
