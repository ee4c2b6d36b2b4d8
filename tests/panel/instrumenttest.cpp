#include <gtest/gtest.h>

#include "instrumenttext.h"

namespace {

constexpr qint64 gibibyte = qint64(1024) * 1024 * 1024;

DisplayEvents Events()
{
    DisplayEvents display;
    display.jobPanelTime = QDateTime(QDate(2026, 1, 31), QTime(10, 15, 30), Qt::LocalTime);
    display.resetTime = display.jobPanelTime.addSecs(1);
    display.commandTime = display.jobPanelTime.addSecs(2);
    display.command = 40;
    return display;
}

TEST(InstrumentTextTest, OfTheModesTheOneThatShowsTheJobSaysSo)
{
    InstrumentState state;
    EXPECT_EQ(InstrumentText::Mode(state), QStringLiteral("0"));
    state.mode = 2;
    EXPECT_EQ(InstrumentText::Mode(state), QStringLiteral("2, shows the job"));
}

TEST(InstrumentTextTest, NobodyAndNothingAreNamed)
{
    EXPECT_EQ(InstrumentText::Technician(InstrumentState()), QStringLiteral("none"));
    EXPECT_EQ(InstrumentText::ActiveWorkOrder(InstrumentState()), QStringLiteral("none"));
}

TEST(InstrumentTextTest, TheStorageShowsWhatIsFree)
{
    InstrumentState state;
    state.isStorageThere = true;
    state.freeBytes = 3 * gibibyte;
    state.totalBytes = 4 * gibibyte;
    EXPECT_EQ(InstrumentText::Storage(state), QStringLiteral("3.0 GiB free"));
    EXPECT_EQ(InstrumentText::StorageSize(state), QStringLiteral("The storage holds 4.0 GiB."));
    EXPECT_EQ(InstrumentText::FreePercent(state), 75);
}

TEST(InstrumentTextTest, AStorageThatIsAwayHasNothingFree)
{
    InstrumentState state;
    state.freeBytes = 3 * gibibyte;
    state.totalBytes = 4 * gibibyte;
    EXPECT_EQ(InstrumentText::Storage(state), QStringLiteral("away"));
    EXPECT_EQ(InstrumentText::FreePercent(state), 0);
}

TEST(InstrumentTextTest, AStorageThatCannotBeAskedHasNothingFree)
{
    InstrumentState state;
    state.isStorageThere = true;
    EXPECT_EQ(InstrumentText::FreePercent(state), 0);
}

TEST(InstrumentTextTest, WhatTheDisplayDidIsToldWithItsTime)
{
    DisplayEvents display = Events();
    EXPECT_EQ(InstrumentText::JobPanel(display), QStringLiteral("closed since 10:15:30"));
    display.isJobPanelOpen = true;
    EXPECT_EQ(InstrumentText::JobPanel(display), QStringLiteral("open since 10:15:30"));
    EXPECT_EQ(InstrumentText::JobView(display), QStringLiteral("reset at 10:15:31"));
    EXPECT_EQ(InstrumentText::Command(display), QStringLiteral("40 at 10:15:32"));
}

TEST(InstrumentTextTest, ADisplayThatDidNothingIsAsItBegan)
{
    EXPECT_EQ(InstrumentText::JobPanel(DisplayEvents()), QStringLiteral("closed"));
    EXPECT_EQ(InstrumentText::JobView(DisplayEvents()), QStringLiteral("as at the start"));
    EXPECT_EQ(InstrumentText::Command(DisplayEvents()), QStringLiteral("none"));
}

TEST(InstrumentTextTest, ALongTurnIsOneThatPeopleSee)
{
    EXPECT_EQ(InstrumentText::TurnOf(0), InstrumentText::Turn::Smooth);
    EXPECT_EQ(InstrumentText::TurnOf(49), InstrumentText::Turn::Smooth);
    EXPECT_EQ(InstrumentText::TurnOf(50), InstrumentText::Turn::Late);
    EXPECT_EQ(InstrumentText::TurnOf(249), InstrumentText::Turn::Late);
    EXPECT_EQ(InstrumentText::TurnOf(250), InstrumentText::Turn::Held);
}

} // namespace
