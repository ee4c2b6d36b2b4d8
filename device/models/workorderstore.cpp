#include "workorderstore.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "clienttext.h"
#include "documentfile.h"
#include "filestatus.h"
#include "workorderid.h"

namespace {

constexpr const char *source = "workorderstore";
constexpr qint64 largestBatch = qint64{64} * 1024 * 1024;

QStringList DocumentsIn(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral("*.json")}, QDir::Files | QDir::CaseSensitive,
                                  QDir::Name);
}

QDateTime FolderTime(const QString &folder)
{
    return QFileInfo(folder).lastModified();
}

} // namespace

// What a batch adds to the files it replaces. It is written out for that, once, when first asked.
class WorkOrderStore::Growth
{
public:
    Growth(const BatchJournal &journalOfBatch, const BatchJournal::Batch &grownBatch)
        : journal(journalOfBatch)
        , batch(grownBatch)
    {}

    qint64 Files() const { return static_cast<qint64>(batch.size()); }

    qint64 Bytes(const std::function<qint64(qint64 size)> &taken)
    {
        if (changes.empty()) {
            Measure();
        }
        qint64 bytes = 0;
        for (const auto &[replaced, written] : changes) {
            bytes += taken(written) - taken(replaced);
        }
        return bytes;
    }

private:
    void Measure()
    {
        for (const auto &[fileName, document] : batch) {
            changes.emplace_back(QFileInfo(journal.PathOf(fileName)).size(),
                                 DocumentFile::Written(document).size());
        }
    }

    const BatchJournal &journal;
    const BatchJournal::Batch &batch;
    std::vector<std::pair<qint64, qint64>> changes; ///< bytes before and after, of each file
};

WorkOrderStore::WorkOrderStore(FileSystem &files, const QString &workOrderFolder,
                               const QString &stateFolder, IErrorReporter &errors, int limit,
                               qint64 bytes)
    : fileSystem(files)
    , folder(workOrderFolder)
    , mostWorkOrders(limit)
    , byteLimit(bytes)
    , errorReporter(errors)
    , journal(files, workOrderFolder, stateFolder, QStringLiteral("workorders"), errors)
{}

void WorkOrderStore::Load(const std::function<bool()> &goesOn)
{
    QString error;
    if (!journal.Discard(&error)) {
        errorReporter.ReportError(error, source, __LINE__);
    }
    if (!journal.Apply(&error)) {
        errorReporter.ReportError(error, source, __LINE__);
    }
    index.clear();
    formerlySkipped = std::exchange(skipped, {});
    FolderIsKnown();
    const QStringList documents = DocumentsIn(folder);
    knownFiles = QSet<QString>(documents.cbegin(), documents.cend());
    QStringList files = journal.PendingFiles() + documents;
    files.removeDuplicates(); // a file that is still to be replaced counts with its new content
    for (auto file = files.cbegin(); file != files.cend() && goesOn(); ++file) {
        AddFile(*file);
    }
}

bool WorkOrderStore::LoadIfChanged()
{
    if (FolderTime(folder) == loadedFolderTime && (settled || HasKnownFiles())) {
        return false;
    }
    Load();
    return true;
}

void WorkOrderStore::FolderIsKnown()
{
    loadedFolderTime = FolderTime(folder);
    settled = false;
}

// The clock of files is coarse: a change right after the one that is known may have the same time.
bool WorkOrderStore::HasKnownFiles()
{
    constexpr qint64 clockStep = 20; // ms, twice that of the slowest kernels
    settled = std::abs(loadedFolderTime.msecsTo(QDateTime::currentDateTime())) > clockStep;
    const QStringList documents = DocumentsIn(folder);
    return QSet<QString>(documents.cbegin(), documents.cend()) == knownFiles;
}

void WorkOrderStore::ReportSkipped(const QString &message)
{
    skipped.insert(message);
    if (!formerlySkipped.contains(message)) {
        errorReporter.ReportError(message, source, __LINE__);
    }
}

void WorkOrderStore::AddFile(const QString &fileName)
{
    const QString path = journal.PathOf(fileName);
    QString problem;
    const std::optional<QJsonObject> document = DocumentFile::ReadObject(path, &problem);
    const QString id = document ? WorkOrderId::Of(*document) : QString();
    if (id.isEmpty()) {
        if (problem.isEmpty()) {
            problem = QStringLiteral("it has no valid \"workOrderId\"");
        }
        ReportSkipped(QStringLiteral("skipped %1: it is no work order, %2").arg(path, problem));
    } else if (index.count(id) > 0) {
        SkipDuplicate(id, fileName);
    } else {
        index.emplace(id, EntryOf(fileName));
    }
}

void WorkOrderStore::SkipDuplicate(const QString &id, const QString &fileName)
{
    Entry &entry = index.at(id);
    QString surplus = fileName;
    if (fileName == WorkOrderId::FileName(id)) {
        surplus = entry.fileName;
        entry = EntryOf(fileName);
    }
    ReportSkipped(QStringLiteral("skipped %1: %2 holds the same work order")
                      .arg(journal.PathOf(surplus), entry.fileName));
}

bool WorkOrderStore::UpdateWorkOrders(QJsonArray workOrders)
{
    Documents documents;
    QString error;
    bool stored = Collect(workOrders, &documents, &error);
    if (stored && !documents.empty()) {
        LoadIfChanged();
        stored = FitsLimit(documents, &error) && CanBeReadAgain(documents, &error) &&
                 StoreBatch(documents, &error);
    }
    if (!error.isEmpty()) {
        errorReporter.ReportError(error, source, __LINE__);
    }
    return stored;
}

