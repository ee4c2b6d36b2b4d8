#include "journalmodel.h"

#include <QColor>
#include <QLocale>
#include <QPalette>

namespace {

constexpr int firstFailure = 400;

constexpr QRgb failureOnLightGround = 0xffb3261e;
constexpr QRgb failureOnDarkGround = 0xffff8a80;
constexpr int middleLightness = 128;

QColor FailureColour()
{
    const bool isDark = QPalette().color(QPalette::Base).lightness() < middleLightness;
    return isDark ? failureOnDarkGround : failureOnLightGround;
}

} // namespace

bool JournalEntry::HasFailed() const
{
    return request.status == 0 || request.status >= firstFailure || !request.error.isEmpty();
}

QString JournalEntry::Reason() const
{
    QStringList reasons = request.reports;
    if (!request.error.isEmpty() && !reasons.contains(request.error)) {
        reasons.prepend(request.error);
    }
    return reasons.join(QStringLiteral("; ")).simplified();
}

JournalModel::JournalModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    batchTimer.setSingleShot(true);
    batchTimer.setInterval(batchMilliseconds);
    connect(&batchTimer, &QTimer::timeout, this, &JournalModel::ShowBatch);
}

void JournalModel::Add(JournalEntry entry)
{
    waiting.push_back(std::move(entry));
    if (waiting.size() > mostRows) {
        waiting.pop_front();
    }
    if (!batchTimer.isActive()) {
        batchTimer.start();
    }
}

void JournalModel::Clear()
{
    beginResetModel();
    rows.clear();
    waiting.clear();
    batchTimer.stop();
    endResetModel();
}

void JournalModel::ShowBatch()
{
    const int surplus = rowCount() + static_cast<int>(waiting.size()) - mostRows;
    if (surplus > 0) {
        beginRemoveRows(QModelIndex(), rowCount() - surplus, rowCount() - 1);
        rows.erase(rows.end() - surplus, rows.end());
        endRemoveRows();
    }
    beginInsertRows(QModelIndex(), 0, static_cast<int>(waiting.size()) - 1);
    for (JournalEntry &entry : waiting) {
        rows.push_front(std::move(entry));
    }
    waiting.clear();
    endInsertRows();
}

int JournalModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows.size());
}

int JournalModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant JournalModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    const JournalEntry &entry = Entry(index.row());
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        return Text(entry, index.column());
    }
    const bool isNumber = index.column() == Status || index.column() == Duration;
    if (role == Qt::TextAlignmentRole && isNumber) {
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    }
    if (role == Qt::ForegroundRole && entry.HasFailed()) {
        return FailureColour();
    }
    return QVariant();
}

QString JournalModel::Text(const JournalEntry &entry, int column)
{
    const RequestRecord &request = entry.request;
    switch (column) {
    case Time:
        return request.time.toLocalTime().toString(QStringLiteral("HH:mm:ss.zzz"));
    case Client:
        return QString::fromUtf8(request.client);
    case Method:
        return QString::fromUtf8(request.method);
    case Uri:
        return QString::fromUtf8(request.uri);
    case Status:
        return request.status == 0 ? tr("none") : QString::number(request.status);
    case Duration:
        return tr("%1 ms").arg(
            QLocale().toString(static_cast<double>(request.microseconds) / 1000, 'f', 1));
    case Faults:
        return entry.faults;
    default:
        return entry.Reason();
    }
}

QVariant JournalModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    switch (section) {
    case Time:
        return tr("Time");
    case Client:
        return tr("Client");
    case Method:
        return tr("Method");
    case Uri:
        return tr("URI");
    case Status:
        return tr("Status");
    case Duration:
        return tr("Duration");
    case Faults:
        return tr("Fault");
    default:
        return tr("Error and reason");
    }
}
