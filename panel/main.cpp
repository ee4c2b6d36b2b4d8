#include <QApplication>
#include <QLocale>
#include <csignal>
#include <memory>

#include "deviceprogram.h"
#include "language.h"
#include "panel.h"
#include "paneldevice.h"
#include "panelwindow.h"
#include "theme.h"

namespace {

// Without a window: the help and a folder that goes with the process need none.
bool Prepare(DeviceProgram *program, int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return program->Prepare(QCoreApplication::arguments());
}

// The window system has threads of its own. They leave the signals that end the program to the main
// thread, as all threads do that are made later.
std::unique_ptr<QApplication> MakeApplication(int &argc, char **argv)
{
    sigset_t ending;
    sigset_t former;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, &former);
    auto application = std::make_unique<QApplication>(argc, argv);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return application;
}

int ShowWindow(PanelDevice &device)
{
    Panel panel(device);
    PanelWindow window(panel);
    window.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    DeviceProgram program(QStringLiteral("parlowen-panel"), QStringLiteral(PARLOWEN_PANEL_VERSION));
    if (!Prepare(&program, argc, argv)) {
        return program.Status();
    }
    const std::unique_ptr<QApplication> application = MakeApplication(argc, argv);
    Theme::Use(false);
    Language::Use(QLocale::system());
    PanelDevice device(program.Options(), stdout);
    // Where fonts and their settings are found.
    const QStringList readable = {QStringLiteral("/etc/fonts"),
                                  QStringLiteral("/var/cache/fontconfig")};
    return program.Serve(
        device, [&device] { return ShowWindow(device); }, readable);
}
