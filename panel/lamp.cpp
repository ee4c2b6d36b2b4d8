#include "lamp.h"

#include <QPainter>

namespace {

QColor ColourOf(InstrumentText::Turn turn)
{
    switch (turn) {
    case InstrumentText::Turn::Smooth:
        return QColor(0x2e, 0xa0, 0x43);
    case InstrumentText::Turn::Late:
        return QColor(0xe0, 0x9b, 0x13);
    case InstrumentText::Turn::Held:
        break;
    }
    return QColor(0xd6, 0x45, 0x41);
}

} // namespace

Lamp::Lamp(QWidget *parent)
    : QWidget(parent)
{
    Show(0);
}

void Lamp::Show(int milliseconds)
{
    if (shown != milliseconds || accessibleName().isEmpty()) {
        shown = milliseconds;
        setAccessibleName(InstrumentText::LongestTurn(shown));
        update();
    }
}

QSize Lamp::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    return {metrics.horizontalAdvance(InstrumentText::LongestTurn(100000)) + 2 * metrics.height(),
            metrics.height()};
}

void Lamp::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    const int edge = fontMetrics().height();
    const QRect place(0, (height() - edge) / 2, edge, edge);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(palette().color(QPalette::Mid));
    painter.setBrush(ColourOf(InstrumentText::TurnOf(shown)));
    painter.drawEllipse(place.adjusted(2, 2, -2, -2));
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(rect().adjusted(edge + edge / 3, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft,
                     InstrumentText::LongestTurn(shown));
}
