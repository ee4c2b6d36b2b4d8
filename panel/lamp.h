#ifndef LAMP_H
#define LAMP_H

#include <QWidget>

#include "instrumenttext.h"

/** A lamp with a text beside it, which says the same as its colour. */
class Lamp : public QWidget
{
    Q_OBJECT

public:
    explicit Lamp(QWidget *parent = nullptr);

    /** Shows a turn of the event loop of so many milliseconds. */
    void Show(int milliseconds);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int shown = 0;
};

#endif
