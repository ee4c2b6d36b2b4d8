#include "requestlog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <utility>

namespace {

constexpr char lateAnswer[] = "internal timeout";

QString Time(const RequestRecord &record)
{
    return record.time.toString(Qt::ISODateWithMs);
}

double Milliseconds(const RequestRecord &record)
{
    return static_cast<double>(record.microseconds) / 1000;
}

// What is no whole pair cannot be written as UTF-8.
bool IsHalfOfPair(const QString &text, int index)
{
    const QChar character = text.at(index);
    return (character.isHighSurrogate() &&
            (index + 1 == text.size() || !text.at(index + 1).isLowSurrogate())) ||
           (character.isLowSurrogate() && (index == 0 || !text.at(index - 1).isHighSurrogate()));
}

// Reports may hold what a client sent, such as the name of a file, which may have a million
// letters.
QString Printable(const QString &whole)
{
    constexpr int longest = 1000;
    const QString text = whole.left(longest);
    QString printable;
    for (int index = 0; index < text.size(); ++index) {
        const QChar character = text.at(index);
        const ushort code = character.unicode();
        const bool isEscaped =
            IsHalfOfPair(text, index) || code < 0x20 || (code >= 0x7f && code < 0xa0) ||
            (code >= 0x200e && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
            (code >= 0x2066 && code <= 0x2069);
        printable += isEscaped ? QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'))
                               : QString(character);
    }
    if (whole.size() > longest) {
        printable += QStringLiteral("... (%1 more characters)").arg(whole.size() - longest);
    }
    return printable;
}

// Names in URIs are bytes, mostly of UTF-8.
QString Name(const QByteArray &bytes)
{
    return Printable(QString::fromUtf8(bytes));
}

// A blank in it would look like the end of the field.
QString Field(QByteArray bytes)
{
    return Name(bytes.replace(' ', "\\u0020"));
}

QByteArray TextLine(const RequestRecord &record)
{
    QString line =
        QStringList{Time(record),
                    Name(record.client),
                    Field(record.method),
                    Field(record.uri),
                    QString::number(record.status),
                    QString::number(record.received),
                    QString::number(record.sent),
                    QString::number(Milliseconds(record), 'f', 1) + QStringLiteral(" ms")}
            .join(QLatin1Char(' '));
    if (!record.error.isEmpty()) {
        line += QStringLiteral(" \"%1\"").arg(Printable(record.error));
    }
    if (!record.reports.isEmpty()) {
        line += QStringLiteral(" (%1)").arg(Printable(record.reports.join(QStringLiteral("; "))));
    }
    return line.toUtf8();
}

QByteArray JsonLine(const RequestRecord &record)
{
    QJsonObject line{{"time", Time(record)},          {"client", Name(record.client)},
                     {"method", Name(record.method)}, {"uri", Name(record.uri)},
                     {"status", record.status},       {"received", record.received},
                     {"sent", record.sent},           {"milliseconds", Milliseconds(record)}};
    if (!record.error.isEmpty()) {
        line.insert("error", Printable(record.error));
    }
    if (!record.reports.isEmpty()) {
        line.insert("reason", Printable(record.reports.join(QStringLiteral("; "))));
    }
    return QJsonDocument(line).toJson(QJsonDocument::Compact);
}

} // namespace

RequestLog::RequestLog(Format lineFormat, Writer lineWriter)
    : format(lineFormat)
    , writer(std::move(lineWriter))
{}

void RequestLog::RequestServed(const RequestRecord &record)
{
    Count(record);
    writer(Line(record, format));
}

QByteArray RequestLog::Line(const RequestRecord &record, Format format)
{
    return format == Format::Json ? JsonLine(record) : TextLine(record);
}

void RequestLog::Count(const RequestRecord &record)
{
    ++counters.requests;
    if (record.status >= 500) {
        ++counters.errors;
        counters.lateAnswers += record.error.contains(QLatin1String(lateAnswer)) ? 1 : 0;
    } else if (!record.error.isEmpty()) {
        ++counters.refusals;
    }
}
