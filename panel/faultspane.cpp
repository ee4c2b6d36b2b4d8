#include "faultspane.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

#include "panel.h"

FaultsPane::FaultsPane(Panel &panel, QWidget *parent)
    : QWidget(parent)
{
    auto *table = new QTableView;
    table->setObjectName(QStringLiteral("faults"));
    table->setModel(&panel.faults);
    table->setShowGrid(false);
    table->setTabKeyNavigation(false);
    table->setEditTriggers(QAbstractItemView::AllEditTriggers);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    const int letter = table->fontMetrics().averageCharWidth();
    table->setColumnWidth(FaultListModel::Switch, 22 * letter);
    table->setColumnWidth(FaultListModel::Value, 18 * letter);
    table->horizontalHeader()->setStretchLastSection(true);
    auto *reason = new QLabel;
    reason->setObjectName(QStringLiteral("faultRefused"));
    reason->setWordWrap(true);
    connect(&panel.faults, &FaultListModel::Refused, reason, &QLabel::setText);
    connect(&panel.faults, &FaultListModel::dataChanged, reason, &QLabel::clear);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(table, 1);
    layout->addWidget(reason);
}
