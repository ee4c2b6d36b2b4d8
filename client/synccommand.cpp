#include "synccommand.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QFileInfo>
#include <QHash>

#include "clienterror.h"
#include "filelines.h"
#include "hashingfile.h"
#include "localfolder.h"
#include "progressdisplay.h"
#include "userfiles.h"

namespace {

bool IsThere(const QString &target, const FileRecord &record)
{
    const QFileInfo information(target);
    return information.isFile() && !information.isSymLink() &&
           record.Describes(information.size(), HashingFile::Sha256Of(target));
}

// Afterwards no confirmed file may be pending with the content that it had: its confirmation has
// then reached another file.
void LookAtWhatIsLeft(const QVector<FileRecord> &left, const QHash<QString, FileRecord> &confirmed)
{
    for (const FileRecord &record : left) {
        const auto known = confirmed.find(record.path);
        if (known != confirmed.end() && known->size == record.size &&
            known->modifiedTime == record.modifiedTime) {
            throw ClientError(ExitStatus::TransferCorrupt,
                              record.path + " is still pending after its confirmation");
        }
    }
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
    root = pending.isEmpty() ? QString() : RootFor(files);
    QHash<QString, FileRecord> confirmed;
    QJsonArray fetched;
    QJsonArray failed;
    ExitStatus status = ExitStatus::Done;
    for (const FileRecord &waiting : pending) {
        try {
            const FileRecord record = SyncOne(files, local, waiting.path, output);
            fetched.append(FileLines::Json(record));
            confirmed.insert(record.path, record);
        } catch (const ClientError &error) {
            output.Error(waiting.path + ": " + error.Message());
            failed.append(QJsonObject{{"path", waiting.path}, {"error", error.Message()}});
            status = status == ExitStatus::Done ? error.Status() : status;
            if (error.Status() == ExitStatus::CannotConnect) {
                break;
            }
        }
    }
    if (status != ExitStatus::CannotConnect) {
        const QVector<FileRecord> left = files.Pending(true);
        LookAtWhatIsLeft(left, confirmed);
        if (left.size() > failed.size()) {
            output.Notice(QString("%1 changed just now and are left for the next run")
                              .arg(left.size() - failed.size()));
        }
    }
    output.Line(pending.isEmpty() ? QStringLiteral("nothing to do")
                                  : QString("%1 fetched, verified and confirmed, %2 failed")
                                        .arg(fetched.size())
                                        .arg(failed.size()));
    output.Json(QJsonDocument(QJsonObject{{"synchronised", fetched}, {"failed", failed}}));
    return status;
}

QString SyncCommand::RootFor(UserFiles &files) const
{
    if (!rootOption.empty()) {
        return files.ResolveFolder(QString::fromStdString(rootOption));
    }
    return DevicePaths(files.List()).Root();
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
        const FileRecord record = files.Metadata(path);
        if (CopyAndConfirm(files, record, target, local, output)) {
            output.Line(
                QString("%1: %2 bytes, verified and confirmed").arg(relative).arg(record.size));
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
