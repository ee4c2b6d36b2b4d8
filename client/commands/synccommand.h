#ifndef SYNCCOMMAND_H
#define SYNCCOMMAND_H

#include <QVector>
#include <string>

#include "command.h"
#include "filerecord.h"

class LocalFolder;
class SyncReport;
class UserFiles;

/**
 * Fetches every pending file into a folder, verifies it and confirms it. A file is confirmed only
 * when its content is in the folder, durable and verified, and the device still has that content.
 * What an interrupted run fetched but did not confirm is not fetched again.
 */
class SyncCommand : public Command
{
public:
    SyncCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    void SyncAll(UserFiles &files, const LocalFolder &local, const QVector<FileRecord> &wanted,
                 const Output &output, SyncReport &report) const;
    FileRecord SyncOne(UserFiles &files, const LocalFolder &local, const QString &path,
                       const Output &output) const;
    bool CopyAndConfirm(UserFiles &files, const FileRecord &record, const QString &target,
                        const LocalFolder &local, const Output &output) const;
    QString RootFor(UserFiles &files) const;
    QVector<FileRecord> Wanted(UserFiles &files, const QVector<FileRecord> &pending);

    std::string folder;
    std::string rootOption;
    bool all = false;
    QString root; ///< null until there is a pending file
};

#endif // SYNCCOMMAND_H
