#include "requesttext.h"

#include <QJsonDocument>
#include <QLocale>
#include <QUrl>

namespace {

QString Quoted(const QString &text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString Readable(const QByteArray &answer)
{
    const QJsonDocument document = QJsonDocument::fromJson(answer);
    return QString::fromUtf8(document.isNull() ? answer : document.toJson());
}

} // namespace

QString RequestText::CurlCommand(const RequestRecord &request, const QString &address)
{
    const QByteArray path =
        QUrl::toPercentEncoding(QString::fromUtf8(request.uri), QByteArrayLiteral("/"));
    QString command = QStringLiteral("curl");
    if (request.method == "HEAD") {
        command += QLatin1String(" --head");
    } else if (request.method != "GET") {
        command += QLatin1String(" -X ") + Quoted(QString::fromUtf8(request.method));
    }
    if (request.received > 0) {
        command += QLatin1String(" --data-binary @BODY");
    }
    return command + QLatin1Char(' ') + Quoted(address + QString::fromLatin1(path));
}

QString RequestText::Describe(const JournalEntry &entry)
{
    const RequestRecord &request = entry.request;
    const QLocale locale;
    QStringList lines = {
        QString::fromUtf8(request.method + ' ' + request.uri),
        tr("Status: %1, after %2 ms")
            .arg(request.status == 0 ? tr("none") : QString::number(request.status),
                 locale.toString(static_cast<double>(request.microseconds) / 1000, 'f', 3))};
    if (!request.error.isEmpty()) {
        lines << tr("Error: %1").arg(request.error);
    }
    for (const QString &report : request.reports) {
        lines << tr("Reason: %1").arg(report);
    }
    if (!entry.faults.isEmpty()) {
        lines << tr("Fault: %1").arg(entry.faults);
    }
    lines << tr("%1 from %2, %3 bytes received, %4 sent")
                 .arg(locale.toString(request.time.toLocalTime(), QLocale::LongFormat),
                      QString::fromUtf8(request.client), locale.toString(request.received),
                      locale.toString(request.sent));
    if (!request.answer.isEmpty()) {
        lines << QString() << Readable(request.answer);
    }
    return lines.join(QLatin1Char('\n'));
}
