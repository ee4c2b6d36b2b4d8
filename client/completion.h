#ifndef COMPLETION_H
#define COMPLETION_H

#include <QStringList>
#include <functional>
#include <string>
#include <vector>

#include "command.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

/**
 * What may follow on a command line: the scripts for the shells ask the program. Commands and
 * options come from the parser itself, so that they are never out of date.
 */
class Completion
{
public:
    /** Lists what the device has of this kind; nothing when it cannot be asked. */
    using Ask = std::function<QStringList(Command::Argument kind, const QString &beginning)>;

    /** What a positional argument of a command is, by the parser of that command. */
    using KindOf = std::function<Command::Argument(const CLI::App *command)>;

    Completion(const CLI::App &wholeParser, KindOf kindOfCommand, Ask askDevice);

    /**
     * The candidates for the last of the words, which may be empty; or one of ":files" and
     * ":folders", which the shell knows better.
     */
    QStringList Offer(const std::vector<std::string> &words) const;

private:
    const CLI::Option *OptionNamed(const CLI::App *level, const std::string &name) const;
    QStringList Options(const CLI::App *level) const;

    const CLI::App &parser;
    KindOf kindOf;
    Ask ask;
};

#endif // COMPLETION_H
