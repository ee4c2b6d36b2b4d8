#ifndef CHECKCOMMAND_H
#define CHECKCOMMAND_H

#include <string>
#include <vector>

#include "checkreport.h"
#include "command.h"

/** Whether a device keeps the interface: one assertion for each of its promises. */
class CheckCommand : public Command
{
public:
    CheckCommand();
    void AddArguments(CLI::App &parser) override;
    ExitStatus Run(DeviceConnection &connection, const Output &output) override;

private:
    void PrintResult(const Output &output, const CheckResult &result) const;
    void WriteFiles(const CheckResult &result) const;

    bool write = false;
    bool load = false;
    std::string folder;
    std::vector<std::string> only;
    std::string htmlFile;
    std::string junitFile;
};

#endif
