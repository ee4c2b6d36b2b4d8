// Stores the file of a form, POST /upload, and sends it, GET /file; GET /info is answered with what
// FILE holds when it starts. usage: civetweb_server PORT FILE [flushed]
#include <civetweb.h>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

const char *target = nullptr;
bool isFlushed = false; // before the answer
std::string information;

int FieldFound(const char *, const char *fileName, char *path, size_t size, void *)
{
    if (fileName == nullptr || *fileName == '\0') {
        return MG_FORM_FIELD_STORAGE_SKIP;
    }
    std::snprintf(path, size, "%s", target);
    return MG_FORM_FIELD_STORAGE_STORE;
}

int FieldStored(const char *path, long long, void *)
{
    if (isFlushed) {
        const int file = open(path, O_RDONLY);
        const bool flushed = fsync(file) == 0;
        close(file);
        return flushed ? MG_FORM_FIELD_HANDLE_NEXT : MG_FORM_FIELD_HANDLE_ABORT;
    }
    return MG_FORM_FIELD_HANDLE_NEXT;
}

int Upload(mg_connection *connection, void *)
{
    mg_form_data_handler handler = {};
    handler.field_found = FieldFound;
    handler.field_store = FieldStored;
    mg_handle_form_request(connection, &handler);
    mg_send_http_ok(connection, "text/plain", 0);
    return 200;
}

int Download(mg_connection *connection, void *)
{
    mg_send_mime_file(connection, target, "application/octet-stream");
    return 200;
}

int Inform(mg_connection *connection, void *)
{
    mg_send_http_ok(connection, "application/json", static_cast<long long>(information.size()));
    mg_write(connection, information.data(), information.size());
    return 200;
}

} // namespace

int main(int argc, char **argv)
{
    target = argv[2];
    isFlushed = argc > 3;
    std::ifstream file(target, std::ios::binary);
    information.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    mg_init_library(0);
    const char *settings[] = {"listening_ports", argv[1], nullptr};
    const mg_callbacks callbacks = {};
    mg_context *context = mg_start(&callbacks, nullptr, settings);
    if (context == nullptr) {
        return 1;
    }
    mg_set_request_handler(context, "/upload", Upload, nullptr);
    mg_set_request_handler(context, "/info", Inform, nullptr);
    mg_set_request_handler(context, "/file", Download, nullptr);
    pause();
    return 0;
}
