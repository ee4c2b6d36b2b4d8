#include "faultplan.h"

#include <QFile>
#include <QThread>
#include <algorithm>
#include <sys/stat.h>
#include <utility>

namespace {

constexpr int mostBitesKept = 1000;

} // namespace

FaultPlan::FaultPlan(const Faults &commandLine, const QString &faultFile, IErrorReporter &errors)
    : faultFilePath(faultFile)
    , errorReporter(errors)
{
    for (const Fault &fault : commandLine) {
        Add(&given, fault);
    }
}

std::optional<qint64> FaultPlan::Value(FaultKind kind)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const Entry *entry = InForce(kind);
    return entry != nullptr ? std::optional<qint64>(entry->fault.value) : std::nullopt;
}

void FaultPlan::Count(FaultKind kind)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (Entry *entry = InForce(kind)) {
        NoteBite(entry);
    }
}

bool FaultPlan::Bites(FaultKind kind)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Entry *entry = InForce(kind);
    if (entry != nullptr) {
        NoteBite(entry);
    }
    return entry != nullptr;
}

void FaultPlan::NoteBite(Entry *entry)
{
    ++entry->bites;
    if (keepsBites && bites.size() < mostBitesKept) {
        bites.append({entry->fault.kind, QDateTime::currentDateTimeUtc()});
    }
}

void FaultPlan::DelayCall()
{
    if (const std::optional<qint64> delay = Value(FaultKind::SlowCall)) {
        Count(FaultKind::SlowCall);
        QThread::msleep(static_cast<unsigned long>(*delay));
    }
}

int FaultPlan::Revision()
{
    const std::lock_guard<std::mutex> lock(mutex);
    Refresh();
    return revision;
}

void FaultPlan::Set(const Fault &fault)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Add(&given, fault);
    ++revision;
}

void FaultPlan::Clear(FaultKind kind)
{
    const std::lock_guard<std::mutex> lock(mutex);
    given.erase(std::remove_if(given.begin(), given.end(),
                               [kind](const Entry &entry) { return entry.fault.kind == kind; }),
                given.end());
    ++revision;
}

void FaultPlan::KeepBites()
{
    const std::lock_guard<std::mutex> lock(mutex);
    keepsBites = true;
}

QVector<FaultPlan::Bite> FaultPlan::TakeBites()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(bites, {});
}

void FaultPlan::Add(Entries *entries, const Fault &fault)
{
    if (Entry *former = FindIn(entries, fault.kind)) {
        *former = Entry{fault};
    } else {
        entries->append(Entry{fault});
    }
}

FaultPlan::Entry *FaultPlan::FindIn(Entries *entries, FaultKind kind)
{
    const auto found = std::find_if(entries->begin(), entries->end(), [kind](const Entry &entry) {
        return entry.fault.kind == kind;
    });
    return found != entries->end() ? &*found : nullptr;
}

bool FaultPlan::IsUsedUp(const Entry &entry)
{
    return entry.fault.count > 0 && entry.bites >= entry.fault.count;
}

FaultPlan::Entry *FaultPlan::InForce(FaultKind kind)
{
    Refresh();
    Entry *entry = FindIn(&fromFile, kind);
    if (entry == nullptr) {
        entry = FindIn(&given, kind);
    }
    return entry != nullptr && !IsUsedUp(*entry) ? entry : nullptr;
}

void FaultPlan::Refresh()
{
    const QByteArray found = FaultFileVersion();
    if (found != version) {
        version = found;
        ++revision;
        fromFile.clear();
        ReadFaultFile();
    }
}

void FaultPlan::ReadFaultFile()
{
    QFile file(faultFilePath);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    for (const QByteArray &bytes : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(bytes).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        QString error;
        if (const std::optional<Fault> fault = Fault::Parse(line, &error)) {
            Add(&fromFile, *fault);
        } else {
            errorReporter.ReportError(QStringLiteral("%1: %2").arg(faultFilePath, error),
                                      "faultplan", __LINE__);
        }
    }
}

// Empty while there is no file; otherwise different whenever the content may be.
QByteArray FaultPlan::FaultFileVersion() const
{
    struct stat status = {};
    if (stat(QFile::encodeName(faultFilePath).constData(), &status) != 0) {
        return QByteArray();
    }
    QByteArray text;
    for (const auto value :
         {static_cast<qint64>(status.st_ino), static_cast<qint64>(status.st_size),
          static_cast<qint64>(status.st_mtim.tv_sec),
          static_cast<qint64>(status.st_mtim.tv_nsec)}) {
        text += QByteArray::number(value) + ' ';
    }
    return text;
}
