#include "instrumenttext.h"

#include <QLocale>

namespace {

constexpr int jobViewMode = 2; // the one in which requests change what is on the display
constexpr int lateFrame = 50;
constexpr int heldDisplay = 250;
constexpr int whole = 100;

QString At(const QString &text, const QDateTime &time)
{
    return text.arg(time.toString(QStringLiteral("HH:mm:ss")));
}

} // namespace

QString InstrumentText::Mode(const InstrumentState &state)
{
    return state.mode == jobViewMode ? tr("%1, shows the job").arg(state.mode)
                                     : QString::number(state.mode);
}

QString InstrumentText::Technician(const InstrumentState &state)
{
    return state.technician.isEmpty() ? tr("none") : state.technician;
}

QString InstrumentText::ActiveWorkOrder(const InstrumentState &state)
{
    return state.activeWorkOrder.isEmpty() ? tr("none") : state.activeWorkOrder;
}

QString InstrumentText::Storage(const InstrumentState &state)
{
    if (!state.isStorageThere) {
        return tr("away");
    }
    return tr("%1 free").arg(QLocale().formattedDataSize(state.freeBytes, 1));
}

QString InstrumentText::StorageSize(const InstrumentState &state)
{
    return tr("The storage holds %1.").arg(QLocale().formattedDataSize(state.totalBytes, 1));
}

int InstrumentText::FreePercent(const InstrumentState &state)
{
    if (!state.isStorageThere || state.totalBytes <= 0) {
        return 0;
    }
    return static_cast<int>(static_cast<double>(state.freeBytes) * whole /
                            static_cast<double>(state.totalBytes));
}

QString InstrumentText::JobPanel(const DisplayEvents &display)
{
    if (!display.jobPanelTime.isValid()) {
        return tr("closed");
    }
    return At(display.isJobPanelOpen ? tr("open since %1") : tr("closed since %1"),
              display.jobPanelTime);
}

QString InstrumentText::JobView(const DisplayEvents &display)
{
    return display.resetTime.isValid() ? At(tr("reset at %1"), display.resetTime)
                                       : tr("as at the start");
}

QString InstrumentText::Command(const DisplayEvents &display)
{
    return display.commandTime.isValid()
               ? At(tr("%1 at %2").arg(display.command), display.commandTime)
               : tr("none");
}

QString InstrumentText::LongestTurn(int milliseconds)
{
    return tr("%1 ms").arg(QLocale().toString(milliseconds));
}

InstrumentText::Turn InstrumentText::TurnOf(int milliseconds)
{
    if (milliseconds < lateFrame) {
        return Turn::Smooth;
    }
    return milliseconds < heldDisplay ? Turn::Late : Turn::Held;
}
