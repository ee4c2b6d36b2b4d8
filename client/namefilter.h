#ifndef NAMEFILTER_H
#define NAMEFILTER_H

#include <QString>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/**
 * Shell patterns that choose files. A pattern with a slash is compared with the whole path below
 * the folder in question, any other with the name alone; "*" stands for slashes too.
 */
class NameFilter
{
public:
    /** Adds --include and --exclude, both as often as wanted. */
    void AddOptions(CLI::App &parser);

    /** Included, or nothing is, and not excluded. */
    bool Takes(const QString &relativePath) const;

    /** True for a text that is more than a name. */
    static bool IsPattern(const QString &text);
    static bool Matches(const std::string &pattern, const QString &path);

private:
    std::vector<std::string> included;
    std::vector<std::string> excluded;
};

#endif // NAMEFILTER_H
