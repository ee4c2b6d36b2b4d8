#include "uploadfile.h"

namespace {

constexpr int gatherSize = 256 * 1024;

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

void UploadFile::Append(const char *data, int length)
{
    if (gathered.size() + length > gatherSize) {
        WriteGathered();
    }
    if (length >= gatherSize) {
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
