#include "fault.h"

#include <QStringList>
#include <algorithm>
#include <limits>

namespace {

constexpr int mostBites = 1'000'000;
constexpr qint64 minute = 60'000;
constexpr qint64 anyBytes = qint64{1} << 53; // what a number of JSON holds

/** A fault, what it takes and where it bites. */
struct Row
{
    const char *name;
    FaultKind kind;
    const char *unit; ///< of the value; empty for a fault that takes none
    qint64 least;
    qint64 most;
    const char *place; ///< for people
};

constexpr Row table[] = {
    // Bounded, because nothing else happens meanwhile: neither other requests nor the end.
    {"slow-call", FaultKind::SlowCall, "MS", 0, minute,
     "the first call of a model in each request, and each further piece of a download"},
    {"storage-away", FaultKind::StorageAway, "", 0, 0, "the question for the guarded storage"},
    {"no-space", FaultKind::NoSpace, "", 0, 0, "the question for room, before an upload"},
    // User files are written by the library itself, past the stores.
    {"write-fails", FaultKind::WriteFails, "BYTES", 0, anyBytes,
     "the disk of the work orders and of the state, full after so many more bytes"},
    {"read-fails", FaultKind::ReadFails, "OFFSET", 0, anyBytes,
     "the reading of user files from this position on"},
    {"delete-refused", FaultKind::DeleteRefused, "", 0, 0, "the deleting of user files"},
    {"store-fails", FaultKind::StoreFails, "", 0, 0, "the storing of work orders"},
};

const Row *Find(const QString &name)
{
    const auto *found = std::find_if(std::begin(table), std::end(table), [&name](const Row &row) {
        return name == QLatin1String(row.name);
    });
    return found != std::end(table) ? found : nullptr;
}

bool TakesValue(const Row &row)
{
    return *row.unit != '\0';
}

QString Refusal(const Row &row, const QString &text)
{
    const QString wanted =
        TakesValue(row) ? QStringLiteral("a number from %1 to %2").arg(row.least).arg(row.most)
                        : QStringLiteral("no value");
    return QStringLiteral("the fault %1 takes %2, not \"%3\"")
        .arg(QLatin1String(row.name), wanted, text);
}

// Takes what follows the last `mark` off the text; null when there is no mark.
QString TakeOff(QString *text, char mark)
{
    const int position = text->lastIndexOf(QLatin1Char(mark));
    if (position < 0) {
        return QString();
    }
    const QString end = text->mid(position + 1);
    text->truncate(position);
    return end.isNull() ? QString(QLatin1String("")) : end;
}

bool ReadNumber(const QString &text, qint64 least, qint64 most, qint64 *number)
{
    bool isNumber = false;
    *number = text.toLongLong(&isNumber);
    return isNumber && *number >= least && *number <= most;
}

} // namespace

std::optional<Fault> Fault::Parse(const QString &text, QString *error)
{
    QString rest = text;
    const QString bites = TakeOff(&rest, '*');
    const QString value = TakeOff(&rest, '=');
    const Row *row = Find(rest);
    if (row == nullptr) {
        *error = QStringLiteral("\"%1\" is no fault: there are %2").arg(text, Names());
        return std::nullopt;
    }
    Fault fault;
    fault.kind = row->kind;
    if (TakesValue(*row) ? !ReadNumber(value, row->least, row->most, &fault.value)
                         : !value.isNull()) {
        *error = Refusal(*row, text);
        return std::nullopt;
    }
    qint64 number = 0;
    if (!bites.isNull() && !ReadNumber(bites, 1, mostBites, &number)) {
        *error = QStringLiteral("the fault %1 bites from 1 to %2 times, not \"%3\"")
                     .arg(QLatin1String(row->name), QString::number(mostBites), text);
        return std::nullopt;
    }
    fault.count = static_cast<int>(number);
    return fault;
}

QVector<FaultDescription> Fault::All()
{
    QVector<FaultDescription> all;
    for (const Row &row : table) {
        all.append({QLatin1String(row.name), row.kind, QLatin1String(row.unit), row.least, row.most,
                    QLatin1String(row.place)});
    }
    return all;
}

QString Fault::Names()
{
    QStringList names;
    for (const Row &row : table) {
        names << QLatin1String(row.name) +
                     (TakesValue(row) ? QLatin1String("=") : QLatin1String()) +
                     QLatin1String(row.unit);
    }
    return names.join(QStringLiteral(", "));
}
