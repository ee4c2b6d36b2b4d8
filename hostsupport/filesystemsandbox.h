#ifndef FILESYSTEMSANDBOX_H
#define FILESYSTEMSANDBOX_H

#include <string>
#include <vector>

/**
 * Confines the calling process, or single threads of it, to a few directories, by Landlock of the
 * Linux kernel. This file and its source need nothing else of this project and can be copied into a
 * device application.
 *
 * Usual place for the process, before the program starts any thread:
 *
 *     const FileSystemSandbox::Rules rules = {{"/var/lib/device"}, {"/usr", "/lib", "/etc"}};
 *     const FileSystemSandbox::Result result = FileSystemSandbox::Confine(rules);
 *     if (result.outcome != FileSystemSandbox::Outcome::Confined) {
 *         std::cerr << result.reason << '\n';
 *     }
 *
 * Uploads need less than the rest of an application. With prompt serving they are written by the
 * HTTP threads, which can have a domain of their own, so that no upload reaches the application's
 * own database:
 *
 *     const FileSystemSandbox::Domain uploads(
 *         {{"/media/card"}, FileSystemSandbox::TimeZoneFiles(), false});
 *     RestServerOptions options = RestServerOptions::Prompt();
 *     options.prepareWorker = [&uploads] {
 *         return uploads.Enter().outcome == FileSystemSandbox::Outcome::Confined;
 *     };
 *
 * A rule is bound to the folder that is there when it is made. Storage that is mounted later hides
 * that folder, and the rule with it. So name the folder that holds the mount point: with user files
 * on "/media/card/files" that is "/media/card". All that lies below it can be written, then.
 *
 * What runs on a confined thread is confined with it: also the application's message handler, which
 * is called on the thread that has something to say. Let it write to what is open already.
 *
 * What holds from then on, also for child processes and for the superuser, and cannot be taken
 * back: opening, creating, renaming, linking and removing files fails with EACCES or EXDEV wherever
 * no rule allows it, by whatever path, ".." or symbolic link the file is reached.
 *
 * What does not hold: files that are already open stay usable, pipes and sockets also by their
 * names in /proc; threads that already run are not confined; names and attributes of files can
 * still be looked up; kernels before 6.2 do not restrict truncating by path; network, processes
 * and memory are not restricted.
 */
namespace FileSystemSandbox {

/** Where access stays allowed, below each entry. An entry may also be a single file. */
struct Rules
{
    std::vector<std::string> writable; ///< read, write, create, remove; each must exist
    std::vector<std::string> readable; ///< read only; an entry that does not exist is passed over

    /// Writable files are moved and linked from folder to folder. The first version of Landlock
    /// (kernels 5.13 to 5.18) forbids that everywhere and counts as no support, then.
    bool movesBetweenFolders = true;
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

/**
 * What a thread reads that asks for the local time. The time zone belongs to the whole process, and
 * the thread that asks first finds it: where that thread may not read these, it is UTC for all.
 */
std::vector<std::string> TimeZoneFiles();

/** The version of the kernel's interface, 0 where there is none. */
int KernelVersion();

/** Confines the calling thread and all threads that it starts later. */
Result Confine(const Rules &rules);

/** The same, for a kernel of the given version: 0 shows what a kernel without support answers. */
Result Confine(const Rules &rules, int kernelVersion);

/**
 * Rules that are made once, and taken over by as many threads as want to, each for itself.
 *
 * Made before the threads that enter it. A thread that has a domain already keeps it: allowed is
 * what both allow. May be entered by several threads at once; copies nothing, owns a descriptor.
 */
class Domain
{
public:
    /** Makes the rules; `Made` tells whether that worked. */
    explicit Domain(const Rules &rules);

    /** The same, for a kernel of the given version. */
    Domain(const Rules &rules, int kernelVersion);
    Domain(const Domain &) = delete;
    Domain &operator=(const Domain &) = delete;
    ~Domain();

    /** Whether the rules could be made; `Confined` says that threads can enter. */
    const Result &Made() const { return made; }

    /** Confines the calling thread and all that it starts later. Without rules answers `Made`. */
    Result Enter() const;

private:
    void Make(const Rules &rules, int kernelVersion);

    Result made;
    int ruleset = -1;
};

} // namespace FileSystemSandbox

#endif
