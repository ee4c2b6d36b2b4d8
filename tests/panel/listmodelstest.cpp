#include <QSignalSpy>
#include <gtest/gtest.h>

#include "filelistmodel.h"
#include "transferlistmodel.h"
#include "workorderlistmodel.h"

namespace {

QDateTime Noon()
{
    return QDateTime(QDate(2026, 1, 31), QTime(12, 0), Qt::LocalTime);
}

QStringList Row(const QAbstractItemModel &model, int row)
{
    QStringList texts;
    for (int column = 0; column < model.columnCount(); ++column) {
        texts << model.index(row, column).data().toString();
    }
    return texts;
}

TEST(WorkOrderListModelTest, TheActiveOneIsMarkedForTheEyeAndForReaders)
{
    WorkOrderListModel model;
    model.Show({{"WO-1", Noon(), false}, {"WO-2", Noon(), true}});
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.ActiveRow(), 1);
    EXPECT_EQ(Row(model, 0).first(), QStringLiteral("WO-1"));
    EXPECT_EQ(Row(model, 1).first(), QString::fromUtf8("▶ WO-2"));
    EXPECT_EQ(model.index(1, 0).data(Qt::AccessibleTextRole).toString(),
              QStringLiteral("WO-2, active"));
    EXPECT_TRUE(model.index(1, 0).data(WorkOrderListModel::isActiveRole).toBool());
}

TEST(WorkOrderListModelTest, WithoutAnActiveOneNoRowIsTheActiveRow)
{
    WorkOrderListModel model;
    model.Show({{"WO-1", Noon(), false}});
    EXPECT_EQ(model.ActiveRow(), -1);
}

TEST(WorkOrderListModelTest, AnotherActiveOneChangesTwoRowsAndKeepsTheRest)
{
    WorkOrderListModel model;
    model.Show({{"A", Noon(), true}, {"B", Noon(), false}, {"C", Noon(), false}});
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.Show({{"A", Noon(), false}, {"B", Noon(), false}, {"C", Noon(), true}});
    EXPECT_EQ(changes.count(), 2);
    EXPECT_EQ(resets.count(), 0);
    EXPECT_EQ(model.ActiveRow(), 2);
}

TEST(WorkOrderListModelTest, ANewWorkOrderShows)
{
    WorkOrderListModel model;
    model.Show({{"A", Noon(), false}});
    model.Show({{"A", Noon(), false}, {"B", Noon(), false}});
    EXPECT_EQ(model.rowCount(), 2);
}

TEST(FileListModelTest, ARowTellsSizeTimeAndState)
{
    FileListModel model;
    model.Show({{"a/b.txt", 12345678, Noon(), false}, {"c.txt", 38, Noon(), true}});
    ASSERT_EQ(model.rowCount(), 2);
    EXPECT_EQ(Row(model, 0).at(FileListModel::Name), QStringLiteral("a/b.txt"));
    EXPECT_EQ(Row(model, 0).at(FileListModel::Size), QStringLiteral("11.77 MiB"));
    EXPECT_EQ(Row(model, 0).at(FileListModel::State), QStringLiteral("pending"));
    EXPECT_EQ(Row(model, 1).at(FileListModel::State), QStringLiteral("confirmed"));
}

TEST(FileListModelTest, AConfirmationChangesOneRow)
{
    FileListModel model;
    model.Show({{"a", 1, Noon(), false}, {"b", 1, Noon(), false}});
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    model.Show({{"a", 1, Noon(), false}, {"b", 1, Noon(), true}});
    ASSERT_EQ(changes.count(), 1);
    EXPECT_EQ(changes.first().first().toModelIndex().row(), 1);
}

TEST(FileListModelTest, ADeletedFileIsGone)
{
    FileListModel model;
    model.Show({{"a", 1, Noon(), false}, {"b", 1, Noon(), false}});
    model.Show({{"b", 1, Noon(), false}});
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(Row(model, 0).first(), QStringLiteral("b"));
}

class TransferListModelTest : public testing::Test
{
protected:
    static TransferProgress Upload(quint64 id, qint64 moved, qint64 total)
    {
        TransferProgress progress;
        progress.id = id;
        progress.client = "127.0.0.1:" + QByteArray::number(id);
        progress.upload = true;
        progress.moved = moved;
        progress.total = total;
        return progress;
    }

    int Percent(int row) const
    {
        return model.index(row, TransferListModel::Progress)
            .data(TransferListModel::percentRole)
            .toInt();
    }

    TransferListModel model;
};

TEST_F(TransferListModelTest, AnUploadShowsHowFarAndHowFastItMoves)
{
    model.Moved(Upload(1, 0, 4 * 1024 * 1024), 0);
    EXPECT_EQ(Row(model, 0), (QStringList{"Upload from 127.0.0.1:1", "0 bytes of 4.00 MiB", ""}));
    model.Moved(Upload(1, 1024 * 1024, 4 * 1024 * 1024), 500);
    EXPECT_EQ(Row(model, 0),
              (QStringList{"Upload from 127.0.0.1:1", "1.00 MiB of 4.00 MiB", "2.00 MiB/s"}));
    EXPECT_EQ(Percent(0), 25);
}

TEST_F(TransferListModelTest, ADownloadIsNamedOne)
{
    TransferProgress progress = Upload(1, 0, 10);
    progress.upload = false;
    model.Moved(progress, 0);
    EXPECT_EQ(Row(model, 0).first(), QStringLiteral("Download to 127.0.0.1:1"));
}

TEST_F(TransferListModelTest, WhereTheWholeIsNotKnownThereIsNoPart)
{
    model.Moved(Upload(1, 1024, -1), 0);
    EXPECT_EQ(Percent(0), -1);
    EXPECT_EQ(Row(model, 0).at(TransferListModel::Progress), QStringLiteral("1.00 KiB"));
}

TEST_F(TransferListModelTest, AnEmptyTransferIsWhole)
{
    model.Moved(Upload(1, 0, 0), 0);
    EXPECT_EQ(Percent(0), 100);
}

TEST_F(TransferListModelTest, TwoNotesOfOneMomentGiveNoRate)
{
    model.Moved(Upload(1, 0, 10), 7);
    model.Moved(Upload(1, 10, 10), 7);
    EXPECT_EQ(Row(model, 0).at(TransferListModel::Rate), QString());
}

TEST_F(TransferListModelTest, ATransferGoesWithItsRequest)
{
    model.Moved(Upload(1, 0, 10), 0);
    model.Moved(Upload(2, 0, 10), 0);
    RequestRecord request;
    request.client = "127.0.0.1:1";
    model.Ended(request);
    ASSERT_EQ(model.rowCount(), 1);
    EXPECT_EQ(Row(model, 0).first(), QStringLiteral("Upload from 127.0.0.1:2"));
}

} // namespace
