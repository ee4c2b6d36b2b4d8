// A device that keeps what it is told: work orders, confirmations and technician in a database,
// user files in a folder. Its server has a thread of its own, so that the display never waits for a
// client. It is meant to be copied.
//
//     sqlite-host DIRECTORY [--one-thread]
//
// With --one-thread the server shares the thread of the display. At the end the longest pause of
// the display is told, for the comparison.

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QThread>
#include <csignal>
#include <cstdio>
#include <memory>
#include <processsettings.h>
#include <sys/signalfd.h>

#include "display.h"
#include "service.h"

namespace {

// Blocked before any thread starts, so that a signal arrives as an event of the main loop.
int SignalsToQuit()
{
    sigset_t signalsToQuit;
    sigemptyset(&signalsToQuit);
    sigaddset(&signalsToQuit, SIGINT);
    sigaddset(&signalsToQuit, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signalsToQuit, nullptr);
    return signalfd(-1, &signalsToQuit, 0);
}

int Failed(const QString &reason)
{
    std::fprintf(stderr, "sqlite-host: %s\n", qUtf8Printable(reason));
    return 1;
}

// Says that requests are answered, or why not; runs the display until a signal comes.
int RunDisplay(QCoreApplication &application, int signalsToQuit, const QString &problem)
{
    if (!problem.isEmpty()) {
        return Failed(problem);
    }
    std::puts("listening on http://127.0.0.1:8081");
    std::fflush(stdout);
    const QSocketNotifier quit(signalsToQuit, QSocketNotifier::Read);
    QObject::connect(&quit, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    const Display display;
    QCoreApplication::exec();
    std::fprintf(stderr, "longest pause of the display: %lld ms\n", display.LongestPauseMs());
    return 0;
}

int ServeInOneThread(QCoreApplication &application, int signalsToQuit, const QDir &folder)
{
    Service service(folder);
    return RunDisplay(application, signalsToQuit, service.Problem());
}

int ServeInOwnThread(QCoreApplication &application, int signalsToQuit, const QDir &folder)
{
    QThread thread;
    QObject inThread;
    inThread.moveToThread(&thread);
    thread.start();

    // The service is made and destroyed where it works: its database and timers belong to a thread.
    std::unique_ptr<Service> service;
    QString problem;
    const auto make = [&] {
        service = std::make_unique<Service>(folder);
        problem = service->Problem();
    };
    QMetaObject::invokeMethod(&inThread, make, Qt::BlockingQueuedConnection);
    const int status = RunDisplay(application, signalsToQuit, problem);
    const auto end = [&service] { service.reset(); };
    QMetaObject::invokeMethod(&inThread, end, Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
    return status;
}

} // namespace

int main(int argc, char *argv[])
{
    ProcessSettings::ReturnLargeBlocks();
    const int signalsToQuit = SignalsToQuit();
    QCoreApplication application(argc, argv);
    const bool oneThread = argc == 3 && QByteArray(argv[2]) == "--one-thread";
    if ((argc != 2 && !oneThread) || !QFileInfo(argv[1]).isDir()) {
        std::fputs("usage: sqlite-host DIRECTORY [--one-thread]\n", stderr);
        return 2;
    }
    // The real path: clients name files by paths that begin with what `Directory` returns.
    const QDir folder(QFileInfo(QFile::decodeName(argv[1])).canonicalFilePath());
    if (!folder.mkpath("files") || !folder.mkpath("templates")) {
        return Failed("cannot make the folders of the device");
    }
    return oneThread ? ServeInOneThread(application, signalsToQuit, folder)
                     : ServeInOwnThread(application, signalsToQuit, folder);
}
