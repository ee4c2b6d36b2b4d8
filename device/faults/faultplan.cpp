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
    return ValueOf(InForce(kind, nullptr));
}

std::optional<qint64> FaultPlan::Value(FaultKind kind, const QByteArray &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return ValueOf(InForce(kind, &path));
}

void FaultPlan::Count(FaultKind kind)
{
    Bites(kind);
}

bool FaultPlan::Bites(FaultKind kind)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return NoteBite(InForce(kind, nullptr));
}

bool FaultPlan::Bites(FaultKind kind, const QByteArray &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return NoteBite(InForce(kind, &path));
}

void FaultPlan::BeginRequest(const QByteArray &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    underWay.append(path);
}

void FaultPlan::EndRequest(const QByteArray &path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    underWay.removeOne(path);
}

bool FaultPlan::NoteBite(Entry *entry)
{
    if (entry == nullptr) {
        return false;
    }
    ++entry->bites;
    if (keepsBites && bites.size() < mostBitesKept) {
        bites.append({entry->fault.kind, QDateTime::currentDateTimeUtc()});
    }
    return true;
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

std::optional<qint64> FaultPlan::ValueOf(const Entry *entry)
{
    return entry != nullptr ? std::optional<qint64>(entry->fault.value) : std::nullopt;
}

void FaultPlan::Add(Entries *entries, const Fault &fault)
{
    if (Entry *former = FindIn(entries, fault)) {
        *former = Entry{fault};
    } else {
        entries->append(Entry{fault});
    }
}

FaultPlan::Entry *FaultPlan::FindIn(Entries *entries, const Fault &fault)
{
    const auto found = std::find_if(entries->begin(), entries->end(), [&fault](const Entry &entry) {
        return entry.fault.kind == fault.kind && entry.fault.route == fault.route;
    });
    return found != entries->end() ? &*found : nullptr;
}

bool FaultPlan::IsUsedUp(const Entry &entry)
{
    return entry.fault.count > 0 && entry.bites >= entry.fault.count;
}

FaultPlan::Entry *FaultPlan::InForce(FaultKind kind, const QByteArray *path)
{
    Refresh();
    for (Entries *entries : {&fromFile, &given}) {
        for (Entry &entry : *entries) {
            const bool isReplaced = entries == &given && FindIn(&fromFile, entry.fault) != nullptr;
            if (entry.fault.kind == kind && !isReplaced && !IsUsedUp(entry) &&
                Concerns(entry.fault, path)) {
                return &entry;
            }
        }
    }
    return nullptr;
}

bool FaultPlan::Concerns(const Fault &fault, const QByteArray *path) const
{
    const auto begins = [&fault](const QByteArray &one) { return one.startsWith(fault.route); };
    if (fault.route.isEmpty()) {
        return true;
    }
    return path != nullptr ? begins(*path) : std::any_of(underWay.begin(), underWay.end(), begins);
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
