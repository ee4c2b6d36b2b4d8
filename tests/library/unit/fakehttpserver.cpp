#include "fakehttpserver.h"

#include <cstdarg>
#include <cstring>

struct mg_context
{};

namespace {

mg_context runningContext;

} // namespace

FakeHttpServer &FakeHttpServer::Instance()
{
    static FakeHttpServer instance;
    return instance;
}

void FakeHttpServer::Reset()
{
    *this = FakeHttpServer();
}

mg_connection::mg_connection(const char *method, const char *uri, QByteArray requestBody)
    : body(std::move(requestBody))
{
    information.request_method = method;
    information.request_uri = uri;
}

extern "C" {

unsigned mg_init_library(unsigned features)
{
    FakeHttpServer::Instance().calls.push_back("init " + std::to_string(features));
    return 1;
}

mg_context *mg_start(const mg_callbacks *callbacks, void *userData, const char **options)
{
    FakeHttpServer &server = FakeHttpServer::Instance();
    server.calls.emplace_back("start");
    server.callbacks = *callbacks;
    server.userData = userData;
    for (const char **option = options; *option != nullptr; ++option) {
        server.settings.emplace_back(*option);
    }
    return server.startSucceeds ? &runningContext : nullptr;
}

void mg_set_request_handler(mg_context *context, const char *uri, mg_request_handler handler,
                            void *data)
{
    FakeHttpServer &server = FakeHttpServer::Instance();
    if (context != &runningContext) {
        server.calls.emplace_back("route of another context");
    }
    server.routes.push_back({uri, handler, data});
}

void mg_stop(mg_context *context)
{
    FakeHttpServer &server = FakeHttpServer::Instance();
    server.calls.emplace_back(context == &runningContext ? "stop" : "stop of another context");
    if (server.onStop) {
        server.onStop();
    }
}

const mg_request_info *mg_get_request_info(const mg_connection *connection)
{
    return &connection->information;
}

int mg_read(mg_connection *connection, void *buffer, size_t length)
{
    if (connection->onRead) {
        connection->onRead();
    }
    if (++connection->reads == connection->failAtRead) {
        return -1;
    }
    const int count =
        qMin(static_cast<int>(length), connection->body.size() - connection->position);
    std::memcpy(buffer, connection->body.constData() + connection->position,
                static_cast<size_t>(count));
    connection->position += count;
    return count;
}

int mg_write(mg_connection *connection, const void *data, size_t length)
{
    connection->replies.push_back("write " + std::to_string(length));
    connection->sent.append(static_cast<const char *>(data), static_cast<int>(length));
    return static_cast<int>(length);
}

int mg_send_http_ok(mg_connection *connection, const char *mimeType, long long length)
{
    connection->replies.push_back(std::string("ok ") + mimeType + " " + std::to_string(length));
    return 0;
}

int mg_send_http_error(mg_connection *connection, int status, const char *format, ...)
{
    char text[1000];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    connection->replies.push_back("error " + std::to_string(status) + " " + format + " | " + text);
    return 0;
}

int mg_send_chunk(mg_connection *connection, const char *data, unsigned int length)
{
    connection->replies.push_back("chunk " + std::to_string(length));
    connection->sent.append(data, static_cast<int>(length));
    return static_cast<int>(length);
}

} // extern "C"
