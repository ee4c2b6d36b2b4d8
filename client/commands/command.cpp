#include "command.h"

Command::Command(const char *commandName, const char *commandDescription)
    : name(commandName)
    , description(commandDescription)
{}

Command::~Command() = default;

const char *Command::Name() const
{
    return name;
}

const char *Command::Description() const
{
    return description;
}

Command::Argument Command::ArgumentKind() const
{
    return Argument::Other;
}

void Command::AddArguments(CLI::App & /*parser*/) {}
