#ifndef FILEDESCRIPTOR_H
#define FILEDESCRIPTOR_H

#include <QtGlobal>

/**
 * Owns an open file descriptor and closes it at the end of its life. Moves, does not copy.
 *
 * Not synchronised: one thread at a time.
 */
class FileDescriptor
{
public:
    /** Takes over `number`; a negative one stands for "nothing open", as open(2) returns it. */
    explicit FileDescriptor(int number = -1);
    FileDescriptor(FileDescriptor &&other) noexcept;
    FileDescriptor &operator=(FileDescriptor &&other) noexcept;
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor();

    /** False when nothing is open. */
    bool IsOpen() const { return descriptor >= 0; }

    /** The descriptor, which stays owned here; -1 when nothing is open. */
    int Number() const { return descriptor; }

    /** Gives the descriptor away: the caller closes it, and nothing is open here any more. */
    int Release();

    /**
     * Reads `size` bytes from `offset` into `buffer`, and fewer only where the file ends. Returns
     * how many were read, or -1 with `errno` set. The position of the descriptor does not move.
     */
    qint64 Read(char *buffer, qint64 size, qint64 offset) const;

private:
    int descriptor;
};

#endif
