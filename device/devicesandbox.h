#ifndef DEVICESANDBOX_H
#define DEVICESANDBOX_H

#include <QString>
#include <QStringList>

/** Confines the simulator to the folder of its device. */
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

#endif
