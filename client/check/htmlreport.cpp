#include <QFile>
#include <algorithm>

#include "checkreport.h"
#include "printabletext.h"

namespace {

// What a device sent must not change how the rest of the page is read.
QString InHtml(QString text)
{
    QStringList lines = text.replace("\r\n", "\n").split('\n');
    for (QString &line : lines) {
        line = Escaped(line);
    }
    return lines.join('\n').toHtmlEscaped();
}

QString Style()
{
    QFile file(QStringLiteral(":/check/report.css"));
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

QString ClassOf(Verdict verdict)
{
    return CheckReport::Name(verdict).toLower().remove(' ');
}

QString Badge(Verdict verdict)
{
    return QString("<span class=\"badge %1\">%2</span>")
        .arg(ClassOf(verdict), CheckReport::Name(verdict));
}

QString Row(const QString &name, const QString &value)
{
    return QString("<tr><th>%1</th><td>%2</td></tr>\n").arg(InHtml(name), InHtml(value));
}

QString AssetText(const CheckResult &result, const QString &member)
{
    const QString text = result.asset.value(member).toVariant().toString();
    return text.isEmpty() ? QStringLiteral("not told by the device") : text;
}

QString Extent(const CheckResult &result)
{
    QString extent = result.wrote ? "reading and writing" : "reading only";
    if (result.loaded) {
        extent += ", with load";
    }
    return result.interrupted ? extent + "; interrupted" : extent;
}

QString Particulars(const CheckResult &result)
{
    QString rows = Row("Device", result.device);
    rows += Row("Model", AssetText(result, "model"));
    rows += Row("Serial number", AssetText(result, "serialNumber"));
    rows += Row("Firmware", AssetText(result, "firmwareVersion"));
    rows += Row("Date", result.started.toString("yyyy-MM-dd hh:mm:ss t"));
    rows += Row("Extent", Extent(result));
    rows += Row("Checked with", "parlowenctl " PARLOWENCTL_VERSION);
    return "<table class=\"particulars\">" + rows + "</table>\n";
}

QString Count(const CheckResult &result, Verdict verdict, const QString &words)
{
    return QString("<div class=\"count %1\"><b>%2</b>%3</div>")
        .arg(ClassOf(verdict))
        .arg(result.Count(verdict))
        .arg(words);
}

// What was not asked for, or what a device need not have, is not missed.
int Missed(const CheckResult &result)
{
    const auto isMissed = [](const AssertionResult &one) {
        return one.verdict == Verdict::NotTested && !one.text.contains(": needs --") &&
               !one.text.endsWith("need not");
    };
    return static_cast<int>(std::count_if(result.results.begin(), result.results.end(), isMissed));
}

QString Outcome(const CheckResult &result)
{
    if (result.interrupted) {
        return "<p class=\"outcome warn\">The check was interrupted</p>";
    }
    if (result.Count(Verdict::Fail) > 0) {
        return "<p class=\"outcome fail\">The device does not keep the interface</p>";
    }
    if (result.wrote && Missed(result) > 0) {
        return QString("<p class=\"outcome warn\">Nothing failed, %1 could not be tested</p>")
            .arg(Missed(result));
    }
    return "<p class=\"outcome pass\">The device keeps the interface</p>";
}

QString Counts(const CheckResult &result)
{
    return "<div class=\"counts\">" + Count(result, Verdict::Fail, "failed") +
           Count(result, Verdict::Warn, "warnings") +
           Count(result, Verdict::NotTested, "not tested") +
           Count(result, Verdict::Pass, "passed") + "</div>\n";
}

QString Exchange(const LoggedExchange &exchange)
{
    return QString("<div class=\"exchange\"><pre>%1</pre><pre>%2</pre></div>\n")
        .arg(InHtml(exchange.sent), InHtml(exchange.came));
}

QString Result(const AssertionResult &one)
{
    QString text = QString("<article class=\"%1\">\n<h3>%2 %3</h3>\n<p class=\"why\">%4</p>\n"
                           "<p class=\"where\"><code>%5</code> · %6</p>\n")
                       .arg(ClassOf(one.verdict), Badge(one.verdict), InHtml(one.sentence),
                            InHtml(one.text), InHtml(one.id), InHtml(one.reference));
    if (!one.exchanges.isEmpty()) {
        text += "<p class=\"columns\"><span>Sent</span><span>Came</span></p>\n";
    }
    for (const LoggedExchange &exchange : one.exchanges) {
        text += Exchange(exchange);
    }
    return text + "</article>\n";
}

QString Findings(const CheckResult &result, Verdict verdict, const QString &title)
{
    QString text;
    for (const AssertionResult &one : result.results) {
        text += one.verdict == verdict ? Result(one) : QString();
    }
    return text.isEmpty() ? QString() : QString("<h2>%1</h2>\n%2").arg(title, text);
}

QString LeftBehind(const CheckResult &result)
{
    QString items;
    for (const QString &what : result.leftBehind) {
        items += "<li>" + InHtml(what) + "</li>\n";
    }
    return items.isEmpty() ? QString() : "<h2>Left on the device</h2>\n<ul>\n" + items + "</ul>\n";
}

QString TableRow(const AssertionResult &one)
{
    QString evidence;
    for (const LoggedExchange &exchange : one.exchanges) {
        evidence += Exchange(exchange);
    }
    const QString sentence = evidence.isEmpty()
                                 ? InHtml(one.sentence)
                                 : QString("<details><summary>%1</summary>%2</details>")
                                       .arg(InHtml(one.sentence), evidence);
    const QString remark =
        one.text.isEmpty() ? QString() : "<div class=\"remark\">" + InHtml(one.text) + "</div>";
    return QString("<tr><td>%1</td><td>%2%3</td><td><code>%4</code></td></tr>\n")
        .arg(Badge(one.verdict), sentence, remark, InHtml(one.id));
}

QString GroupTable(const CheckResult &result, const AssertionGroup &group)
{
    QString rows;
    for (const AssertionResult &one : result.results) {
        rows += one.group == group.name ? TableRow(one) : QString();
    }
    return rows.isEmpty() ? QString()
                          : QString("<h3>%1 <small>%2</small></h3>\n<table class=\"assertions\">%3"
                                    "</table>\n")
                                .arg(InHtml(group.name), InHtml(group.purpose), rows);
}

constexpr char signatures[] =
    "<section class=\"signatures\"><div>Checked by</div><div>Place, date</div>"
    "<div>Signature</div></section>\n";

} // namespace

QByteArray CheckReport::Html(const CheckResult &result)
{
    QString page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">\n"
                   "<title>Interface check of " +
                   InHtml(AssetText(result, "serialNumber")) + "</title>\n<style>\n" + Style() +
                   "</style></head>\n<body>\n<header><h1>Interface check</h1>" + Outcome(result) +
                   "</header>\n" + Counts(result) + Particulars(result);
    page += Findings(result, Verdict::Fail, "Failures");
    page += Findings(result, Verdict::Warn, "Warnings");
    page += LeftBehind(result);
    page += "<h2>All assertions</h2>\n";
    for (const AssertionGroup &group : result.groups) {
        page += GroupTable(result, group);
    }
    return (page + signatures + "</body>\n</html>\n").toUtf8();
}
