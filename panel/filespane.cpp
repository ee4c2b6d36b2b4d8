#include "filespane.h"

#include <QApplication>
#include <QHeaderView>
#include <QStyleOptionProgressBar>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include "panel.h"

namespace {

/** Shows the progress of a transfer as a bar. */
class BarDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        const int percent = index.data(TransferListModel::percentRole).toInt();
        QStyleOptionProgressBar bar;
        bar.rect = option.rect.adjusted(1, 1, -1, -1);
        bar.palette = option.palette;
        bar.fontMetrics = option.fontMetrics;
        bar.direction = option.direction;
        bar.state = QStyle::State_Enabled | QStyle::State_Horizontal;
        bar.maximum = 100;
        bar.progress = qMax(percent, 0);
        bar.text = index.data().toString();
        bar.textVisible = true;
        bar.textAlignment = Qt::AlignCenter;
        QApplication::style()->drawControl(QStyle::CE_ProgressBar, &bar, painter);
    }
};

QTableView *MakeTable(const char *name, QAbstractItemModel *model, int stretched)
{
    auto *table = new QTableView;
    table->setObjectName(QLatin1String(name));
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->setTabKeyNavigation(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setSectionResizeMode(stretched, QHeaderView::Stretch);
    return table;
}

} // namespace

FilesPane::FilesPane(Panel &panel, QWidget *parent)
    : QWidget(parent)
{
    QTableView *files = MakeTable("files", &panel.files, FileListModel::Name);
    QTableView *transfers = MakeTable("transfers", &panel.transfers, TransferListModel::Progress);
    const int letter = files->fontMetrics().averageCharWidth();
    files->setColumnWidth(FileListModel::Modified, 20 * letter);
    transfers->setItemDelegateForColumn(TransferListModel::Progress, new BarDelegate(transfers));
    transfers->setColumnWidth(TransferListModel::Name, 34 * letter);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(files, 3);
    layout->addWidget(transfers, 1);
}
