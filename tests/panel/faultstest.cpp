#include <QSignalSpy>
#include <gtest/gtest.h>

#include "faultlistmodel.h"
#include "faultmarks.h"

namespace {

class SilentReporter : public IErrorReporter
{
public:
    void ReportError(QString, const char *, int) override {}
};

class FaultListModelTest : public testing::Test
{
protected:
    QModelIndex Index(const QString &name, int column) const
    {
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex found = model.index(row, FaultListModel::Switch);
            if (found.data().toString() == name) {
                return found.siblingAtColumn(column);
            }
        }
        return QModelIndex();
    }

    bool IsOn(const QString &name) const
    {
        return Index(name, FaultListModel::Switch).data(Qt::CheckStateRole).toInt() == Qt::Checked;
    }

    bool Switch(const QString &name, bool on)
    {
        return model.setData(Index(name, FaultListModel::Switch), on ? Qt::Checked : Qt::Unchecked,
                             Qt::CheckStateRole);
    }

    bool SetValue(const QString &name, const QString &value)
    {
        return model.setData(Index(name, FaultListModel::Value), value);
    }

    SilentReporter reporter;
    FaultPlan plan{{{FaultKind::NoSpace}, {FaultKind::SlowCall, 30}}, QString(), reporter};
    FaultListModel model{plan};
};

TEST_F(FaultListModelTest, HasEveryFaultWithWhereItStrikes)
{
    ASSERT_EQ(model.rowCount(), Fault::All().size());
    for (const FaultDescription &fault : Fault::All()) {
        EXPECT_EQ(Index(fault.name, FaultListModel::Place).data().toString(), fault.place);
    }
}

TEST_F(FaultListModelTest, ShowsWhatTheCommandLineHasSet)
{
    EXPECT_TRUE(IsOn("no-space"));
    EXPECT_TRUE(IsOn("slow-call"));
    EXPECT_EQ(Index("slow-call", FaultListModel::Value).data().toString(), QStringLiteral("30 ms"));
    EXPECT_FALSE(IsOn("store-fails"));
}

TEST_F(FaultListModelTest, ASwitchWorksAtOnceBothWays)
{
    EXPECT_TRUE(Switch("store-fails", true));
    EXPECT_TRUE(plan.Value(FaultKind::StoreFails).has_value());
    EXPECT_TRUE(IsOn("store-fails"));
    EXPECT_TRUE(Switch("store-fails", false));
    EXPECT_FALSE(plan.Value(FaultKind::StoreFails).has_value());
    EXPECT_FALSE(IsOn("store-fails"));
}

TEST_F(FaultListModelTest, AValueOfAFaultThatIsOnWorksAtOnce)
{
    EXPECT_TRUE(SetValue("slow-call", " 70 "));
    EXPECT_EQ(plan.Value(FaultKind::SlowCall), 70);
    EXPECT_EQ(Index("slow-call", FaultListModel::Value).data(Qt::EditRole).toString(),
              QStringLiteral("70"));
}

TEST_F(FaultListModelTest, AValueOfAFaultThatIsOffWaitsForItsSwitch)
{
    EXPECT_TRUE(SetValue("read-fails", "5"));
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), std::nullopt);
    EXPECT_TRUE(Switch("read-fails", true));
    EXPECT_EQ(plan.Value(FaultKind::ReadFails), 5);
}

TEST_F(FaultListModelTest, AValueThatIsNoneIsRefusedAndChangesNothing)
{
    QSignalSpy refusals(&model, &FaultListModel::Refused);
    EXPECT_FALSE(SetValue("slow-call", "soon"));
    ASSERT_EQ(refusals.count(), 1);
    EXPECT_TRUE(refusals.first().first().toString().endsWith("not \"slow-call=soon\""));
    EXPECT_EQ(plan.Value(FaultKind::SlowCall), 30);
    EXPECT_EQ(Index("slow-call", FaultListModel::Value).data().toString(), QStringLiteral("30 ms"));
}

