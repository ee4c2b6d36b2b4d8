#include "uploadfile.h"

namespace {

constexpr int gatherSize = 256 * 1024;

} // namespace

UploadFile::UploadFile(const QString &path)
    : QFile(path)
{
    gathered.reserve(gatherSize);
}

UploadFile::~UploadFile()
{
    WriteGathered();
}

void UploadFile::Append(const char *data, int length)
{
    if (gathered.size() + length > gatherSize) {
        WriteGathered();
    }
    if (length >= gatherSize) {
        write(data, length);
    } else {
        gathered.append(data, length);
    }
}

void UploadFile::WriteOut()
{
    WriteGathered();
    flush();
}

void UploadFile::close()
{
    WriteGathered();
    gathered = QByteArray(); // a closed file may be kept, its memory not
    QFile::close();
}

void UploadFile::WriteGathered()
{
    if (!gathered.isEmpty()) {
        write(gathered);
        gathered.resize(0); // keeps the memory
    }
}
