#include "instrumentpane.h"

#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QTableView>

#include "instrumenttext.h"
#include "lamp.h"
#include "panel.h"

InstrumentPane::InstrumentPane(Panel &shownPanel, QWidget *parent)
    : QWidget(parent)
    , panel(shownPanel)
{
    auto *layout = new QVBoxLayout(this);
    auto *form = new QFormLayout;
    form->setVerticalSpacing(3);
    model = new QLabel;
    model->setObjectName(QStringLiteral("model"));
    model->setWordWrap(true);
    QFont large = model->font();
    large.setBold(true);
    large.setPointSizeF(large.pointSizeF() * 1.2);
    model->setFont(large);
    layout->addWidget(model);
    layout->addLayout(form);
    serialNumber = AddRow(form, tr("Serial number"), "serialNumber");
    address = AddRow(form, tr("Address"), "address");
    mode = AddRow(form, tr("Mode"), "mode");
    technician = AddRow(form, tr("Technician"), "technician");
    activeWorkOrder = AddRow(form, tr("Active"), "activeWorkOrder");
    jobPanel = AddRow(form, tr("Job panel"), "jobPanel");
    jobView = AddRow(form, tr("Job view"), "jobView");
    command = AddRow(form, tr("Command"), "command");
    storage = new QProgressBar;
    storage->setObjectName(QStringLiteral("storage"));
    form->addRow(tr("Storage"), storage);
    lamp = new Lamp;
    lamp->setToolTip(tr("The longest turn of the event loop in the last 10 seconds"));
    form->addRow(tr("Longest turn"), lamp);
    layout->addWidget(MakeWorkOrders(), 1);
    connect(&panel, &Panel::Changed, this, &InstrumentPane::Show);
    Show();
}

QLabel *InstrumentPane::AddRow(QFormLayout *form, const QString &name, const char *objectName)
{
    auto *label = new QLabel;
    label->setObjectName(QLatin1String(objectName));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(name, label);
    return label;
}

QTableView *InstrumentPane::MakeWorkOrders()
{
    auto *view = new QTableView;
    view->setObjectName(QStringLiteral("workOrders"));
    view->setModel(&panel.workOrders);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setShowGrid(false);
    view->setTabKeyNavigation(false);
    view->verticalHeader()->hide();
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 4);
    view->horizontalHeader()->setSectionResizeMode(WorkOrderListModel::Id, QHeaderView::Stretch);
    view->horizontalHeader()->setSectionResizeMode(WorkOrderListModel::Modified,
                                                   QHeaderView::ResizeToContents);
    return view;
}

void InstrumentPane::Show()
{
    const InstrumentState &state = panel.State();
    const DisplayEvents &display = panel.Display();
    model->setText(state.model);
    serialNumber->setText(state.serialNumber);
    address->setText(state.address);
    mode->setText(InstrumentText::Mode(state));
    technician->setText(InstrumentText::Technician(state));
    activeWorkOrder->setText(InstrumentText::ActiveWorkOrder(state));
    jobPanel->setText(InstrumentText::JobPanel(display));
    jobView->setText(InstrumentText::JobView(display));
    command->setText(InstrumentText::Command(display));
    storage->setEnabled(state.isStorageThere);
    storage->setValue(InstrumentText::FreePercent(state));
    storage->setFormat(InstrumentText::Storage(state));
    storage->setToolTip(InstrumentText::StorageSize(state));
    lamp->Show(panel.loop.LongestTurn());
}
