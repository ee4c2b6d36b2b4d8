#include "completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace {

bool TakesValue(const CLI::Option *option)
{
    return option != nullptr && option->get_items_expected_min() > 0;
}

std::vector<const CLI::App *> CommandsOf(const CLI::App *level)
{
    return level->get_subcommands([](const CLI::App *) { return true; });
}

const CLI::App *CommandNamed(const CLI::App *level, const std::string &name)
{
    for (const CLI::App *command : CommandsOf(level)) {
        if (command->get_name() == name) {
            return command;
        }
    }
    return nullptr;
}

QStringList BeginningWith(const QString &beginning, const QStringList &candidates)
{
    QStringList fitting;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(fitting),
                 [&](const QString &candidate) { return candidate.startsWith(beginning); });
    return fitting;
}

QStringList Names(const std::vector<const CLI::App *> &commands)
{
    QStringList names;
    for (const CLI::App *command : commands) {
        names.append(QString::fromStdString(command->get_name()));
    }
    return names;
}

QStringList ValuesOf(const CLI::Option *option)
{
    return option->get_type_name() == "FILE" ? QStringList(":files") : QStringList();
}

} // namespace

Completion::Completion(const CLI::App &wholeParser, KindOf kindOfCommand, Ask askDevice)
    : parser(wholeParser)
    , kindOf(std::move(kindOfCommand))
    , ask(std::move(askDevice))
{}

QStringList Completion::Offer(const std::vector<std::string> &words) const
{
    const CLI::App *level = &parser;
    const CLI::Option *open = nullptr;
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        const CLI::Option *option = open == nullptr ? OptionNamed(level, words[i]) : nullptr;
        if (open == nullptr && option == nullptr) {
            const CLI::App *command = CommandNamed(level, words[i]);
            level = command != nullptr ? command : level;
        }
        open = TakesValue(option) ? option : nullptr;
    }
    const std::string last = words.empty() ? std::string() : words.back();
    const QString beginning = QString::fromStdString(last);
    if (open != nullptr) {
        return ValuesOf(open);
    }
    if (!last.empty() && last.front() == '-') {
        return BeginningWith(beginning, Options(level));
    }
    const std::vector<const CLI::App *> commands = CommandsOf(level);
    if (!commands.empty()) {
        return BeginningWith(beginning, Names(commands));
    }
    switch (const Command::Argument kind = kindOf(level)) {
    case Command::Argument::LocalFile:
        return {":files"};
    case Command::Argument::LocalFolder:
        return {":folders"};
    case Command::Argument::Other:
        return {};
    default:
        return BeginningWith(beginning, ask(kind, beginning));
    }
}

const CLI::Option *Completion::OptionNamed(const CLI::App *level, const std::string &name) const
{
    if (name.empty() || name.front() != '-') {
        return nullptr;
    }
    const CLI::Option *own = level->get_option_no_throw(name);
    return own != nullptr ? own : parser.get_option_no_throw(name);
}

QStringList Completion::Options(const CLI::App *level) const
{
    QStringList names;
    for (const CLI::App *app : {level, &parser}) {
        for (const CLI::Option *option : app->get_options()) {
            for (const std::string &name : option->get_lnames()) {
                names.append("--" + QString::fromStdString(name));
            }
            for (const std::string &name : option->get_snames()) {
                names.append('-' + QString::fromStdString(name));
            }
        }
    }
    names.removeDuplicates();
    return names;
}
