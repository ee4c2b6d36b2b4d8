#include "synccommand.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QFileInfo>
#include <QSet>
#include <algorithm>
#include <iterator>
#include <numeric>

#include "clienterror.h"
#include "devicebook.h"
#include "fleet.h"
#include "localfolder.h"
#include "progressdisplay.h"
#include "stagedfile.h"
#include "syncreport.h"
#include "userfiles.h"

namespace {

bool IsThere(const QString &target, const FileRecord &record)
{
    const QFileInfo information(target);
    return information.isFile() && !information.isSymLink() && information.size() == record.size &&
           record.Describes(information.size(), HashingFile::Sha256Of(target));
}

qint64 BytesOf(const QVector<FileRecord> &records)
{
    return std::accumulate(records.begin(), records.end(), qint64(0),
                           [](qint64 sum, const FileRecord &record) { return sum + record.size; });
}

ClientError KeepsChanging()
{
    return {ExitStatus::TransferCorrupt, QStringLiteral("the file keeps changing on the device")};
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
    parser.add_flag("--recent", recent, "Include files that are just being written");
    parser.add_flag("--everything", everything,
                    "Fetch confirmed files again where the local copy is gone");
    parser.add_flag("--dry-run", dryRun, "Show what would be done, and do nothing");
    parser.add_flag("--all", all, "Every named device side by side, each into DIR/NAME");
    parser.add_option("--at-once", atOnce, "With --all: how many devices at the same time")
        ->check(CLI::Range(1, 1000))
        ->type_name("COUNT")
        ->capture_default_str();
    filter.AddOptions(parser);
}

ExitStatus SyncCommand::Run(DeviceConnection &connection, const Output &output)
{
    if (all) {
        const QVector<NamedDevice> devices = DeviceBook::Load();
        if (devices.isEmpty()) {
            throw ClientError(ExitStatus::Usage,
                              "--all: name the devices in " + DeviceBook::FileName());
        }
        return Fleet(output, ArgumentsForEach(), atOnce)
            .Sync(devices, QString::fromStdString(folder));
    }
    UserFiles files(connection);
    if (dryRun) {
        return ShowOnly(Wanted(files, files.Pending(recent)) + Lost(files), output);
    }
    const LocalFolder local(QString::fromStdString(folder));
    const QVector<FileRecord> pending = files.Pending(recent);
    const QVector<FileRecord> wanted = Wanted(files, pending);
    if (wanted.size() < pending.size()) {
        output.Notice(QString("%1 pending files are not below %2, or left out by the patterns")
                          .arg(pending.size() - wanted.size())
                          .arg(root));
    }
    SyncReport report(output);
    FetchAll({files, local, report, output}, wanted + Lost(files));
    try {
        report.CompareWith(Wanted(files, files.Pending(true)));
    } catch (const ClientError &error) {
        report.NotCompared(error);
    }
    return report.Finish();
}

// What this program was given, but for what is different for each device.
QStringList SyncCommand::ArgumentsForEach() const
{
    QStringList arguments = QCoreApplication::arguments().mid(1);
    arguments.removeOne("sync");
    for (const char *own : {"--all", "--json", "--quiet"}) {
        arguments.removeAll(own);
    }
    for (const char *own : {"--host", "--at-once"}) {
        const int position = arguments.indexOf(own);
        if (position >= 0) {
            arguments.erase(arguments.begin() + position, arguments.begin() + position + 2);
        }
    }
    arguments.removeAt(arguments.lastIndexOf(QString::fromStdString(folder)));
    return arguments;
}

QString SyncCommand::RootFor(UserFiles &files) const
{
    if (!rootOption.empty()) {
        return files.ResolveFolder(QString::fromStdString(rootOption));
    }
    return files.Root();
}

QString SyncCommand::RelativeOf(const QString &path) const
{
    return path.mid(root.size() + 1);
}

QVector<FileRecord> SyncCommand::Wanted(UserFiles &files, const QVector<FileRecord> &pending)
{
    if (root.isNull() && !pending.isEmpty()) {
        root = RootFor(files);
    }
    QVector<FileRecord> wanted;
    std::copy_if(pending.begin(), pending.end(), std::back_inserter(wanted),
                 [this](const FileRecord &record) {
                     return (rootOption.empty() || record.path.startsWith(root + '/')) &&
                            filter.Takes(RelativeOf(record.path));
                 });
    return wanted;
}

QVector<FileRecord> SyncCommand::Lost(UserFiles &files)
{
    if (!everything) {
        return {};
    }
    const QVector<FileRecord> pending = files.Pending(true);
    QSet<QString> pendingPaths;
    for (const FileRecord &record : pending) {
        pendingPaths.insert(record.path);
    }
    QVector<FileRecord> lost;
    const QVector<FileRecord> listed = Wanted(files, files.List());
    std::copy_if(
        listed.begin(), listed.end(), std::back_inserter(lost), [&](const FileRecord &record) {
            const QString local = QString::fromStdString(folder) + '/' + RelativeOf(record.path);
            return !pendingPaths.contains(record.path) && !QFileInfo::exists(local);
        });
    return lost;
}

ExitStatus SyncCommand::ShowOnly(const QVector<FileRecord> &wanted, const Output &output) const
{
    for (const FileRecord &record : wanted) {
        output.Line(
            QString("would fetch %1 (%2 bytes)").arg(RelativeOf(record.path)).arg(record.size));
    }
    output.Json(FileLines::JsonList(wanted, "wouldFetch"));
    return ExitStatus::Done;
}

void SyncCommand::FetchAll(const Job &job, QVector<FileRecord> wanted)
{
    constexpr int rounds = 3;
    for (int round = 0; round < rounds && !wanted.isEmpty(); ++round) {
        ProgressDisplay display(job.output, wanted.size(), BytesOf(wanted));
        for (const FileRecord &waiting : qAsConst(wanted)) {
            if (!FetchAndConfirm(job, waiting, display)) {
                return;
            }
        }
        wanted = job.report.TakeChanged(job.files);
    }
    for (const FileRecord &record : qAsConst(wanted)) {
        job.report.Failed(record.path, KeepsChanging());
    }
}

// False when nothing more can be done.
bool SyncCommand::FetchAndConfirm(const Job &job, const FileRecord &waiting,
                                  ProgressDisplay &display)
{
    try {
        const FileRecord stored = Settle(job, waiting, display);
        job.report.Confirmed(stored);
        job.output.Line(
            QString("%1: %2 bytes, verified").arg(RelativeOf(stored.path)).arg(stored.size));
    } catch (const Unnameable &error) {
        job.report.Skipped(waiting.path, error);
    } catch (ClientError &error) {
        if (error.EndsEverything()) {
            job.report.Stopped(error);
            return false;
        }
        job.report.Failed(waiting.path, error);
    }
    return true;
}

FileRecord SyncCommand::Settle(const Job &job, const FileRecord &waiting,
                               ProgressDisplay &display) const
{
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        FileRecord stored = FetchOne(job, waiting, display);
        job.files.Confirm(stored.path);
        // The device's times count seconds: of a file that changes just now they tell too little.
        if (!recent || job.files.Metadata(stored.path) == stored) {
            return stored;
        }
    }
    throw KeepsChanging();
}

FileRecord SyncCommand::FetchOne(const Job &job, const FileRecord &waiting,
                                 ProgressDisplay &display) const
{
    if (!waiting.path.startsWith(root + '/')) {
        throw ClientError(ExitStatus::Usage, QString("not below %1").arg(root));
    }
    UserFiles::RequireAskable(waiting.path);
    const QString target = job.local.Target(RelativeOf(waiting.path));
    const FileRecord record = waiting.sha256.isEmpty() ? job.files.Metadata(waiting.path) : waiting;
    if (record.path != waiting.path) {
        throw ClientError(ExitStatus::TransferCorrupt, "the device answers for " + record.path);
    }
    display.Begin(RelativeOf(record.path), record.size);
    FileRecord stored = record;
    if (!IsThere(target, record)) {
        stored = job.files.Fetch(record, target, job.local.Staging(),
                                 [&](qint64 done) { display.Update(done); });
    }
    display.End();
    return stored;
}
