#include "printabletext.h"

#include <algorithm>

bool IsUnprintable(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString OnOneLine(QString text)
{
    std::replace_if(text.begin(), text.end(), IsUnprintable, QLatin1Char(' '));
    return text;
}

QString Escaped(const QString &text)
{
    constexpr int digits = 4;
    constexpr int hexadecimal = 16;
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar character : text) {
        if (IsUnprintable(character)) {
            escaped += QStringLiteral("\\u%1").arg(static_cast<uint>(character.unicode()), digits,
                                                   hexadecimal, QLatin1Char('0'));
        } else {
            escaped += character;
        }
    }
    return escaped;
}
