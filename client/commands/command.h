#ifndef COMMAND_H
#define COMMAND_H

#include <string>

#include "clienterror.h"
#include "deviceconnection.h"
#include "output.h"

namespace CLI {
class App;
}

/**
 * One command of the program. It describes its arguments once and is then run at most once. A
 * command throws `ClientError` when it cannot go on, and returns a status other than `Done` when it
 * did part of its work and has said which part it did not.
 */
class Command
{
public:
    /** What the positional arguments are: the completion offers what there is of it. */
    enum class Argument
    {
        Other,
        LocalFile,
        LocalFolder,
        DeviceFile,
        WorkOrder
    };

    /** Both texts must live as long as the command. */
    Command(const char *commandName, const char *commandDescription);
    virtual ~Command();
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    const char *Name() const;
    const char *Description() const;

    virtual Argument ArgumentKind() const;

    /** Adds the arguments to the parser, which fills members of the command. */
    virtual void AddArguments(CLI::App &parser);

    virtual ExitStatus Run(DeviceConnection &connection, const Output &output) = 0;

private:
    const char *const name;
    const char *const description;
};

#endif // COMMAND_H