TEST_F(FaultListModelTest, EveryFaultCanBeSwitchedOnAsItIs)
{
    for (const FaultDescription &fault : Fault::All()) {
        EXPECT_TRUE(Switch(fault.name, true)) << fault.name.toStdString();
        EXPECT_TRUE(IsOn(fault.name)) << fault.name.toStdString();
    }
}

TEST_F(FaultListModelTest, AFaultOfTheCommandLineThatOnlyCountsHasAValueThatCanBeUsed)
{
    FaultPlan counting{{{FaultKind::Busy, 0, 3}}, QString(), reporter};
    FaultListModel counted{counting};
    for (int row = 0; row < counted.rowCount(); ++row) {
        EXPECT_TRUE(counted.setData(counted.index(row, FaultListModel::Switch), Qt::Checked,
                                    Qt::CheckStateRole))
            << row;
    }
}

TEST_F(FaultListModelTest, AFaultThatIsUsedUpIsShownAsOff)
{
    EXPECT_TRUE(SetValue("slow-call", "0*1"));
    plan.DelayCall();
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    model.Refresh();
    EXPECT_FALSE(IsOn("slow-call"));
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(FaultListModelTest, OnlyValuesAreEditedAndOnlySwitchesChecked)
{
    EXPECT_TRUE(model.flags(Index("slow-call", FaultListModel::Switch)) & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(model.flags(Index("slow-call", FaultListModel::Value)) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.flags(Index("no-space", FaultListModel::Value)) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.flags(Index("slow-call", FaultListModel::Place)) & Qt::ItemIsEditable);
}

class FaultMarksTest : public testing::Test
{
protected:
    FaultPlan::Bite BiteAt(FaultKind kind, qint64 milliseconds) const
    {
        return {kind, begin.addMSecs(milliseconds)};
    }

    JournalEntry EntryFrom(qint64 milliseconds, qint64 duration, int status) const
    {
        RequestRecord record;
        record.time = begin.addMSecs(milliseconds);
        record.microseconds = duration * 1000;
        record.status = status;
        return {record, QString()};
    }

    const QDateTime begin{QDate(2026, 1, 31), QTime(10, 15), Qt::UTC};
    FaultMarks marks;
};

TEST_F(FaultMarksTest, ABiteGoesToTheRequestThatItStruckAndToNoOther)
{
    marks.Add({BiteAt(FaultKind::NoSpace, 50)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 500)), QStringLiteral("no-space"));
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 500)), QString());
}

TEST_F(FaultMarksTest, ARequestBeforeOrAfterIsNotStruck)
{
    marks.Add({BiteAt(FaultKind::NoSpace, 50)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 30, 500)), QString());
    EXPECT_EQ(marks.Take(EntryFrom(70, 30, 500)), QString());
}

TEST_F(FaultMarksTest, AFaultThatFailsRequestsStrikesNoneThatSucceeded)
{
    marks.Add({BiteAt(FaultKind::NoSpace, 50)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 200)), QString());
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 500)), QStringLiteral("no-space"));
}

TEST_F(FaultMarksTest, ASlowCallStrikesARequestThatSucceeds)
{
    marks.Add({BiteAt(FaultKind::SlowCall, 50), BiteAt(FaultKind::SlowCall, 60)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 200)), QStringLiteral("slow-call"));
}

TEST_F(FaultMarksTest, ASlowLineStrikesARequestThatSucceeds)
{
    marks.Add({BiteAt(FaultKind::Throttle, 50)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 200)), QStringLiteral("throttle"));
}

TEST_F(FaultMarksTest, SeveralFaultsAreAllNamed)
{
    marks.Add({BiteAt(FaultKind::SlowCall, 10), BiteAt(FaultKind::StorageAway, 60)});
    EXPECT_EQ(marks.Take(EntryFrom(0, 100, 500)), QStringLiteral("slow-call, storage-away"));
}

} // namespace
