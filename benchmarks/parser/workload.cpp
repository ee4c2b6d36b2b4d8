#include "workload.h"

#include <random>
#include <stdexcept>

const char *const workloadNames[5] = {"random", "text", "prefixes", "all-cr", "random-1460"};

namespace {

constexpr size_t mebibyte = size_t(1) << 20;
constexpr size_t fullSize = 256 * mebibyte;
// Where there are events for every few bytes, the list of their positions would not fit memory.
constexpr size_t denseSize = 32 * mebibyte;
constexpr size_t pipelinePiece = 5000000;
constexpr size_t packetPiece = 1460;

const char boundaryText[] = "------------------------5f3a91c27be40d68";

void AppendRandomBytes(std::string *body, size_t count)
{
    std::mt19937_64 random(1);
    const size_t end = body->size() + count;
    while (body->size() < end) {
        const uint64_t word = random();
        body->append(reinterpret_cast<const char *>(&word), sizeof word);
    }
    body->resize(end);
}

// Lines of 60 to 100 bytes with their CR LF.
void AppendText(std::string *body, size_t count)
{
    std::mt19937 random(2);
    const size_t end = body->size() + count;
    while (body->size() < end) {
        body->append(58 + random() % 41, static_cast<char>('a' + random() % 26));
        body->append("\r\n");
    }
    body->resize(end);
}

// CR LF and a part of the boundary of any length, with one other byte behind it. Nothing is cut off
// at the end: a delimiter right behind a prefix of it is more than some parsers can tell apart.
void AppendPrefixes(std::string *body, size_t count)
{
    const std::string boundary = boundaryText;
    std::mt19937 random(3);
    const size_t end = body->size() + count;
    while (body->size() < end) {
        body->append("\r\n").append(boundary, 0, random() % boundary.size()).append("_");
    }
}

} // namespace

Workload MakeWorkload(const std::string &name)
{
    const std::string boundary = boundaryText;
    Workload workload = {name, boundary, std::string(), 0, 0, pipelinePiece};
    std::string &body = workload.body;
    body.reserve(fullSize + 1000);
    body = boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a\"\r\n\r\n";
    workload.partBegin = body.size();
    if (name == "random") {
        AppendRandomBytes(&body, fullSize);
    } else if (name == "random-1460") {
        AppendRandomBytes(&body, fullSize);
        workload.pieceSize = packetPiece;
    } else if (name == "text") {
        AppendText(&body, fullSize);
    } else if (name == "prefixes") {
        AppendPrefixes(&body, denseSize);
    } else if (name == "all-cr") {
        body.append(denseSize, '\r');
    } else {
        throw std::invalid_argument(name);
    }
    workload.partSize = body.size() - workload.partBegin;
    body += "\r\n" + boundary + "--\r\n";
    return workload;
}
