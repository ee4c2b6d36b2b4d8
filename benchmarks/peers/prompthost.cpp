// A host of the library that serves as small as a host can be, for the comparison with bare
// servers. When SIGTERM ends it, it prints how long the longest turn of its event loop took, its
// own calls excepted. usage: prompt_host PORT FOLDER prompt|classic
#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>
#include <time.h>

#include "processsettings.h"
#include "restservermodel.h"
#include "wirehost.h"

namespace {

// Passed by the clock, and used by this thread.
struct Times
{
    qint64 clock = 0;     // ns
    qint64 processor = 0; // ns
};

qint64 Nanoseconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return qint64(time.tv_sec) * 1000000000 + time.tv_nsec;
}

Times Now()
{
    return {Nanoseconds(CLOCK_MONOTONIC), Nanoseconds(CLOCK_THREAD_CPUTIME_ID)};
}

class TimedHost : public WireHost
{
public:
    explicit TimedHost(const QString &folderPath)
        : folder(folderPath)
    {}

    Times own;

    QDir Directory(int) override { return folder; }
    QByteArray ReadFileChunk(QString path, bool *ok, qint64 offset, qint64 maxLength,
                             bool *lastChunk) override
    {
        const Times before = Now();
        QByteArray piece = Read(path, ok, offset, static_cast<int>(maxLength), lastChunk);
        const Times after = Now();
        own.clock += after.clock - before.clock;
        own.processor += after.processor - before.processor;
        return piece;
    }

private:
    // The memory of the third piece back is used again, unless somebody still shares it.
    QByteArray Read(const QString &path, bool *ok, qint64 offset, int length, bool *lastChunk)
    {
        QFile file(path);
        *ok = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && file.seek(offset);
        turn = (turn + 1) % places.size();
        QByteArray piece = std::move(places[turn]);
        if (!piece.isDetached() || piece.size() != length) {
            piece = QByteArray(length, Qt::Uninitialized);
        }
        piece.truncate(*ok ? static_cast<int>(file.read(piece.data(), length)) : 0);
        *lastChunk = file.atEnd();
        if (*lastChunk) {
            places = {};
        } else {
            places[turn] = piece;
        }
        return piece;
    }

    QDir folder;
    std::array<QByteArray, 3> places;
    size_t turn = 0;
};

// From where the loop wakes up, or turns again, to where it turns the next time or sleeps.
class LongestTurn
{
public:
    explicit LongestTurn(TimedHost *timedHost)
        : host(timedHost)
    {
        auto *dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, [this] {
            End();
            host->own = Times();
            begun = Now();
            turns = true;
        });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, [this] {
            End();
            turns = false;
        });
    }

    Times longest;

private:
    void End()
    {
        if (turns) {
            const Times now = Now();
            longest.clock = std::max(longest.clock, now.clock - begun.clock - host->own.clock);
            longest.processor =
                std::max(longest.processor, now.processor - begun.processor - host->own.processor);
        }
    }

    TimedHost *host;
    Times begun;
    bool turns = false;
};

} // namespace

int main(int argc, char **argv)
{
    ProcessSettings::ReturnLargeBlocks();
    qputenv("QT_NO_GLIB", "1"); // whose event loop tells of its turns in another order
    QCoreApplication application(argc, argv);
    sigset_t termination;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &termination, nullptr);
    QSocketNotifier quit(signalfd(-1, &termination, 0), QSocketNotifier::Read);
    QObject::connect(&quit, &QSocketNotifier::activated, &application, &QCoreApplication::quit);

    const QStringList arguments = QCoreApplication::arguments();
    TimedHost host(arguments.value(2));
    RestServerModel server;
    host.server = &server;
    RestServerOptions options;
    if (arguments.value(3) == "prompt") {
        options = RestServerOptions::Prompt();
    }
    options.listeningPorts = arguments.value(1).toLatin1();
    server.SetOptions(options);
    server.Construct(&host);
    server.Start();
    if (!server.Running()) {
        return 1;
    }
    const LongestTurn turns(&host);
    QCoreApplication::exec();
    server.Stop();
    std::printf("%.3f %.3f\n", static_cast<double>(turns.longest.clock) / 1e6,
                static_cast<double>(turns.longest.processor) / 1e6);
    return 0;
}
