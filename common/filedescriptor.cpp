#include "filedescriptor.h"

#include <cerrno>
#include <cstddef>
#include <unistd.h>
#include <utility>

FileDescriptor::FileDescriptor(int number)
    : descriptor(number)
{}

FileDescriptor::FileDescriptor(FileDescriptor &&other) noexcept
    : descriptor(other.Release())
{}

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept
{
    FileDescriptor taken(std::move(other));
    std::swap(descriptor, taken.descriptor);
    return *this;
}

FileDescriptor::~FileDescriptor()
{
    if (descriptor >= 0) {
        close(descriptor);
    }
}

int FileDescriptor::Release()
{
    return std::exchange(descriptor, -1);
}

qint64 FileDescriptor::Read(char *buffer, qint64 size, qint64 offset) const
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t count =
            pread(descriptor, buffer + done, static_cast<std::size_t>(size - done), offset + done);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            done += count;
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return done;
}
