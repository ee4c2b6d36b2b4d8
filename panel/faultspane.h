#ifndef FAULTSPANE_H
#define FAULTSPANE_H

#include <QWidget>

class Panel;

/** The faults of the device, each with its switch and its value. */
class FaultsPane : public QWidget
{
    Q_OBJECT

public:
    /** The panel outlives this object. */
    explicit FaultsPane(Panel &panel, QWidget *parent = nullptr);
};

#endif
