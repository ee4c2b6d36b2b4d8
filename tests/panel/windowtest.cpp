// The window and a client together: what a client does shows, and what is switched in the window
// reaches the client.

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <gtest/gtest.h>

#include "language.h"
#include "runningpanel.h"

namespace {

constexpr qint64 largeFile = 200000000;

class PanelWindowTest : public testing::Test
{
protected:
    QString Label(const char *name) const { return running.Find<QLabel>(name)->text(); }

    bool AwaitLabel(const char *name, const QString &text)
    {
        return running.Await([&] { return Label(name) == text; });
    }

    bool AwaitRequest(const QString &method, const QString &uri)
    {
        return running.Await([&] {
            const QStringList uris = running.Column("journal", JournalModel::Uri);
            return uris.value(0) == uri &&
                   running.Column("journal", JournalModel::Method).value(0) == method;
        });
    }

    QString NewestRequest(int column) { return running.Column("journal", column).value(0); }

    void SwitchFault(const QString &name, bool on)
    {
        QAbstractItemModel *faults = running.Table("faults")->model();
        const int row = running.Column("faults", FaultListModel::Switch).indexOf(name);
        ASSERT_TRUE(faults->setData(faults->index(row, FaultListModel::Switch),
                                    on ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole));
    }

    RunningPanel running{{QStringLiteral("--mode"), QStringLiteral("2")}};
};

TEST_F(PanelWindowTest, ShowsWhatTheInstrumentIs)
{
    EXPECT_EQ(Label("model"), QStringLiteral("Parlowen simulated instrument"));
    EXPECT_EQ(Label("serialNumber"), QStringLiteral("PW-000042"));
    EXPECT_EQ(Label("address"), running.device->Address());
    EXPECT_EQ(Label("mode"), QStringLiteral("2, shows the job"));
    EXPECT_EQ(Label("technician"), QStringLiteral("none"));
    EXPECT_TRUE(running.Find<QProgressBar>("storage")->isEnabled());
}

TEST_F(PanelWindowTest, ShowsTheTechnicianWhomAClientSets)
{
    running.Curl(QStringLiteral("/api/v1/techinfo"),
                 {QStringLiteral("--data"), QStringLiteral(R"({"techId": "A_1"})")});
    EXPECT_TRUE(AwaitLabel("technician", QStringLiteral("A_1")));
}

TEST_F(PanelWindowTest, ShowsWorkOrdersThatAClientPosts)
{
    running.Curl(
        QStringLiteral("/api/workflow/v1/workorders"),
        {QStringLiteral("--data"),
         QStringLiteral(R"({"cdm": [{"workOrderId": "AA-1"}, {"workOrderId": "ZZ-1"}]})")});
    EXPECT_TRUE(running.Await(
        [&] { return running.Column("workOrders", WorkOrderListModel::Id).contains("ZZ-1"); }));
    EXPECT_EQ(running.Column("workOrders", WorkOrderListModel::Id).first(), QStringLiteral("AA-1"));
}

TEST_F(PanelWindowTest, InMode2ANewActiveWorkOrderResetsTheJobView)
{
    running.Curl(QStringLiteral("/api/workflow/v1/active"),
                 {QStringLiteral("--request"), QStringLiteral("PUT"), QStringLiteral("--data"),
                  QStringLiteral(R"({"activeWorkOrderId": "WO-1002"})")});
    EXPECT_TRUE(AwaitLabel("activeWorkOrder", QStringLiteral("WO-1002")));
    EXPECT_TRUE(Label("jobView").startsWith(QStringLiteral("reset at ")));
    EXPECT_TRUE(Label("jobPanel").startsWith(QStringLiteral("closed since ")));
    EXPECT_TRUE(Label("command").startsWith(QStringLiteral("40 at ")));
    EXPECT_EQ(running.panel->workOrders.ActiveRow(), 1);
}

TEST_F(PanelWindowTest, ALargeUploadMovesThenIsPendingThenConfirmed)
{
    bool moved = false;
    QObject::connect(&running.panel->transfers, &QAbstractItemModel::rowsInserted,
                     [&moved] { moved = true; });
    EXPECT_EQ(running.Upload(QStringLiteral("large.bin"), largeFile).simplified(),
              QByteArrayLiteral("{ }"));
    EXPECT_TRUE(moved);
    const auto state = [this] {
        const int row = running.Column("files", FileListModel::Name).indexOf("large.bin");
        return running.Column("files", FileListModel::State).value(row);
    };
    EXPECT_TRUE(running.Await([&] { return state() == QStringLiteral("pending"); }));
    EXPECT_TRUE(running.Await([&] { return running.panel->transfers.rowCount() == 0; }));
    running.Curl(QStringLiteral("/api/syncfiles/v1/userfiles") +
                     running.UserFile(QStringLiteral("large.bin")),
                 {QStringLiteral("--request"), QStringLiteral("PUT")});
    EXPECT_TRUE(running.Await([&] { return state() == QStringLiteral("confirmed"); }));
}

TEST_F(PanelWindowTest, AFaultThatIsSwitchedOnInTheWindowStrikesAtOnceAndShowsInTheJournal)
{
    SwitchFault(QStringLiteral("store-fails"), true);
    const QString uri = QStringLiteral("/api/workflow/v1/workorders");
    const QByteArray answer =
        running.Curl(uri, {QStringLiteral("--data"), QStringLiteral(R"({"cdm": []})")});
    EXPECT_TRUE(answer.contains("errorMessage")) << answer.constData();
    ASSERT_TRUE(AwaitRequest(QStringLiteral("POST"), uri));
    EXPECT_EQ(NewestRequest(JournalModel::Faults), QStringLiteral("store-fails"));
    EXPECT_FALSE(NewestRequest(JournalModel::Reason).isEmpty());
    SwitchFault(QStringLiteral("store-fails"), false);
    EXPECT_FALSE(running.Curl(uri, {QStringLiteral("--data"), QStringLiteral(R"({"cdm": []})")})
                     .contains("errorMessage"));
}

TEST_F(PanelWindowTest, AFaultOfTheLineStrikesToo)
{
    SwitchFault(QStringLiteral("http-500"), true);
    EXPECT_EQ(running.Curl(QStringLiteral("/info"),
                           {QStringLiteral("--output"), QStringLiteral("/dev/null"),
                            QStringLiteral("--write-out"), QStringLiteral("%{http_code}")}),
              QByteArrayLiteral("500"));
    ASSERT_TRUE(AwaitRequest(QStringLiteral("GET"), QStringLiteral("/info")));
    EXPECT_EQ(NewestRequest(JournalModel::Status), QStringLiteral("500"));
    EXPECT_EQ(NewestRequest(JournalModel::Faults), QStringLiteral("http-500"));
}

TEST_F(PanelWindowTest, StorageThatIsAwayShowsAtTheInstrument)
{
    SwitchFault(QStringLiteral("storage-away"), true);
    auto *storage = running.Find<QProgressBar>("storage");
    EXPECT_TRUE(running.Await([&] { return !storage->isEnabled(); }));
    EXPECT_EQ(storage->format(), QStringLiteral("away"));
}

TEST_F(PanelWindowTest, AValueThatIsNoneIsRefusedWithItsReason)
{
    QAbstractItemModel *faults = running.Table("faults")->model();
    const int row = running.Column("faults", FaultListModel::Switch).indexOf("slow-call");
    EXPECT_FALSE(faults->setData(faults->index(row, FaultListModel::Value), QStringLiteral("x")));
    EXPECT_TRUE(Label("faultRefused").contains(QStringLiteral("slow-call takes a number")));
}

TEST_F(PanelWindowTest, MeasuringMakesAResultOfTheActiveWorkOrder)
{
    auto *measure = running.Find<QAction>("measure");
    EXPECT_FALSE(measure->isEnabled());
    running.Curl(QStringLiteral("/api/workflow/v1/active"),
                 {QStringLiteral("--request"), QStringLiteral("PUT"), QStringLiteral("--data"),
                  QStringLiteral(R"({"activeWorkOrderId": "WO-1002"})")});
    ASSERT_TRUE(running.Await([&] { return measure->isEnabled(); }));
    measure->trigger();
    const auto resultNames = [this] {
        return running.Column("files", FileListModel::Name)
            .filter(QStringLiteral("results/WO-1002-"));
    };
    ASSERT_TRUE(running.Await([&] { return resultNames().size() == 1; }));
    const QStringList results = resultNames();
    const int row = running.Column("files", FileListModel::Name).indexOf(results.first());
    EXPECT_EQ(running.Column("files", FileListModel::State).at(row), QStringLiteral("pending"));
}

TEST_F(PanelWindowTest, MeasuringAgainAndAgainIsSwitchedOnAndOff)
{
    auto *again = running.Find<QAction>("measureAgain");
    EXPECT_FALSE(again->isChecked());
    again->setChecked(true);
    EXPECT_TRUE(running.panel->IsMeasuring());
    again->setChecked(false);
    EXPECT_FALSE(running.panel->IsMeasuring());
}

TEST_F(PanelWindowTest, OneClickShowsTheAnswerOfARequest)
{
    running.Curl(QStringLiteral("/info"));
    ASSERT_TRUE(AwaitRequest(QStringLiteral("GET"), QStringLiteral("/info")));
    running.Table("journal")->selectRow(0);
    const QString text = running.Find<QPlainTextEdit>("request")->toPlainText();
    EXPECT_TRUE(text.contains(QStringLiteral("PW-000042"))) << text.toStdString();
}

TEST_F(PanelWindowTest, TheJournalIsFilteredByTextAndFailure)
{
    running.Curl(QStringLiteral("/info"));
    running.Curl(QStringLiteral("/api/filemgr/v2/metadata/none.txt"));
    ASSERT_TRUE(
        AwaitRequest(QStringLiteral("GET"), QStringLiteral("/api/filemgr/v2/metadata/none.txt")));
    running.Find<QCheckBox>("failuresOnly")->setChecked(true);
    EXPECT_EQ(running.Column("journal", JournalModel::Uri),
              QStringList(QStringLiteral("/api/filemgr/v2/metadata/none.txt")));
    running.Find<QCheckBox>("failuresOnly")->setChecked(false);
    running.Find<QLineEdit>("filter")->setText(QStringLiteral("INFO"));
    EXPECT_EQ(running.Column("journal", JournalModel::Uri), QStringList(QStringLiteral("/info")));
}

TEST_F(PanelWindowTest, TheSelectedRequestIsCopiedAsACommand)
{
    running.Curl(QStringLiteral("/info"));
    ASSERT_TRUE(AwaitRequest(QStringLiteral("GET"), QStringLiteral("/info")));
    running.Table("journal")->selectRow(0);
    running.Find<QPushButton>("copyAsCurl")->click();
    EXPECT_EQ(QApplication::clipboard()->text(),
              QStringLiteral("curl '%1/info'").arg(running.device->Address()));
}

TEST_F(PanelWindowTest, EveryPageIsReachedAndLeftByTheKeyboard)
{
    for (const char *name : {"workOrders", "journal", "files", "transfers", "faults"}) {
        EXPECT_FALSE(running.Table(name)->tabKeyNavigation()) << name;
        EXPECT_NE(running.Table(name)->focusPolicy() & Qt::TabFocus, 0) << name;
    }
}

TEST(PanelLanguageTest, EveryTextIsThereInGerman)
{
    QFile texts(QStringLiteral(PARLOWEN_GERMAN_TEXTS));
    ASSERT_TRUE(texts.open(QIODevice::ReadOnly));
    const QByteArray content = texts.readAll();
    EXPECT_TRUE(content.contains("<translation>"));
    EXPECT_FALSE(content.contains("unfinished"));
}

TEST(PanelLanguageTest, TheWindowSpeaksGermanWhereTheMachineDoes)
{
    Language::Use(QLocale(QLocale::German));
    {
        const RunningPanel running;
        EXPECT_EQ(running.Find<QTabWidget>("pages")->tabText(1), QStringLiteral("Dat&eien"));
        EXPECT_EQ(running.Find<QLabel>("technician")->text(), QStringLiteral("keiner"));
        EXPECT_EQ(running.panel->journal.headerData(0, Qt::Horizontal).toString(),
                  QStringLiteral("Zeit"));
        EXPECT_LE(running.window->minimumSizeHint().width(), 1024);
    }
    Language::Use(QLocale::c());
}

TEST_F(PanelWindowTest, FitsTheDisplayOfAnInstrument)
{
    EXPECT_LE(running.window->minimumSizeHint().width(), 1024);
    EXPECT_LE(running.window->minimumSizeHint().height(), 600);
}

} // namespace
