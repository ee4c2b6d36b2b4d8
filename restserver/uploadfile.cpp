#include "uploadfile.h"

namespace {

constexpr int gatherSize = 256 * 1024; // larger writes are no faster

} // namespace

UploadFile::UploadFile(const QString &path)
    : file(path)
{
    gathered.reserve(gatherSize);
}

UploadFile::~UploadFile()
{
    WriteGathered();
}

bool UploadFile::Open()
{
    return file.open(QIODevice::ReadWrite | QIODevice::Truncate);
}

// What the disk does not take is not noticed: an upload succeeds when its part has ended, and
// clients compare size and digest afterwards.
void UploadFile::Append(const char *data, int length)
{
    if (gathered.size() + length > gatherSize) {
        WriteGathered();
    }
    if (length >= gatherSize) { // a copy would gain nothing
        file.write(data, length);
    } else {
        gathered.append(data, length);
    }
}

void UploadFile::WriteOut()
{
    WriteGathered();
    file.flush();
}

void UploadFile::Close()
{
    WriteGathered();
    gathered = QByteArray(); // a closed file may be kept, its memory not
    file.close();
}

void UploadFile::WriteGathered()
{
    if (!gathered.isEmpty()) {
        file.write(gathered);
        gathered.resize(0); // keeps the memory
    }
}
