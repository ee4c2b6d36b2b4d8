#include "transferlistmodel.h"

#include <QLocale>
#include <algorithm>

void TransferListModel::Moved(const TransferProgress &progress, qint64 nowMilliseconds)
{
    auto *found = std::find_if(rows.begin(), rows.end(), [&progress](const Transfer &each) {
        return each.progress.id == progress.id;
    });
    if (found == rows.end()) {
        beginInsertRows(QModelIndex(), rows.size(), rows.size());
        rows.append({progress, nowMilliseconds});
        endInsertRows();
        return;
    }
    const qint64 elapsed = nowMilliseconds - found->time;
    if (elapsed > 0) {
        found->bytesPerSecond = (progress.moved - found->progress.moved) * 1000 / elapsed;
        found->time = nowMilliseconds;
    }
    found->progress = progress;
    const int row = static_cast<int>(found - rows.begin());
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

// A connection carries one request at a time, so its client tells which it was.
void TransferListModel::Ended(const RequestRecord &request)
{
    for (int row = rows.size() - 1; row >= 0; --row) {
        if (rows.at(row).progress.client == request.client) {
            beginRemoveRows(QModelIndex(), row, row);
            rows.remove(row);
            endRemoveRows();
        }
    }
}

int TransferListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rows.size();
}

int TransferListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant TransferListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    const Transfer &transfer = rows.at(index.row());
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        return Text(transfer, index.column());
    }
    return role == percentRole ? Percent(transfer.progress) : QVariant();
}

QString TransferListModel::Text(const Transfer &transfer, int column)
{
    const QLocale locale;
    const TransferProgress &progress = transfer.progress;
    switch (column) {
    case Name:
        return (progress.upload ? tr("Upload from %1") : tr("Download to %1"))
            .arg(QString::fromUtf8(progress.client));
    case Progress:
        return progress.total < 0 ? locale.formattedDataSize(progress.moved)
                                  : tr("%1 of %2")
                                        .arg(locale.formattedDataSize(progress.moved),
                                             locale.formattedDataSize(progress.total));
    default:
        return transfer.bytesPerSecond < 0
                   ? QString()
                   : tr("%1/s").arg(locale.formattedDataSize(transfer.bytesPerSecond));
    }
}

int TransferListModel::Percent(const TransferProgress &progress)
{
    if (progress.total < 0) {
        return -1;
    }
    constexpr int whole = 100;
    return progress.total == 0
               ? whole
               : static_cast<int>(std::min<qint64>(progress.moved * whole / progress.total, whole));
}

QVariant TransferListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    switch (section) {
    case Name:
        return tr("Transfer");
    case Progress:
        return tr("Progress");
    default:
        return tr("Rate");
    }
}
