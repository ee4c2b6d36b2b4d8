// The front panel, which watches its own frames: a timer of 60 Hz in the window.
//   panel_frames SECONDS OPTION...    the options are those of parlowen-panel
// After so many seconds it prints one JSON object and ends.

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

#include "deviceprogram.h"
#include "panel.h"
#include "paneldevice.h"
#include "panelwindow.h"
#include "theme.h"

namespace {

constexpr int frameMilliseconds = 16;
constexpr double lateMilliseconds = 50;
constexpr int oneSecond = 1000;

qint64 ResidentKibibytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE) / 1024;
}

/** How late the frames are, and how much memory is resident, second by second. */
class Watch
{
public:
    Watch()
    {
        clock.start();
        frames.setTimerType(Qt::PreciseTimer);
        QObject::connect(&frames, &QTimer::timeout, [this] { NoteFrame(); });
        QObject::connect(&seconds, &QTimer::timeout,
                         [this] { resident.push_back(ResidentKibibytes()); });
        frames.start(frameMilliseconds);
        seconds.start(oneSecond);
    }

    QJsonObject Result() const
    {
        std::vector<double> sorted = delays;
        std::sort(sorted.begin(), sorted.end());
        const auto late = std::count_if(sorted.cbegin(), sorted.cend(),
                                        [](double delay) { return delay > lateMilliseconds; });
        // The journal has filled up by then.
        const auto settled = resident.cbegin() + static_cast<std::ptrdiff_t>(resident.size() / 4);
        const auto [least, most] = std::minmax_element(settled, resident.cend());
        return {{"frames", static_cast<int>(sorted.size())},
                {"late", static_cast<int>(late)},
                {"p99", sorted.at(sorted.size() * 99 / 100)},
                {"longest", sorted.back()},
                {"leastKibibytes", *least},
                {"mostKibibytes", *most},
                {"lastKibibytes", resident.back()}};
    }

private:
    void NoteFrame()
    {
        const qint64 now = clock.nsecsElapsed();
        delays.push_back(static_cast<double>(now - last) / 1e6 - frameMilliseconds);
        last = now;
    }

    QElapsedTimer clock;
    QTimer frames;
    QTimer seconds;
    qint64 last = 0;
    std::vector<double> delays;
    std::vector<qint64> resident;
};

int ShowAndWatch(PanelDevice &device, int duration)
{
    Panel panel(device);
    PanelWindow window(panel);
    window.show();
    const Watch watch;
    QTimer::singleShot(duration * oneSecond, [] { QCoreApplication::quit(); });
    const int status = QApplication::exec();
    std::puts(QJsonDocument(watch.Result()).toJson(QJsonDocument::Compact).constData());
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    DeviceProgram program(QStringLiteral("panel_frames"), QStringLiteral("0"));
    const QApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    const int duration = arguments.value(1).toInt();
    arguments.removeAt(1);
    if (!program.Prepare(arguments)) {
        return program.Status();
    }
    Theme::Use(false);
    PanelDevice device(program.Options(), stdout);
    return program.Serve(device, [&] { return ShowAndWatch(device, duration); });
}
