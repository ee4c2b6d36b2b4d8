#include "synccommand.h"

#include <CLI/CLI.hpp>
#include <QFileInfo>
#include <algorithm>
#include <iterator>

#include "clienterror.h"
#include "localfolder.h"
#include "progressdisplay.h"
#include "stagedfile.h"
#include "syncreport.h"
#include "userfiles.h"

namespace {

bool IsThere(const QString &target, const FileRecord &record)
{
    const QFileInfo information(target);
    return information.isFile() && !information.isSymLink() &&
           record.Describes(information.size(), HashingFile::Sha256Of(target));
}

} // namespace

SyncCommand::SyncCommand()
    : Command("sync", "Fetch every pending file into a folder, verify and confirm it")
{}

void SyncCommand::AddArguments(CLI::App &parser)
{
    parser.add_option("DIR", folder, "The local folder; sub-folders are kept")->required();
    parser.add_option("--root", rootOption,
                      "The folder on the device that DIR stands for; without it the folder of the "
                      "user files");
    parser.add_flag("--all", all, "Include files that are just being written");
}

ExitStatus SyncCommand::Run(DeviceConnection &connection, const Output &output)
{
    UserFiles files(connection);
    const LocalFolder local(QString::fromStdString(folder));
    const QVector<FileRecord> pending = files.Pending(all);
    const QVector<FileRecord> wanted = Wanted(files, pending);
    if (wanted.size() < pending.size()) {
        output.Notice(QString("%1 pending files are not below %2")
                          .arg(pending.size() - wanted.size())
                          .arg(root));
    }
    SyncReport report(output);
    SyncAll(files, local, wanted, output, report);
    try {
        report.CompareWith(Wanted(files, files.Pending(true)));
    } catch (const ClientError &error) {
        report.NotCompared(error);
    }
    report.Print();
    return report.Status();
}

QString SyncCommand::RootFor(UserFiles &files) const
{
    if (!rootOption.empty()) {
        return files.ResolveFolder(QString::fromStdString(rootOption));
    }
    return DevicePaths(files.List()).Root();
}

QVector<FileRecord> SyncCommand::Wanted(UserFiles &files, const QVector<FileRecord> &pending)
{
    if (root.isNull() && !pending.isEmpty()) {
        root = RootFor(files);
    }
    if (rootOption.empty()) {
        return pending;
    }
    QVector<FileRecord> wanted;
    std::copy_if(pending.begin(), pending.end(), std::back_inserter(wanted),
                 [this](const FileRecord &record) { return record.path.startsWith(root + '/'); });
    return wanted;
}

void SyncCommand::SyncAll(UserFiles &files, const LocalFolder &local,
                          const QVector<FileRecord> &wanted, const Output &output,
                          SyncReport &report) const
{
    for (const FileRecord &waiting : wanted) {
        try {
            report.Confirmed(SyncOne(files, local, waiting.path, output));
        } catch (const ClientError &error) {
            report.Failed(waiting.path, error);
            if (error.Status() == ExitStatus::CannotConnect) {
                return;
            }
        }
    }
}

FileRecord SyncCommand::SyncOne(UserFiles &files, const LocalFolder &local, const QString &path,
                                const Output &output) const
{
    if (!path.startsWith(root + '/')) {
        throw ClientError(ExitStatus::Usage, QString("not below %1").arg(root));
    }
    const QString relative = path.mid(root.size() + 1);
    const QString target = local.Target(relative);
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        FileRecord record = files.Metadata(path);
        if (record.path != path) {
            throw ClientError(ExitStatus::TransferCorrupt, "the device answers for " + record.path);
        }
        if (CopyAndConfirm(files, record, target, local, output)) {
            output.Line(QString("%1: %2 bytes, verified").arg(relative).arg(record.size));
            return record;
        }
    }
    throw ClientError(ExitStatus::TransferCorrupt,
                      QStringLiteral("the file keeps changing on the device"));
}

bool SyncCommand::CopyAndConfirm(UserFiles &files, const FileRecord &record, const QString &target,
                                 const LocalFolder &local, const Output &output) const
{
    if (!IsThere(target, record)) {
        ProgressDisplay display(output, record.path.mid(root.size() + 1), record.size);
        const FileRecord stored = files.Fetch(record, target, local.Staging(),
                                              [&](qint64 done) { display.Update(done); });
        if (stored != record) {
            return false;
        }
    }
    if (files.Metadata(record.path) != record) {
        return false;
    }
    files.Confirm(record.path);
    // A change just before the confirmation was confirmed unseen; it is fetched now.
    return files.Metadata(record.path) == record;
}
