#include "clienttext.h"

#include <QByteArray>
#include <algorithm>

QString TextFromClient(const QString &text)
{
    const bool bytes = std::all_of(text.cbegin(), text.cend(),
                                   [](QChar character) { return character.unicode() <= 0xFF; });
    if (!bytes) {
        return text;
    }
    const QByteArray sent = text.toLatin1();
    const QString read = QString::fromUtf8(sent);
    // Whatever is not valid is read as a replacement character and does not come back the same.
    return read.toUtf8() == sent ? read : text;
}
