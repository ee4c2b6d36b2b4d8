#ifndef LOCALFOLDER_H
#define LOCALFOLDER_H

#include <QLockFile>
#include <QString>
#include <memory>

/**
 * The local folder that a synchronisation fills. It keeps everything inside: a name from the device
 * never leads out of it, not even through a symbolic link that lies in it. Failures throw a
 * `ClientError` of status `LocalFailure`.
 */
class LocalFolder
{
public:
    /** Makes the folder when it is missing and keeps other synchronisations out until the end. */
    explicit LocalFolder(const QString &folder);

    /**
     * The local name of a file that the device has at `relative` below its root. Makes the
     * sub-folders that it lies in.
     */
    QString Target(const QString &relative) const;

    /** Where a file is written before it is whole. */
    QString Staging() const;

private:
    void EnterSubFolder(const QString &folder, const QString &relative) const;

    QString root;
    std::unique_ptr<QLockFile> lock;
};

#endif // LOCALFOLDER_H
