#ifndef FAULTLISTMODEL_H
#define FAULTLISTMODEL_H

#include <QAbstractTableModel>
#include <QStringList>
#include <QVector>

#include "faultplan.h"

/**
 * The faults of the device: each has a switch, and where it takes one a value as on the command
 * line. Both work at once.
 */
class FaultListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /** What the columns show. */
    enum Column
    {
        Switch, ///< the name, which can be checked
        Value,  ///< which can be edited
        Place,
        ColumnCount
    };

    /** The plan outlives this object. */
    explicit FaultListModel(FaultPlan &faultPlan, QObject *parent = nullptr);

    /** Shows which faults are in force now: one may be used up, or come from a file. */
    void Refresh();

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

signals:
    /** A value cannot be used; the text says why. */
    void Refused(const QString &reason);

private:
    struct Row
    {
        FaultDescription description;
        QString value;
        bool isOn = false;
    };

    bool SetOn(int row, bool on);
    bool SetValue(int row, const QString &value);
    std::optional<Fault> Read(int row, const QString &value);
    QVariant Text(const Row &row, int column) const;

    FaultPlan &plan;
    QVector<Row> rows;
};

#endif
