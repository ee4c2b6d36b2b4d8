#ifndef FILESCONFIRMCOMMAND_H
#define FILESCONFIRMCOMMAND_H

#include <string>

#include "command.h"

/** Marks one file as synchronised. */
class FilesConfirmCommand : public Command
{
public:
    FilesConfirmCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

#endif // FILESCONFIRMCOMMAND_H
