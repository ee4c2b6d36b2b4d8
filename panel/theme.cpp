#include "theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>

namespace {

QPalette DarkPalette()
{
    const QColor ground(0x2b, 0x2d, 0x30);
    const QColor raised(0x3c, 0x3f, 0x44); // lighter than the frames of its boxes
    const QColor text(0xe6, 0xe6, 0xe6);
    const QColor faint(0x86, 0x88, 0x8c);
    QPalette palette(ground);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, text);
    }
    palette.setColor(QPalette::Base, raised);
    palette.setColor(QPalette::AlternateBase, ground);
    palette.setColor(QPalette::Button, ground.lighter(120));
    palette.setColor(QPalette::ToolTipBase, ground);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::Highlight, QColor(0x2f, 0x65, 0xca));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x6a, 0xa8, 0xff));
    for (const QPalette::ColorRole role :
         {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, faint);
    }
    return palette;
}

} // namespace

void Theme::Use(bool dark)
{
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(dark ? DarkPalette() : QApplication::style()->standardPalette());
}
