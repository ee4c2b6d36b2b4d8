#ifndef SYNCCOMMAND_H
#define SYNCCOMMAND_H

#include <QStringList>
#include <QVector>
#include <string>

#include "command.h"
#include "filerecord.h"
#include "namefilter.h"

class LocalFolder;
class ProgressDisplay;
class SyncReport;
class UserFiles;

/**
 * Fetches every pending file into a folder, verifies it and confirms it. A file is confirmed only
 * when its content is in the folder, durable and verified. One that changed between its download
 * and its confirmation was confirmed unseen: at the end the device's list tells, and it is fetched
 * anew. What an interrupted run fetched but did not confirm is not fetched again.
 */
class SyncCommand : public Command
{
public:
    SyncCommand();
    Argument ArgumentKind() const override { return Argument::LocalFolder; }
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    /** What one run works on. */
    struct Job
    {
        UserFiles &files;
        const LocalFolder &local;
        SyncReport &report;
        const Output &output;
    };

    void FetchAll(const Job &job, QVector<FileRecord> wanted);
    bool FetchAndConfirm(const Job &job, const FileRecord &waiting, ProgressDisplay &display);
    FileRecord Settle(const Job &job, const FileRecord &waiting, ProgressDisplay &display) const;
    FileRecord FetchOne(const Job &job, const FileRecord &waiting, ProgressDisplay &display) const;
    QString RelativeOf(const QString &path) const;
    QString RootFor(UserFiles &files) const;
    QVector<FileRecord> Wanted(UserFiles &files, const QVector<FileRecord> &pending);
    QVector<FileRecord> Lost(UserFiles &files);
    QStringList ArgumentsForEach() const;
    ExitStatus ShowOnly(const QVector<FileRecord> &wanted, const Output &output) const;

    std::string folder;
    std::string rootOption;
    NameFilter filter;
    bool all = false;
    int atOnce = 16;
    bool recent = false;
    bool everything = false;
    bool dryRun = false;
    QString root; ///< null until there is a pending file
};

#endif // SYNCCOMMAND_H
