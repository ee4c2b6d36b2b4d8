#include "checkreport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QXmlStreamWriter>
#include <algorithm>

namespace {

constexpr double msPerSecond = 1000.0;

int Rank(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Fail:
        return 0;
    case Verdict::Warn:
        return 1;
    case Verdict::NotTested:
        return 2;
    default:
        return 3;
    }
}

QJsonArray JsonOf(const QVector<LoggedExchange> &exchanges)
{
    QJsonArray array;
    for (const LoggedExchange &exchange : exchanges) {
        array.append(QJsonObject{{"sent", exchange.sent}, {"came", exchange.came}});
    }
    return array;
}

QJsonObject JsonOf(const AssertionResult &one)
{
    return {{"group", one.group},
            {"id", one.id},
            {"sentence", one.sentence},
            {"reference", one.reference},
            {"text", one.text},
            {"verdict", CheckReport::Name(one.verdict)},
            {"milliseconds", one.milliseconds},
            {"exchanges", JsonOf(one.exchanges)}};
}

// Characters that XML cannot hold.
QString ForXml(QString text)
{
    for (QChar &character : text) {
        if (character.unicode() < 0x20 && character != '\n' && character != '\t') {
            character = '.';
        }
    }
    return text;
}

QString Evidence(const AssertionResult &one)
{
    QString text = one.text + "\n" + one.reference;
    for (const LoggedExchange &exchange : one.exchanges) {
        text += "\n\nsent: " + exchange.sent + "\ncame: " + exchange.came;
    }
    return ForXml(text);
}

void WriteCase(QXmlStreamWriter &xml, const AssertionResult &one)
{
    xml.writeStartElement("testcase");
    xml.writeAttribute("name", one.id + ": " + one.sentence);
    xml.writeAttribute("classname", one.group);
    xml.writeAttribute("time",
                       QString::number(static_cast<double>(one.milliseconds) / msPerSecond));
    if (one.verdict == Verdict::Fail) {
        xml.writeStartElement("failure");
        xml.writeAttribute("message", ForXml(one.text));
        xml.writeCharacters(Evidence(one));
        xml.writeEndElement();
    } else if (one.verdict == Verdict::NotTested) {
        xml.writeEmptyElement("skipped");
        xml.writeAttribute("message", ForXml(one.text));
    } else if (!one.text.isEmpty()) {
        xml.writeTextElement("system-out",
                             ForXml(CheckReport::Name(one.verdict) + ": " + one.text));
    }
    xml.writeEndElement();
}

void WriteSuite(QXmlStreamWriter &xml, const QString &name, const QVector<AssertionResult> &cases)
{
    const auto count = [&cases](Verdict verdict) {
        return std::count_if(cases.begin(), cases.end(), [verdict](const AssertionResult &one) {
            return one.verdict == verdict;
        });
    };
    xml.writeStartElement("testsuite");
    xml.writeAttribute("name", name);
    xml.writeAttribute("tests", QString::number(cases.size()));
    xml.writeAttribute("failures", QString::number(count(Verdict::Fail)));
    xml.writeAttribute("skipped", QString::number(count(Verdict::NotTested)));
    for (const AssertionResult &one : cases) {
        WriteCase(xml, one);
    }
    xml.writeEndElement();
}

} // namespace

QString CheckReport::Name(Verdict verdict)
{
    static const QStringList names = {"FAIL", "WARN", "NOT TESTED", "PASS"};
    return names.at(Rank(verdict));
}

QVector<AssertionResult> CheckReport::WorstFirst(const CheckResult &result)
{
    QVector<AssertionResult> results = result.results;
    std::stable_sort(results.begin(), results.end(),
                     [](const AssertionResult &left, const AssertionResult &right) {
                         return Rank(left.verdict) < Rank(right.verdict);
                     });
    return results;
}

QString CheckReport::Summary(const CheckResult &result)
{
    const int warnings = result.Count(Verdict::Warn);
    return QString("%1 assertions: %2 passed, %3 failed, %4, %5 not tested, %6 s")
        .arg(result.results.size())
        .arg(result.Count(Verdict::Pass))
        .arg(result.Count(Verdict::Fail))
        .arg(warnings == 1 ? QStringLiteral("1 warning") : QString("%1 warnings").arg(warnings))
        .arg(result.Count(Verdict::NotTested))
        .arg(static_cast<double>(result.milliseconds) / msPerSecond, 0, 'f', 1);
}

QByteArray CheckReport::Json(const CheckResult &result)
{
    QJsonArray results;
    for (const AssertionResult &one : result.results) {
        results.append(JsonOf(one));
    }
    const QJsonObject counts{{"PASS", result.Count(Verdict::Pass)},
                             {"FAIL", result.Count(Verdict::Fail)},
                             {"WARN", result.Count(Verdict::Warn)},
                             {"NOT TESTED", result.Count(Verdict::NotTested)}};
    const QJsonObject report{{"device", result.device},
                             {"asset", result.asset},
                             {"started", result.started.toUTC().toString(Qt::ISODate)},
                             {"milliseconds", result.milliseconds},
                             {"version", PARLOWENCTL_VERSION},
                             {"interrupted", result.interrupted},
                             {"counts", counts},
                             {"leftBehind", QJsonArray::fromStringList(result.leftBehind)},
                             {"assertions", results}};
    return QJsonDocument(report).toJson();
}

QByteArray CheckReport::Junit(const CheckResult &result)
{
    QByteArray text;
    QXmlStreamWriter xml(&text);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement("testsuites");
    xml.writeAttribute("name", "parlowenctl check " + result.device);
    for (const AssertionGroup &group : result.groups) {
        QVector<AssertionResult> cases;
        std::copy_if(result.results.begin(), result.results.end(), std::back_inserter(cases),
                     [&group](const AssertionResult &one) { return one.group == group.name; });
        WriteSuite(xml, group.name, cases);
    }
    xml.writeEndDocument();
    return text;
}
