// Stores the file of a form: POST /upload. usage: microhttpd_server PORT FILE [flushed]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <microhttpd.h>
#include <unistd.h>

namespace {

constexpr size_t bufferSize = 65536; // what its documentation names for good performance
const char *target = nullptr;
bool isFlushed = false; // before the answer

struct Upload
{
    MHD_PostProcessor *processor = nullptr;
    int file = -1;
};

MHD_Result Store(void *context, MHD_ValueKind, const char *, const char *fileName, const char *,
                 const char *, const char *data, uint64_t, size_t size)
{
    const auto *upload = static_cast<Upload *>(context);
    if (fileName != nullptr && write(upload->file, data, size) < 0) {
        return MHD_NO;
    }
    return MHD_YES;
}

MHD_Result Begin(MHD_Connection *connection, void **context)
{
    auto upload = std::make_unique<Upload>();
    upload->processor = MHD_create_post_processor(connection, bufferSize, Store, upload.get());
    if (upload->processor == nullptr) {
        return MHD_NO;
    }
    upload->file = open(target, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    *context = upload.release();
    return MHD_YES;
}

MHD_Result Answer(MHD_Connection *connection)
{
    MHD_Response *response = MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
    const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
    MHD_destroy_response(response);
    return result;
}

MHD_Result Handle(void *, MHD_Connection *connection, const char *, const char *method,
                  const char *, const char *data, size_t *size, void **context)
{
    if (std::strcmp(method, "POST") != 0) {
        return Answer(connection);
    }
    if (*context == nullptr) {
        return Begin(connection, context);
    }
    if (*size == 0) {
        if (isFlushed && fsync(static_cast<Upload *>(*context)->file) != 0) {
            return MHD_NO;
        }
        return Answer(connection);
    }
    const MHD_Result result =
        MHD_post_process(static_cast<Upload *>(*context)->processor, data, *size);
    *size = 0;
    return result;
}

void End(void *, MHD_Connection *, void **context, MHD_RequestTerminationCode)
{
    const std::unique_ptr<Upload> upload(static_cast<Upload *>(*context));
    if (upload) {
        MHD_destroy_post_processor(upload->processor);
        close(upload->file);
    }
}

} // namespace

int main(int argc, char **argv)
{
    target = argv[2];
    isFlushed = argc > 3;
    MHD_Daemon *daemon = MHD_start_daemon(
        MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_EPOLL, static_cast<uint16_t>(std::atoi(argv[1])),
        nullptr, nullptr, Handle, nullptr, MHD_OPTION_NOTIFY_COMPLETED, End, nullptr,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, 4 * bufferSize, MHD_OPTION_END);
    if (daemon == nullptr) {
        return 1;
    }
    pause();
    return 0;
}
