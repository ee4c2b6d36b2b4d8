#ifndef VIEWMODELS_H
#define VIEWMODELS_H

#include <cstdio>

#include "hostmodel.h"

/** The operating mode, the same for a whole run. */
class ModeModel : public IModeModel
{
public:
    explicit ModeModel(int mode);

    int CurrentMode() override;

private:
    int currentMode;
};

/** A job panel that can be seen in the terminal: it prints a line whenever it is opened or closed.
 */
class JobPanelModel : public IJobPanelModel
{
public:
    /** Prints to `output`, which outlives this object. */
    explicit JobPanelModel(std::FILE *output);

    /** Prints "view: job panel opened" or "view: job panel closed", also when it already was. */
    void SetJobPanelOpen(bool open) override;

private:
    std::FILE *stream;
};

/** A command of the view that can be seen in the terminal. */
class ViewCommand : public ICommand
{
public:
    /** Prints to `output`, which outlives this object. */
    ViewCommand(int commandId, std::FILE *output);

    /** Prints "view: command 40 executed" for the command 40. */
    void Execute() override;

private:
    int id;
    std::FILE *stream;
};

#endif
