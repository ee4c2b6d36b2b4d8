#ifndef DEVICESANDBOX_H
#define DEVICESANDBOX_H

#include <QString>
#include <QStringList>
#include <filesystemsandbox.h>
#include <future>
#include <memory>

/** Confines the simulator to the folder of its device, the HTTP threads to the storage in it. */
class DeviceSandbox
{
public:
    /**
     * From now on files can be written below `dataFolder` only, which is made when it is missing,
     * and read there, below each entry of `readable` and where the program's libraries look for
     * theirs. Called once, before the first thread starts. False when the kernel cannot confine the
     * program; `*problem` is then one line for people. A folder that cannot be made is left for its
     * user to complain about.
     */
    static bool Enter(const QString &dataFolder, const QStringList &readable, QString *problem);
};

/**
 * Confines the HTTP threads to the storage of the device: uploads, which they write, reach the user
 * files and not the work orders or the state. Storage that is mounted later on the folder of the
 * user files is reached too.
 *
 * The server starts before the folder of the device is there, so its threads wait in `Enter` until
 * the main thread calls `Allow` or `Refuse`, once. Outlives the threads.
 */
class UploadSandbox
{
public:
    UploadSandbox();
    UploadSandbox(const UploadSandbox &) = delete;
    UploadSandbox &operator=(const UploadSandbox &) = delete;

    /**
     * Lets the threads in, confined to `storageFolder` where the kernel can do that. When it can
     * and fails, they are refused: false, and `*problem` is one line.
     */
    bool Allow(const QString &storageFolder, QString *problem);

    /** There is nothing to serve: the threads are refused. */
    void Refuse();

    /** Confines the calling thread. False when it must not serve. */
    bool Enter() const;

private:
    std::unique_ptr<const FileSystemSandbox::Domain> domain; // written before `decision` is
    std::promise<bool> decision;
    std::shared_future<bool> allowed; // any thread
};

#endif
