#include "faultlistmodel.h"

namespace {

constexpr qint64 noticeableDelay = 1000;
constexpr qint64 slowLine = 100000;

// Something to begin with that is seen, otherwise the least there is.
QString FirstValue(const FaultDescription &fault)
{
    if (fault.unit.isEmpty()) {
        return QString();
    }
    if (fault.unit == QLatin1String("MS")) {
        return QString::number(noticeableDelay);
    }
    return QString::number(fault.unit == QLatin1String("BYTES_PER_SECOND") ? slowLine
                                                                           : fault.least);
}

QString UnitOf(const FaultDescription &fault)
{
    return fault.unit.toLower().replace(QLatin1Char('_'), QLatin1Char(' '));
}

} // namespace

FaultListModel::FaultListModel(FaultPlan &faultPlan, QObject *parent)
    : QAbstractTableModel(parent)
    , plan(faultPlan)
{
    for (const FaultDescription &fault : Fault::All()) {
        const std::optional<qint64> value = plan.Value(fault.kind);
        const bool isValued =
            !fault.unit.isEmpty() && value.value_or(fault.least - 1) >= fault.least;
        rows.append(
            {fault, isValued ? QString::number(*value) : FirstValue(fault), value.has_value()});
    }
}

void FaultListModel::Refresh()
{
    for (int row = 0; row < rows.size(); ++row) {
        const bool isOn = plan.Value(rows.at(row).description.kind).has_value();
        if (rows.at(row).isOn != isOn) {
            rows[row].isOn = isOn;
            emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
        }
    }
}

int FaultListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rows.size();
}

int FaultListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant FaultListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    const Row &row = rows.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return Text(row, index.column());
    case Qt::ToolTipRole:
        return row.description.place;
    case Qt::EditRole:
        return index.column() == Value ? row.value : QVariant();
    case Qt::CheckStateRole:
        return index.column() == Switch ? QVariant(row.isOn ? Qt::Checked : Qt::Unchecked)
                                        : QVariant();
    default:
        return QVariant();
    }
}

QVariant FaultListModel::Text(const Row &row, int column) const
{
    switch (column) {
    case Switch:
        return row.description.name;
    case Value:
        return row.description.unit.isEmpty()
                   ? QString()
                   : row.value + QLatin1Char(' ') + UnitOf(row.description);
    default:
        return row.description.place;
    }
}

bool FaultListModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid()) {
        return false;
    }
    if (role == Qt::CheckStateRole && index.column() == Switch) {
        return SetOn(index.row(), value.toInt() == Qt::Checked);
    }
    return role == Qt::EditRole && index.column() == Value &&
           SetValue(index.row(), value.toString().trimmed());
}

bool FaultListModel::SetOn(int row, bool on)
{
    if (on) {
        const std::optional<Fault> fault = Read(row, rows.at(row).value);
        if (!fault) {
            return false;
        }
        plan.Set(*fault);
    } else {
        plan.Clear(rows.at(row).description.kind);
    }
    Refresh();
    return true;
}

bool FaultListModel::SetValue(int row, const QString &value)
{
    const std::optional<Fault> fault = Read(row, value);
    if (!fault) {
        return false;
    }
    if (rows.at(row).isOn) {
        plan.Set(*fault);
    }
    rows[row].value = value;
    emit dataChanged(index(row, Value), index(row, Value));
    return true;
}

std::optional<Fault> FaultListModel::Read(int row, const QString &value)
{
    const FaultDescription &description = rows.at(row).description;
    const QString equals = description.unit.isEmpty() ? QString() : QStringLiteral("=");
    QString reason;
    std::optional<Fault> fault = Fault::Parse(description.name + equals + value, &reason);
    if (!fault) {
        emit Refused(reason);
    }
    return fault;
}

Qt::ItemFlags FaultListModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (!index.isValid()) {
        return flags;
    }
    if (index.column() == Switch) {
        flags |= Qt::ItemIsUserCheckable;
    }
    if (index.column() == Value && !rows.at(index.row()).description.unit.isEmpty()) {
        flags |= Qt::ItemIsEditable;
    }
    return flags;
}

QVariant FaultListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    switch (section) {
    case Switch:
        return tr("Fault");
    case Value:
        return tr("Value");
    default:
        return tr("Where it strikes");
    }
}
