#ifndef WORKORDERLISTMODEL_H
#define WORKORDERLISTMODEL_H

#include <QAbstractTableModel>
#include <QDateTime>
#include <QVector>

/** A work order in the list. */
struct WorkOrderRow
{
    QString id;
    QDateTime modifiedTime;
    bool isActive = false;
};

/** The stored work orders of the device, the active one marked. */
class WorkOrderListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /** What the columns show. */
    enum Column
    {
        Id,
        Modified,
        ColumnCount
    };

    /** Asked of an index: whether the work order is the active one. */
    static constexpr int isActiveRole = Qt::UserRole;

    using QAbstractTableModel::QAbstractTableModel;

    /** Shows these work orders; views keep their place when the ids are the same as before. */
    void Show(const QVector<WorkOrderRow> &workOrders);

    /** The row of the active work order; -1 for none. */
    int ActiveRow() const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QVector<WorkOrderRow> rows;
};

#endif