bool WorkOrderStore::Collect(const QJsonArray &workOrders, Documents *documents,
                             QString *error) const
{
    int number = 0;
    for (const QJsonValue &element : workOrders) {
        ++number;
        const QString id = WorkOrderId::Of(element);
        if (id.isEmpty()) {
            *error = QStringLiteral("stored nothing: work order %1 of %2 has no valid id")
                         .arg(number)
                         .arg(workOrders.size());
            return false;
        }
        (*documents)[id] = element.toObject();
    }
    return true;
}

bool WorkOrderStore::FitsLimit(const Documents &documents, QString *error) const
{
    const auto added =
        std::count_if(documents.cbegin(), documents.cend(),
                      [this](const auto &each) { return index.count(each.first) == 0; });
    if (added == 0 || static_cast<qint64>(index.size()) + added <= mostWorkOrders) {
        return true;
    }
    *error = QStringLiteral("stored nothing: %1 new work orders beside the %2 stored ones are more "
                            "than the %3 allowed")
                 .arg(added)
                 .arg(index.size())
                 .arg(mostWorkOrders);
    return false;
}

// Files are written with line ends and indentation, which can be a thousand times what was sent.
bool WorkOrderStore::CanBeReadAgain(const Documents &documents, QString *error)
{
    qint64 all = 0;
    for (const auto &[id, document] : documents) {
        const qint64 length = DocumentFile::IndentedLength(document);
        all += length;
        if (length > DocumentFile::largest || all > largestBatch) {
            *error = QStringLiteral("stored nothing: written out, the work order %1 is larger than "
                                    "16 MiB, or those up to it are larger than 64 MiB")
                         .arg(id);
            return false;
        }
    }
    return true;
}

bool WorkOrderStore::StoreBatch(const Documents &documents, QString *error)
{
    BatchJournal::Batch batch;
    Growth growth(journal, batch);
    if (!journal.Apply(error) || !NameFiles(documents, &batch, error) ||
        !FitsBytes(&growth, error) || !LeavesReserve(&growth, error) ||
        !journal.Stage(batch, error) || !journal.Commit(error)) {
        return false;
    }
    Remember(documents);
    journal.Apply(error);
    FolderIsKnown();
    return true;
}

bool WorkOrderStore::NameFiles(const Documents &documents, BatchJournal::Batch *batch,
                               QString *error) const
{
    for (const auto &[id, document] : documents) {
        const QString fileName = FileNameFor(id);
        if (index.count(id) == 0 && IsTaken(folder + QLatin1Char('/') + fileName)) {
            *error = QStringLiteral("stored nothing: %1 is no file of the work order %2")
                         .arg(folder + QLatin1Char('/') + fileName, id);
            return false;
        }
        batch->emplace(fileName, document);
    }
    return true;
}

bool WorkOrderStore::FitsBytes(Growth *growth, QString *error) const
{
    const qint64 stored = StoredBytes();
    // Where any batch fits, nothing is written for the sake of its size.
    if (stored + largestBatch <= byteLimit) {
        return true;
    }
    const qint64 bytes = growth->Bytes([](qint64 size) { return size; });
    if (bytes <= 0 || stored + bytes <= byteLimit) {
        return true;
    }
    *error = QStringLiteral("stored nothing: with %1 bytes more beside the %2 stored ones the work "
                            "orders would have more than the %3 allowed; send smaller ones, or "
                            "remove files from %4")
                 .arg(bytes)
                 .arg(stored)
                 .arg(byteLimit)
                 .arg(folder);
    return false;
}

qint64 WorkOrderStore::StoredBytes() const
{
    return std::accumulate(index.cbegin(), index.cend(), qint64{0},
                           [](qint64 sum, const auto &each) { return sum + each.second.size; });
}

bool WorkOrderStore::LeavesReserve(Growth *growth, QString *error) const
{
    const std::optional<DiskSpace> space = DiskSpace::Of(fileSystem, folder, error);
    if (!space) {
        return false;
    }
    const qint64 most = largestBatch + growth->Files() * space->Taken(1);
    if (most <= space->BesideReserve()) {
        return true;
    }
    const qint64 bytes = growth->Bytes([&](qint64 size) { return space->Taken(size); });
    if (bytes <= 0 || bytes <= space->BesideReserve()) {
        return true;
    }
    *error = QStringLiteral("stored nothing: with %1 bytes more in %2 its disk would have less "
                            "than 16 MiB free; delete user files, or send smaller work orders")
                 .arg(bytes)
                 .arg(folder);
    return false;
}

void WorkOrderStore::Remember(const Documents &documents)
{
    for (const auto &[id, document] : documents) {
        const Entry entry = EntryOf(FileNameFor(id));
        knownFiles.insert(entry.fileName);
        index[id] = entry;
    }
}

QJsonObject WorkOrderStore::GetWorkOrder(QString id, bool *found)
{
    *found = false;
    const auto entry = index.find(TextFromClient(id));
    if (entry == index.end()) {
        return QJsonObject();
    }
    const QString path = journal.PathOf(entry->second.fileName);
    QString problem;
    const std::optional<QJsonObject> document = DocumentFile::ReadObject(path, &problem);
    *found = document && WorkOrderId::Of(*document) == entry->first;
    if (!*found) {
        errorReporter.ReportError(
            QStringLiteral("%1 does not hold the work order %2 any more").arg(path, entry->first),
            source, __LINE__);
        return QJsonObject();
    }
    return *document;
}

QString WorkOrderStore::FileNameFor(const QString &id) const
{
    const auto entry = index.find(id);
    return entry != index.end() ? entry->second.fileName : WorkOrderId::FileName(id);
}

WorkOrderStore::Entry WorkOrderStore::EntryOf(const QString &fileName) const
{
    const QFileInfo file(journal.PathOf(fileName));
    return Entry{fileName, file.lastModified().toUTC(), file.size()};
}
