#include "scenario.h"

#include <QDir>
#include <QRegularExpression>
#include <QStringList>

namespace {

constexpr double longestTime = 86'400; // a day, in seconds
constexpr qint64 largestScenarioFile = qint64{1} << 30;

// Each of these fills in a part of the event from words, or says what is wrong with them.

QString ReadMoment(const QString &kind, const QString &text, ScenarioEvent *event)
{
    bool isNumber = false;
    if (kind == QLatin1String("request")) {
        event->request = text.toInt(&isNumber);
        return isNumber && event->request > 0
                   ? QString()
                   : QStringLiteral("\"request\" takes a number from 1 on, not \"%1\"").arg(text);
    }
    const double seconds = text.toDouble(&isNumber);
    if (kind != QLatin1String("after") || !isNumber || !(seconds >= 0 && seconds <= longestTime)) {
        return QStringLiteral("it begins with \"request NUMBER\" or \"after SECONDS\"");
    }
    event->time = std::chrono::milliseconds(qRound64(seconds * 1000));
    return QString();
}

QString ReadFault(const QString &text, ScenarioEvent *event)
{
    QString error;
    const std::optional<Fault> fault = Fault::Parse(text, &error);
    event->action = ScenarioEvent::Action::SetFault;
    event->fault = fault.value_or(Fault());
    return error;
}

QString ReadClearedFault(const QString &text, ScenarioEvent *event)
{
    event->action = ScenarioEvent::Action::ClearFault;
    for (const FaultDescription &fault : Fault::All()) {
        if (fault.name == text) {
            event->fault.kind = fault.kind;
            return QString();
        }
    }
    return QStringLiteral("\"clear\" takes the name of a fault, not \"%1\"").arg(text);
}

QString ReadStorage(const QString &text, ScenarioEvent *event)
{
    if (text != QLatin1String("away") && text != QLatin1String("back")) {
        return QStringLiteral("\"storage\" takes \"away\" or \"back\", not \"%1\"").arg(text);
    }
    event->fault.kind = FaultKind::StorageAway;
    event->action = text == QLatin1String("away") ? ScenarioEvent::Action::SetFault
                                                  : ScenarioEvent::Action::ClearFault;
    return QString();
}

QString ReadFile(const QStringList &words, ScenarioEvent *event)
{
    bool isNumber = false;
    event->action = ScenarioEvent::Action::AddFile;
    event->path = words.value(0);
    event->bytes = words.value(1).toLongLong(&isNumber);
    const bool isInside = QDir::isRelativePath(event->path) && !event->path.isEmpty() &&
                          !event->path.split(QLatin1Char('/')).contains(QStringLiteral(".."));
    if (!isInside || words.size() != 2 || !isNumber || event->bytes < 0 ||
        event->bytes > largestScenarioFile) {
        return QStringLiteral("\"file\" takes a path below the user files and a size up to 1 GiB");
    }
    return QString();
}

QString ReadAction(const QStringList &words, ScenarioEvent *event)
{
    const QString &action = words.first();
    const QString text = words.mid(1).join(QLatin1Char(' '));
    if (action == QLatin1String("fault")) {
        return ReadFault(text, event);
    }
    if (action == QLatin1String("clear")) {
        return ReadClearedFault(text, event);
    }
    if (action == QLatin1String("storage")) {
        return ReadStorage(text, event);
    }
    if (action == QLatin1String("file")) {
        return ReadFile(words.mid(1), event);
    }
    return words == QStringList{QStringLiteral("restart")}
               ? QString()
               : QStringLiteral("\"%1\" is nothing that happens: there are fault, clear, storage, "
                                "file and restart")
                     .arg(words.join(QLatin1Char(' ')));
}

QString ReadEvent(const QString &line, ScenarioEvent *event)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    const QStringList words = line.split(space);
    const QString problem = ReadMoment(words.first(), words.value(1), event);
    if (!problem.isEmpty() || words.size() < 3) {
        return problem.isEmpty() ? QStringLiteral("it does not say what happens") : problem;
    }
    return ReadAction(words.mid(2), event);
}

} // namespace

std::optional<QVector<ScenarioEvent>> Scenario::Parse(const QString &text, QString *error)
{
    QVector<ScenarioEvent> events;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int number = 0; number < lines.size(); ++number) {
        const QString line = lines.at(number).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        ScenarioEvent event;
        const QString problem = ReadEvent(line, &event);
        if (!problem.isEmpty()) {
            *error = QStringLiteral("line %1: %2").arg(number + 1).arg(problem);
            return std::nullopt;
        }
        events.append(event);
    }
    return events;
}
