#ifndef VIEWCOMMAND_H
#define VIEWCOMMAND_H

#include <cstdio>

#include "hostmodel.h"

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
