#ifndef FILESREMOVECOMMAND_H
#define FILESREMOVECOMMAND_H

#include <string>

#include "command.h"

/** Deletes one file and looks that it is gone. */
class FilesRemoveCommand : public Command
{
public:
    FilesRemoveCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
};

#endif // FILESREMOVECOMMAND_H
