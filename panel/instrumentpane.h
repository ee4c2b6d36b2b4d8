#ifndef INSTRUMENTPANE_H
#define INSTRUMENTPANE_H

#include <QWidget>

class Lamp;
class Panel;
class QFormLayout;
class QLabel;
class QProgressBar;
class QTableView;

/** The instrument itself: what it is, what it does, and its work orders. */
class InstrumentPane : public QWidget
{
    Q_OBJECT

public:
    /** The panel outlives this object. */
    explicit InstrumentPane(Panel &shownPanel, QWidget *parent = nullptr);

private:
    QLabel *AddRow(QFormLayout *form, const QString &name, const char *objectName);
    QTableView *MakeWorkOrders();
    void Show();

    Panel &panel;
    QLabel *model;
    QLabel *serialNumber;
    QLabel *address;
    QLabel *mode;
    QLabel *technician;
    QLabel *activeWorkOrder;
    QLabel *jobPanel;
    QLabel *jobView;
    QLabel *command;
    QProgressBar *storage;
    Lamp *lamp;
};

#endif
