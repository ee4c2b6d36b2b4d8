#include <gtest/gtest.h>

#include "printedlines.h"
#include "viewmodels.h"

namespace {

TEST(ModeModelTest, HasTheModeItWasGiven)
{
    for (int mode : {-1, 0, 2, 7}) {
        EXPECT_EQ(ModeModel(mode).CurrentMode(), mode);
    }
}

TEST(JobPanelModelTest, PrintsEachTimeItIsOpenedOrClosed)
{
    PrintedLines lines;
    JobPanelModel panel(lines.Stream());
    panel.SetJobPanelOpen(false);
    panel.SetJobPanelOpen(true);
    panel.SetJobPanelOpen(true);
    EXPECT_EQ(lines.Text(),
              "view: job panel closed\nview: job panel opened\nview: job panel opened\n");
}

TEST(ViewCommandTest, PrintsItsIdEachTimeItRuns)
{
    PrintedLines lines;
    ViewCommand command(40, lines.Stream());
    command.Execute();
    ViewCommand(7, lines.Stream()).Execute();
    EXPECT_EQ(lines.Text(), "view: command 40 executed\nview: command 7 executed\n");
}

} // namespace
