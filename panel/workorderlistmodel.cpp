#include "workorderlistmodel.h"

#include <QFont>
#include <QLocale>
#include <algorithm>

namespace {

bool HaveSameIds(const QVector<WorkOrderRow> &left, const QVector<WorkOrderRow> &right)
{
    return std::equal(
        left.cbegin(), left.cend(), right.cbegin(), right.cend(),
        [](const WorkOrderRow &one, const WorkOrderRow &other) { return one.id == other.id; });
}

} // namespace

void WorkOrderListModel::Show(const QVector<WorkOrderRow> &workOrders)
{
    if (!HaveSameIds(rows, workOrders)) {
        beginResetModel();
        rows = workOrders;
        endResetModel();
        return;
    }
    for (int row = 0; row < rows.size(); ++row) {
        WorkOrderRow &shown = rows[row];
        const WorkOrderRow &known = workOrders.at(row);
        if (shown.isActive != known.isActive || shown.modifiedTime != known.modifiedTime) {
            shown = known;
            emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
        }
    }
}

int WorkOrderListModel::ActiveRow() const
{
    const auto *found = std::find_if(rows.cbegin(), rows.cend(),
                                     [](const WorkOrderRow &each) { return each.isActive; });
    return found != rows.cend() ? static_cast<int>(found - rows.cbegin()) : -1;
}

int WorkOrderListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rows.size();
}

int WorkOrderListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant WorkOrderListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    const WorkOrderRow &row = rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == Modified) {
            return QLocale().toString(row.modifiedTime.toLocalTime(), QLocale::ShortFormat);
        }
        return row.isActive ? QStringLiteral("\u25b6 ") + row.id : row.id;
    case Qt::FontRole: {
        QFont font;
        font.setBold(row.isActive);
        return font;
    }
    case Qt::AccessibleTextRole:
        return row.isActive ? tr("%1, active").arg(row.id) : row.id;
    case isActiveRole:
        return row.isActive;
    default:
        return QVariant();
    }
}

QVariant WorkOrderListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    return section == Id ? tr("Work order") : tr("Stored");
}
