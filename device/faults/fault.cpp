#include "fault.h"

#include <QStringList>
#include <algorithm>
#include <limits>

namespace {

constexpr int mostBites = 1'000'000;
constexpr qint64 minute = 60'000;
constexpr qint64 anyBytes = qint64{1} << 53; // what a number of JSON holds

enum class Takes
{
    Nothing,
    Value,
    Count,   // short for the count behind a star
    Optional // a value, or else the one of the row
};

/** A fault, what it takes and where it bites. */
struct Row
{
    const char *name;
    FaultKind kind;
    Takes takes;
    const char *unit; ///< of the value
    qint64 least;
    qint64 most;
    qint64 usual;      ///< the value where it is left out
    const char *place; ///< for people
};

constexpr Row table[] = {
    // Bounded, because nothing else happens meanwhile: neither other requests nor the end.
    {"slow-call", FaultKind::SlowCall, Takes::Value, "MS", 0, minute, 0,
     "the first call of a model in each request, and each further piece of a download"},
    {"storage-away", FaultKind::StorageAway, Takes::Nothing, "", 0, 0, 0,
     "the question for the guarded storage"},
    {"no-space", FaultKind::NoSpace, Takes::Nothing, "", 0, 0, 0,
     "the question for room, before an upload"},
    // User files are written by the library itself, past the stores.
    {"write-fails", FaultKind::WriteFails, Takes::Value, "BYTES", 0, anyBytes, 0,
     "the disk of the work orders and of the state, full after so many more bytes"},
    {"read-fails", FaultKind::ReadFails, Takes::Value, "OFFSET", 0, anyBytes, 0,
     "the reading of user files from this position on"},
    {"delete-refused", FaultKind::DeleteRefused, Takes::Nothing, "", 0, 0, 0,
     "the deleting of user files"},
    {"store-fails", FaultKind::StoreFails, Takes::Nothing, "", 0, 0, 0,
     "the storing of work orders"},
    // From here on they are of the line.
    {"busy", FaultKind::Busy, Takes::Count, "COUNT", 1, mostBites, 0, "the request, answered 408"},
    {"http-500", FaultKind::Http500, Takes::Count, "COUNT", 1, mostBites, 0,
     "the request, answered 500"},
    {"drop-after", FaultKind::DropAfter, Takes::Value, "BYTES", 0, anyBytes, 0,
     "the connection, which breaks after so many bytes of a body"},
    {"stall-after", FaultKind::StallAfter, Takes::Value, "BYTES", 0, anyBytes, 0,
     "the connection, which stays and moves nothing more after so many bytes of a body"},
    {"throttle", FaultKind::Throttle, Takes::Value, "BYTES_PER_SECOND", 1, 1'000'000'000, 0,
     "the bodies, which pass no faster"},
    {"corrupt-download", FaultKind::CorruptDownload, Takes::Nothing, "", 0, 0, 0,
     "the first byte of a file that is read"},
    {"late-answer", FaultKind::LateAnswer, Takes::Optional, "MS", 0, minute, 10'000,
     "the answer of a request that is carried out: 500 after so long"},
};

const Row *Find(const QString &name)
{
    const auto *found = std::find_if(std::begin(table), std::end(table), [&name](const Row &row) {
        return name == QLatin1String(row.name);
    });
    return found != std::end(table) ? found : nullptr;
}

QString Refusal(const Row &row, const QString &text)
{
    const QString wanted =
        row.takes == Takes::Nothing
            ? QStringLiteral("no value")
            : QStringLiteral("a number from %1 to %2").arg(row.least).arg(row.most);
    return QStringLiteral("the fault %1 takes %2, not \"%3\"")
        .arg(QLatin1String(row.name), wanted, text);
}

// Takes what follows the mark off the text; null when there is no mark.
QString TakeOff(QString *text, int position)
{
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

// The value into `fault`; false for one that the row does not take.
bool ReadValue(const Row &row, const QString &text, Fault *fault)
{
    fault->value = row.usual;
    if (text.isNull()) {
        return row.takes != Takes::Value;
    }
    qint64 number = 0;
    if (row.takes == Takes::Nothing || !ReadNumber(text, row.least, row.most, &number)) {
        return false;
    }
    if (row.takes == Takes::Count) {
        fault->count = static_cast<int>(number);
    } else {
        fault->value = number;
    }
    return true;
}

// The count behind a star into `fault`.
bool ReadCount(const QString &text, Fault *fault)
{
    qint64 number = fault->count;
    const bool twice = !text.isNull() && number > 0;
    const bool fits = text.isNull() || ReadNumber(text, 1, mostBites, &number);
    fault->count = static_cast<int>(number);
    return fits && !twice;
}

QString Usage(const Row &row)
{
    QString name = QLatin1String(row.name);
    const QString value = QStringLiteral("=") + QLatin1String(row.unit);
    switch (row.takes) {
    case Takes::Nothing:
        return name;
    case Takes::Value:
        return name + value;
    default:
        return name + QLatin1Char('[') + value + QLatin1Char(']');
    }
}

} // namespace

bool Fault::IsOfTheLine() const
{
    return kind >= FaultKind::Busy;
}

std::optional<Fault> Fault::Parse(const QString &text, QString *error)
{
    QString rest = text;
    // A route may hold any of the other marks.
    const QString route = TakeOff(&rest, rest.indexOf(QLatin1Char('@')));
    const QString bites = TakeOff(&rest, rest.lastIndexOf(QLatin1Char('*')));
    const QString value = TakeOff(&rest, rest.lastIndexOf(QLatin1Char('=')));
    const Row *row = Find(rest);
    if (row == nullptr) {
        *error = QStringLiteral("\"%1\" is no fault: there are %2").arg(text, Names());
        return std::nullopt;
    }
    Fault fault;
    fault.kind = row->kind;
    fault.route = route.toUtf8();
    if (!ReadValue(*row, value, &fault)) {
        *error = Refusal(*row, text);
    } else if (!ReadCount(bites, &fault)) {
        *error = QStringLiteral("the fault %1 takes one count from 1 to %2, not \"%3\"")
                     .arg(QLatin1String(row->name), QString::number(mostBites), text);
    } else if (!route.isNull() && !route.startsWith(QLatin1Char('/'))) {
        *error = QStringLiteral("the fault %1 takes a route that begins with \"/\", not \"%2\"")
                     .arg(QLatin1String(row->name), text);
    } else {
        return fault;
    }
    return std::nullopt;
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
        names << Usage(row);
    }
    return names.join(QStringLiteral(", "));
}
