#include "outputline.h"

#include <QDateTime>

#include "printabletext.h"

namespace {

// What a client sent may be in it: a name of a megabyte is not to fill the log.
QString Shortened(const QString &text)
{
    constexpr int longest = 1000;
    return text.size() <= longest
               ? text
               : QStringLiteral("%1... (%2 more characters)")
                     .arg(text.left(longest), QString::number(text.size() - longest));
}

} // namespace

void PrintLine(std::FILE *output, const QString &text)
{
    const QByteArray line = OnOneLine(text).toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), output);
    std::fflush(output);
}

void PrintLogLine(std::FILE *output, const char *kind, const QString &text)
{
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    PrintLine(output, time + QLatin1Char(' ') + QLatin1String(kind) + QLatin1String(": ") +
                          Shortened(text));
}
