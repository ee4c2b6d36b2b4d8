#ifndef FILESYSTEMSANDBOX_H
#define FILESYSTEMSANDBOX_H

#include <string>
#include <vector>

/**
 * Confines the calling process to a few directories, by Landlock of the Linux kernel. This file and
 * its source need nothing else of this project and can be copied into a device application.
 *
 * Usual place, before the program starts any thread:
 *
 *     const FileSystemSandbox::Rules rules = {{"/var/lib/device"}, {"/usr", "/lib", "/etc"}};
 *     const FileSystemSandbox::Result result = FileSystemSandbox::Confine(rules);
 *     if (result.outcome != FileSystemSandbox::Outcome::Confined) {
 *         std::cerr << result.reason << '\n';
 *     }
 *
 * What holds from then on, also for child processes and for the superuser, and cannot be taken
 * back: opening, creating, renaming, linking and removing files fails with EACCES or EXDEV wherever
 * no rule allows it, by whatever path, ".." or symbolic link the file is reached.
 *
 * What does not hold: files that are already open stay usable; threads that already run are not
 * confined; names and attributes of files can still be looked up; kernels before 6.2 do not
 * restrict truncating by path; network, processes and memory are not restricted.
 */
namespace FileSystemSandbox {

/** Where access stays allowed, below each entry. An entry may also be a single file. */
struct Rules
{
    std::vector<std::string> writable; ///< read, write, create, remove; each must exist
    std::vector<std::string> readable; ///< read only; an entry that does not exist is passed over
};

/** What became of an attempt to confine. */
enum class Outcome
{
    Confined,     ///< the rules are in force, for good
    NotSupported, ///< the kernel has no Landlock, or it is switched off; nothing is restricted
    Failed        ///< a rule could not be made; nothing is restricted
};

/** The outcome, and why it is not the one that was wanted. */
struct Result
{
    Outcome outcome;    ///< whether the rules are in force
    std::string reason; ///< one line without a line end; empty when confined
};

/** The version of the kernel's interface, 0 where there is none. */
int KernelVersion();

/** Confines the calling thread and all threads that it starts later. */
Result Confine(const Rules &rules);

/** The same, for a kernel of the given version: 0 shows what a kernel without support answers. */
Result Confine(const Rules &rules, int kernelVersion);

} // namespace FileSystemSandbox

#endif
