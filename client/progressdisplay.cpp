#include "progressdisplay.h"

#include <QLocale>
#include <QStringList>
#include <algorithm>
#include <array>
#include <chrono>
#include <clocale>
#include <cwchar>
#include <sys/ioctl.h>
#include <unistd.h>

#include "output.h"
#include "printabletext.h"

namespace {

constexpr qint64 redrawMs = 100;
constexpr int barWidth = 20;
// What a file costs besides its bytes, in bytes: a thousand empty files take their time too.
constexpr qint64 costOfFile = 64 << 10;

int TerminalWidth()
{
    constexpr int usualWidth = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                           : usualWidth;
}

QString Duration(qint64 seconds)
{
    constexpr qint64 minute = 60;
    constexpr qint64 hour = 3600;
    const QString tail = QString("%1:%2")
                             .arg(seconds % hour / minute, seconds >= hour ? 2 : 1, 10, QChar('0'))
                             .arg(seconds % minute, 2, 10, QChar('0'));
    return seconds >= hour ? QString("%1:%2").arg(seconds / hour).arg(tail) : tail;
}

int Percent(qint64 done, qint64 total)
{
    constexpr double whole = 100;
    return total > 0
               ? static_cast<int>(whole * static_cast<double>(done) / static_cast<double>(total))
               : static_cast<int>(whole);
}

QString Bar(int percent)
{
    const int filled = percent * barWidth / 100;
    return '[' + QString(filled, '#') + QString(barWidth - filled, '-') + ']';
}

// The width of letters is a matter of the locale, and ours is always UTF-8.
int ColumnsOf(uint character)
{
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = uselocale(utf8);
    const int columns = wcwidth(static_cast<wchar_t>(character));
    uselocale(before);
    return std::max(columns, 0);
}

QString Grouped(int number)
{
    return QLocale(QLocale::English, QLocale::UnitedStates).toString(number);
}

} // namespace

qint64 ProgressDisplay::SteadyClock()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

ProgressDisplay::ProgressDisplay(const Output &jobOutput, int jobFiles, qint64 jobBytes,
                                 Clock clockToUse)
    : output(jobOutput)
    , files(jobFiles)
    , bytes(jobBytes)
    , shown(jobOutput.ShowsStatus())
    , clock(std::move(clockToUse))
    , jobStart(clock())
    , lastShown(jobStart)
{}

ProgressDisplay::~ProgressDisplay()
{
    output.KeepStatus();
}

void ProgressDisplay::Begin(const QString &fileName, qint64 fileBytes)
{
    if (isInHand) {
        LoseTry(); // the last one of a file that failed
    }
    name = Escaped(fileName);
    size = fileBytes;
    done = 0;
    isInHand = true;
    tryStart = clock();
}

void ProgressDisplay::Update(qint64 doneBytes)
{
    const qint64 now = std::min(doneBytes, size);
    if (now < done || now == 0) {
        LoseTry();
    }
    done = now;
    if (shown && clock() - lastShown >= redrawMs) {
        lastShown = clock();
        Draw();
    }
}

void ProgressDisplay::End()
{
    if (shown && (files == 1 || done > 0)) {
        Draw();
    }
    finishedBytes += size;
    ++finishedFiles;
    isInHand = false;
}

void ProgressDisplay::LoseTry()
{
    const qint64 now = clock();
    lostMs += now - tryStart;
    tryStart = now;
}

QString ProgressDisplay::Describe(qint64 done, qint64 total, qint64 elapsedMs)
{
    constexpr double msPerSecond = 1000;
    const double rate = static_cast<double>(done) * msPerSecond /
                        static_cast<double>(std::max<qint64>(elapsedMs, 1));
    QString text = QString("%1% of %2, %3/s")
                       .arg(Percent(done, total))
                       .arg(Bytes(static_cast<double>(total)), Bytes(rate));
    if (rate > 0) {
        const auto left = static_cast<qint64>(static_cast<double>(total - done) / rate);
        text += QString(", %1 left").arg(Duration(left));
    }
    return text;
}

QString ProgressDisplay::DescribeJob(int done, int files, qint64 secondsLeft)
{
    constexpr qint64 minute = 60;
    QString text = QString("%1 of %2").arg(Grouped(done), Grouped(files));
    if (secondsLeft < 0) {
        return text;
    }
    return secondsLeft < minute
               ? QString("%1, %2 s left").arg(text).arg(secondsLeft)
               : QString("%1, %2 min left").arg(text).arg((secondsLeft + minute / 2) / minute);
}

QString ProgressDisplay::Bytes(double count)
{
    constexpr double step = 1024;
    static constexpr std::array<const char *, 5> units{"B", "KiB", "MiB", "GiB", "TiB"};
    size_t unit = 0;
    while (count >= step && unit + 1 < units.size()) {
        count /= step;
        ++unit;
    }
    return QString("%1 %2").arg(count, 0, 'f', unit == 0 ? 0 : 1).arg(units.at(unit));
}

int ProgressDisplay::Columns(const QString &text)
{
    int columns = 0;
    for (const uint character : text.toUcs4()) {
        columns += ColumnsOf(character);
    }
    return columns;
}

QString ProgressDisplay::LastColumns(const QString &text, int columns)
{
    QVector<uint> characters = text.toUcs4();
    int taken = 0;
    int first = characters.size();
    while (first > 0 && taken + ColumnsOf(characters[first - 1]) <= columns) {
        taken += ColumnsOf(characters[--first]);
    }
    characters = characters.mid(first);
    return QString::fromUcs4(characters.constData(), characters.size());
}

QString ProgressDisplay::Fit(const QString &job, const QString &name, int percent,
                             const QString &details, int columns)
{
    constexpr int shortestName = 8;
    const QString start = job.isEmpty() ? QString() : job + ": ";
    const QString percentage = QString(" %1%").arg(percent);
    for (const QString &tail : {' ' + Bar(percent) + ' ' + details, ' ' + details, percentage}) {
        const int room = columns - Columns(start) - Columns(tail);
        if (room >= std::min(shortestName, Columns(name))) {
            return start + LastColumns(name, room) + tail;
        }
    }
    return LastColumns(job.isEmpty() ? percentage : job, columns);
}

QString ProgressDisplay::Text(int columns) const
{
    const QString job = files > 1 ? DescribeJob(finishedFiles, files, SecondsLeft()) : QString();
    return Fit(job, name, Percent(done, size), Describe(done, size, clock() - tryStart), columns);
}

void ProgressDisplay::Draw()
{
    output.Status(Text(TerminalWidth() - 1));
}

qint64 ProgressDisplay::SecondsLeft() const
{
    constexpr double msPerSecond = 1000;
    const double work = static_cast<double>(bytes) + static_cast<double>(files * costOfFile);
    const double finished =
        static_cast<double>(finishedBytes + done) + static_cast<double>(finishedFiles * costOfFile);
    const double spentMs = static_cast<double>(clock() - jobStart - lostMs);
    if (finished <= 0) {
        return -1;
    }
    return static_cast<qint64>(std::max(work - finished, 0.0) * spentMs / finished / msPerSecond);
}
