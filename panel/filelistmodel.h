#ifndef FILELISTMODEL_H
#define FILELISTMODEL_H

#include <QAbstractTableModel>
#include <QDateTime>
#include <QVector>

/** A user file in the list. */
struct FileRow
{
    QString name; ///< below the folder of the user files
    qint64 size = 0;
    QDateTime modifiedTime;
    bool isConfirmed = false;
};

/** The user files of the device, and which of them a client has confirmed. */
class FileListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /** What the columns show. */
    enum Column
    {
        Name,
        Size,
        Modified,
        State,
        ColumnCount
    };

    using QAbstractTableModel::QAbstractTableModel;

    /** Shows these files; views keep their place when the names are the same as before. */
    void Show(const QVector<FileRow> &files);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    static QString Text(const FileRow &file, int column);

    QVector<FileRow> rows;
};

#endif
