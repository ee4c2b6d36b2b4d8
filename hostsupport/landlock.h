#ifndef LANDLOCK_H
#define LANDLOCK_H

#include <cstdint>
#include <unistd.h>

/**
 * The part of the kernel's Landlock that the sandbox uses. Its headers came with Linux 5.13 and
 * grew later; a program that is built with older ones still uses what the kernel has that it runs
 * on.
 */
namespace Landlock {

enum Access : std::uint64_t
{
    Execute = 1U << 0U,
    WriteFile = 1U << 1U,
    ReadFile = 1U << 2U,
    ReadDirectory = 1U << 3U,
    RemoveDirectory = 1U << 4U,
    RemoveFile = 1U << 5U,
    MakeDirectory = 1U << 7U,
    MakeFile = 1U << 8U,
    MakeLink = 1U << 12U,
    Refer = 1U << 13U,         // version 2: moving between folders
    Truncate = 1U << 14U,      // version 3
    DeviceControl = 1U << 15U, // version 5
};

struct RulesetAttributes
{
    std::uint64_t handledAccess = 0;
};

struct PathRule
{
    std::uint64_t allowedAccess = 0;
    std::int32_t parent = -1; // descriptor of the folder or file
} __attribute__((packed));

// Calls of the kernel that have the same number on every processor.
constexpr long createRuleset = 444;
constexpr long addRule = 445;
constexpr long restrictSelf = 446;

/** Version of the kernel's interface, or an error. */
inline long Version()
{
    constexpr unsigned askForVersion = 1;
    return syscall(createRuleset, nullptr, 0, askForVersion);
}

/** Descriptor of a new ruleset, or an error. */
inline int CreateRuleset(const RulesetAttributes &attributes)
{
    return static_cast<int>(syscall(createRuleset, &attributes, sizeof attributes, 0));
}

inline long AddRule(int ruleset, const PathRule &rule)
{
    constexpr int pathBeneath = 1;
    return syscall(addRule, ruleset, pathBeneath, &rule, 0);
}

inline long RestrictSelf(int ruleset)
{
    return syscall(restrictSelf, ruleset, 0);
}

} // namespace Landlock

#endif
