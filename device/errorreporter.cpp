#include "errorreporter.h"

#include <QDateTime>
#include <algorithm>

namespace {

QString OnOneLine(QString text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](QChar character) { return character.category() == QChar::Other_Control; },
        QLatin1Char(' '));
    return text;
}

} // namespace

ErrorReporter::ErrorReporter(std::FILE *output)
    : stream(output)
{}

void ErrorReporter::ReportError(QString message, const char *sourceFile, int line)
{
    const QByteArray text =
        QStringLiteral("%1 error: %2 (%3:%4)\n")
            .arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs), OnOneLine(message),
                 QLatin1String(sourceFile), QString::number(line))
            .toUtf8();
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
    std::fflush(stream);
}
