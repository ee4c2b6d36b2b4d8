#ifndef TRANSFERLISTMODEL_H
#define TRANSFERLISTMODEL_H

#include <QAbstractTableModel>
#include <QVector>

#include "requestobserver.h"

/** The uploads and downloads that are under way, with how far and how fast they move. */
class TransferListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /** What the columns show. */
    enum Column
    {
        Name,
        Progress, ///< in percent as `percentRole`
        Rate,
        ColumnCount
    };

    /** Asked of an index: how much has moved, 0 to 100; -1 where the whole is not known. */
    static constexpr int percentRole = Qt::UserRole;

    using QAbstractTableModel::QAbstractTableModel;

    /** Notes how far a transfer has come, at a time on some clock that only goes forward. */
    void Moved(const TransferProgress &progress, qint64 nowMilliseconds);

    /** Takes away the transfer of a request that has ended. */
    void Ended(const RequestRecord &request);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    struct Transfer
    {
        TransferProgress progress;
        qint64 time = 0;            // of the last note
        qint64 bytesPerSecond = -1; // between the last two; -1 before there are two
    };

    static QString Text(const Transfer &transfer, int column);
    static int Percent(const TransferProgress &progress);

    QVector<Transfer> rows;
};

#endif
