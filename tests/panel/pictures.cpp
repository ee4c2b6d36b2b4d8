// Makes the pictures of the front panel: a client at work, grabbed from a window that nobody sees.
//   parlowen-panel-pictures FOLDER

#include <QApplication>
#include <QTabWidget>
#include <QTableView>

#include "faultplan.h"
#include "runningpanel.h"
#include "theme.h"

namespace {

constexpr int fontPoints = 9; // as desktops have it

void Work(RunningPanel *running)
{
    const QString list = QStringLiteral("/api/workflow/v1/list");
    const QString data = QStringLiteral("--data");
    running->Curl(QStringLiteral("/info"));
    running->Curl(QStringLiteral("/api/v1/techinfo"),
                  {data, QStringLiteral(R"({"techId": "A_1"})")});
    running->Curl(list);
    running->Curl(QStringLiteral("/api/workflow/v1/active"),
                  {QStringLiteral("--request"), QStringLiteral("PUT"), data,
                   QStringLiteral(R"({"activeWorkOrderId": "WO-1003"})")});
    running->Curl(QStringLiteral("/api/workflow/v1/workorders/WO-1003"));
    running->Upload(QStringLiteral("WO-1003 results.csv"), 1234567);
    running->Curl(QStringLiteral("/api/filemgr/v2/userfiles"));
    running->Curl(QStringLiteral("/api/filemgr/v2/metadata/none.txt"));
    running->device->Faults().Set({FaultKind::StoreFails});
    running->Curl(QStringLiteral("/api/workflow/v1/workorders"),
                  {data, QStringLiteral(R"({"cdm": [{"workOrderId": "WO-2001"}]})")});
    running->Curl(QStringLiteral("/api/syncfiles/v1/pendingfiles"));
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    const QString folder = QCoreApplication::arguments().value(1, QStringLiteral("."));

    QFont font = QApplication::font();
    font.setPointSize(fontPoints);
    QApplication::setFont(font);
    Theme::Use(false);
    RunningPanel running({QStringLiteral("--mode"), QStringLiteral("2")});
    running.window->resize(1024, 600);
    Work(&running);
    running.Await([&] { return running.panel->journal.rowCount() >= 10; });
    running.panel->Refresh();
    running.Table("journal")->selectRow(1);
    const bool light = running.window->grab().save(folder + QStringLiteral("/panel-light.png"));
    Theme::Use(true);
    running.Find<QTabWidget>("pages")->setCurrentIndex(2);
    const bool dark = running.window->grab().save(folder + QStringLiteral("/panel-dark.png"));
    return light && dark ? 0 : 1;
}
