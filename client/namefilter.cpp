#include "namefilter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fnmatch.h>

namespace {

bool AnyMatches(const std::vector<std::string> &patterns, const QString &path)
{
    return std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
        return NameFilter::Matches(pattern, path);
    });
}

} // namespace

void NameFilter::AddOptions(CLI::App &parser)
{
    parser.add_option("--include", included, "Only files that match this pattern")
        ->type_name("PATTERN")
        ->take_all()
        ->expected(1);
    parser.add_option("--exclude", excluded, "No files that match this pattern")
        ->type_name("PATTERN")
        ->take_all()
        ->expected(1);
}

bool NameFilter::Takes(const QString &relativePath) const
{
    return (included.empty() || AnyMatches(included, relativePath)) &&
           !AnyMatches(excluded, relativePath);
}

bool NameFilter::IsPattern(const QString &text)
{
    return text.contains('*') || text.contains('?');
}

bool NameFilter::Matches(const std::string &pattern, const QString &path)
{
    const bool whole = pattern.find('/') != std::string::npos;
    const QString subject = whole ? path : path.section('/', -1);
    return fnmatch(pattern.c_str(), subject.toUtf8().constData(), 0) == 0;
}
