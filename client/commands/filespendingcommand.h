#ifndef FILESPENDINGCOMMAND_H
#define FILESPENDINGCOMMAND_H

#include "command.h"

/** Lists the files that wait for synchronisation. */
class FilesPendingCommand : public Command
{
public:
    FilesPendingCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    bool all = false;
};

#endif // FILESPENDINGCOMMAND_H
