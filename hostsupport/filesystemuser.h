#ifndef FILESYSTEMUSER_H
#define FILESYSTEMUSER_H

#include <sys/types.h>
#include <vector>

/**
 * Another user, as whom the calling thread opens, makes and removes files for a while. This file
 * and its source need nothing else of this project.
 *
 * For a host that serves classically: there uploads are written by the thread that also needs the
 * application's own data, so no sandbox can keep them apart. Between `BeginStorageAccess` and
 * `EndStorageAccess` the library opens the target of an upload; as a user to whom nothing but the
 * user files belongs, it opens nothing else, whatever path a client names:
 *
 *     bool IsStorageAvailable() override { return uploads.Possible(); }
 *     void BeginStorageAccess() override { uploads.Enter(); }
 *     void EndStorageAccess() override { uploads.Leave(); }
 *
 * Needs the capabilities CAP_SETUID and CAP_SETGID, which a program of the superuser has. The
 * folder of the user files belongs to the other user; what the application keeps for itself must
 * not be writable for everybody. Only this thread changes, and only what it asks of the file
 * system: it may go back at any time, so this holds paths in, not code that an attacker brought
 * along. Signals, processes and the network stay those of the process. From the first use on the
 * kernel writes no core of the process, unless the application asks for it with prctl(2).
 *
 * One thread, the one that serves.
 */
class FileSystemUser
{
public:
    /** Goes there and back once, so that `Possible` knows. */
    FileSystemUser(uid_t user, gid_t group);

    /** Whether the process may become this user: without it no upload must be accepted. */
    bool Possible() const { return possible; }

    /** From here on files are the other user's matter; where that is not possible nothing changes.
     */
    void Enter();

    /** Back to what the thread was when this object was made. */
    void Leave();

private:
    struct Identity
    {
        uid_t user;
        gid_t group;
        std::vector<gid_t> furtherGroups;
    };

    static Identity OfThisThread();
    static bool Become(const Identity &identity);

    Identity own;
    Identity other;
    bool possible;
};

#endif
