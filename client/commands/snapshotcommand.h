#ifndef SNAPSHOTCOMMAND_H
#define SNAPSHOTCOMMAND_H

#include <QVector>
#include <string>

#include "command.h"
#include "filerecord.h"

class ProgressDisplay;
class UserFiles;
class WorkOrders;

/**
 * Keeps everything that a device tells as a folder that the simulator serves: what the device is,
 * work orders, templates, user files, their times, and what is active and confirmed. The folder
 * takes its name when it is whole.
 */
class SnapshotCommand : public Command
{
public:
    SnapshotCommand();
    Argument ArgumentKind() const override { return Argument::LocalFolder; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    void TakeDocuments(DeviceConnection &connection) const;
    int TakeWorkOrders(DeviceConnection &connection) const;
    int TakeFiles(UserFiles &files, const Output &output) const;
    void TakeFile(UserFiles &files, const FileRecord &record, const QString &root,
                  ProgressDisplay &display) const;
    void TakeConfirmations(const QVector<FileRecord> &taken, const QVector<FileRecord> &pending,
                           const QString &root) const;
    QString Inside(const char *part) const;

    std::string folder;
    QString unfinished; ///< where it is put together
};

#endif // SNAPSHOTCOMMAND_H
