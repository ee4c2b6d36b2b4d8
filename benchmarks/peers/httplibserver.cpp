// Stores the file of a form, POST /upload, and sends it, GET /file. usage: httplib_server PORT FILE
#include <cstdlib>
#include <fstream>
#include <httplib.h>
#include <memory>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr size_t pieceSize = 262144;
std::string target;

void Upload(const httplib::Request &, httplib::Response &, const httplib::ContentReader &reader)
{
    std::ofstream file(target, std::ios::binary | std::ios::trunc);
    bool isFile = false;
    reader(
        [&isFile](const httplib::MultipartFormData &part) {
            isFile = !part.filename.empty();
            return true;
        },
        [&file, &isFile](const char *data, size_t size) {
            if (isFile) {
                file.write(data, static_cast<std::streamsize>(size));
            }
            return true;
        });
}

void Download(const httplib::Request &, httplib::Response &response)
{
    struct stat status = {};
    stat(target.c_str(), &status);
    auto file = std::make_shared<std::ifstream>(target, std::ios::binary);
    auto buffer = std::make_shared<std::vector<char>>(pieceSize);
    response.set_content_provider(
        static_cast<size_t>(status.st_size), "application/octet-stream",
        [file, buffer](size_t, size_t length, httplib::DataSink &sink) {
            const size_t wanted = std::min(length, buffer->size());
            file->read(buffer->data(), static_cast<std::streamsize>(wanted));
            return sink.write(buffer->data(), static_cast<size_t>(file->gcount()));
        });
}

} // namespace

int main(int, char **argv)
{
    target = argv[2];
    httplib::Server server;
    server.Post("/upload", Upload);
    server.Get("/file", Download);
    return server.listen("127.0.0.1", std::atoi(argv[1])) ? 0 : 1;
}
