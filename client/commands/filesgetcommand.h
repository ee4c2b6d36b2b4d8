#ifndef FILESGETCOMMAND_H
#define FILESGETCOMMAND_H

#include <string>

#include "command.h"

/** Fetches one file and verifies it. */
class FilesGetCommand : public Command
{
public:
    FilesGetCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    std::string path;
    std::string outputFile;
};

#endif // FILESGETCOMMAND_H
