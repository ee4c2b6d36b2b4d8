#include "faultplan.h"

#include <QFile>
#include <QThread>
#include <algorithm>
#include <sys/stat.h>

namespace {

struct Description
{
    const char *name;
    Fault fault;
    bool takesValue;
};

constexpr Description descriptions[] = {
    {"slow-call", Fault::SlowCall, true},      {"storage-away", Fault::StorageAway, false},
    {"no-space", Fault::NoSpace, false},       {"write-fails", Fault::WriteFails, true},
    {"read-fails", Fault::ReadFails, true},    {"delete-refused", Fault::DeleteRefused, false},
    {"store-fails", Fault::StoreFails, false},
};

const Description *Find(const QString &name)
{
    const auto *found =
        std::find_if(std::begin(descriptions), std::end(descriptions),
                     [&name](const Description &each) { return name == QLatin1String(each.name); });
    return found != std::end(descriptions) ? found : nullptr;
}

} // namespace

bool FaultPlan::Parse(const QString &text, Faults *faults, QString *error)
{
    const int equals = text.indexOf(QLatin1Char('='));
    const Description *description = Find(text.left(equals));
    if (description == nullptr) {
        *error = QStringLiteral("\"%1\" is no fault: there are %2").arg(text, Names());
        return false;
    }
    bool isNumber = false;
    const qint64 value = text.mid(equals + 1).toLongLong(&isNumber);
    const bool complete = description->takesValue ? equals >= 0 && isNumber && value >= 0 //
                                                  : equals < 0;
    if (!complete) {
        *error = QStringLiteral("the fault %1 takes %2, not \"%3\"")
                     .arg(QLatin1String(description->name),
                          description->takesValue ? QStringLiteral("a number of 0 or more")
                                                  : QStringLiteral("no value"),
                          text);
        return false;
    }
    faults->insert(description->fault, description->takesValue ? value : 0);
    return true;
}

QString FaultPlan::Names()
{
    QStringList names;
    for (const Description &each : descriptions) {
        names << QLatin1String(each.name) + QLatin1String(each.takesValue ? "=N" : "");
    }
    return names.join(QStringLiteral(", "));
}

FaultPlan::FaultPlan(const QStringList &texts, const QString &controlFile, IErrorReporter &errors)
    : controlFilePath(controlFile)
    , errorReporter(errors)
{
    QString error;
    for (const QString &text : texts) {
        Parse(text, &given, &error);
    }
    inForce = given;
}

bool FaultPlan::IsSet(Fault fault)
{
    Refresh();
    return inForce.contains(fault);
}

std::optional<qint64> FaultPlan::Value(Fault fault)
{
    return IsSet(fault) ? std::optional<qint64>(inForce.value(fault)) : std::nullopt;
}

void FaultPlan::DelayCall()
{
    QThread::msleep(static_cast<unsigned long>(Value(Fault::SlowCall).value_or(0)));
}

int FaultPlan::Revision()
{
    Refresh();
    return revision;
}

void FaultPlan::Refresh()
{
    const QByteArray found = ControlFileVersion();
    if (found != version) {
        version = found;
        ++revision;
        inForce = given;
        ReadControlFile();
    }
}

void FaultPlan::ReadControlFile()
{
    QFile file(controlFilePath);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    for (const QByteArray &bytes : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(bytes).trimmed();
        QString error;
        if (!line.isEmpty() && !line.startsWith(QLatin1Char('#')) &&
            !Parse(line, &inForce, &error)) {
            errorReporter.ReportError(QStringLiteral("%1: %2").arg(controlFilePath, error),
                                      "faultplan", __LINE__);
        }
    }
}

// Empty while there is no file; otherwise different whenever the content may be.
QByteArray FaultPlan::ControlFileVersion() const
{
    struct stat status = {};
    if (stat(QFile::encodeName(controlFilePath).constData(), &status) != 0) {
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
