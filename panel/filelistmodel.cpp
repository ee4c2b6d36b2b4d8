#include "filelistmodel.h"

#include <QLocale>
#include <algorithm>

namespace {

bool HaveSameNames(const QVector<FileRow> &left, const QVector<FileRow> &right)
{
    return std::equal(
        left.cbegin(), left.cend(), right.cbegin(), right.cend(),
        [](const FileRow &one, const FileRow &other) { return one.name == other.name; });
}

bool AreEqual(const FileRow &left, const FileRow &right)
{
    return left.size == right.size && left.modifiedTime == right.modifiedTime &&
           left.isConfirmed == right.isConfirmed;
}

} // namespace

void FileListModel::Show(const QVector<FileRow> &files)
{
    if (!HaveSameNames(rows, files)) {
        beginResetModel();
        rows = files;
        endResetModel();
        return;
    }
    for (int row = 0; row < rows.size(); ++row) {
        if (!AreEqual(rows.at(row), files.at(row))) {
            rows[row] = files.at(row);
            emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
        }
    }
}

int FileListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rows.size();
}

int FileListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant FileListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return QVariant();
    }
    if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
        return Text(rows.at(index.row()), index.column());
    }
    if (role == Qt::TextAlignmentRole && index.column() == Size) {
        return static_cast<int>(Qt::AlignRight | Qt::AlignVCenter);
    }
    return QVariant();
}

QString FileListModel::Text(const FileRow &file, int column)
{
    switch (column) {
    case Name:
        return file.name;
    case Size:
        return QLocale().formattedDataSize(file.size);
    case Modified:
        return QLocale().toString(file.modifiedTime.toLocalTime(), QLocale::ShortFormat);
    default:
        return file.isConfirmed ? tr("confirmed") : tr("pending");
    }
}

QVariant FileListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) {
        return QVariant();
    }
    switch (section) {
    case Name:
        return tr("File");
    case Size:
        return tr("Size");
    case Modified:
        return tr("Changed");
    default:
        return tr("State");
    }
}
