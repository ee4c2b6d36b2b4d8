#include "progressdisplay.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

#include "output.h"

namespace {

constexpr qint64 redrawMs = 100;
constexpr qint64 lineMs = 5000;
constexpr int barWidth = 20;

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

} // namespace

ProgressDisplay::ProgressDisplay(const Output &output, const QString &fileName, qint64 totalBytes)
    : name(Output::WithoutControlCharacters(fileName))
    , total(totalBytes)
    , terminal(isatty(STDERR_FILENO) != 0)
    , silent(output.IsQuiet())
{
    sinceStart.start();
    sinceShown.start();
}

ProgressDisplay::~ProgressDisplay()
{
    if (terminal && !silent) {
        Draw();
        std::fputc('\n', stderr);
    }
}

void ProgressDisplay::Update(qint64 doneBytes)
{
    done = std::min(doneBytes, total);
    if (silent || sinceShown.elapsed() < (terminal ? redrawMs : lineMs)) {
        return;
    }
    sinceShown.restart();
    if (terminal) {
        Draw();
    } else {
        Print();
    }
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

void ProgressDisplay::Draw()
{
    const QString tail =
        ' ' + Bar(Percent(done, total)) + ' ' + Describe(done, total, sinceStart.elapsed());
    const int room = std::max(TerminalWidth() - 1 - tail.size(), 0);
    const QString line = name.right(room) + tail;
    // Clears the rest of the line, for the text grows shorter as well as longer.
    std::fprintf(stderr, "\r%s\033[K", line.toUtf8().constData());
    std::fflush(stderr);
}

void ProgressDisplay::Print() const
{
    const QString line = name + ": " + Describe(done, total, sinceStart.elapsed());
    std::fprintf(stderr, "%s\n", line.toUtf8().constData());
}
