// Stores the file of a form, POST /upload, and sends it, GET /file. usage: poco_server PORT FILE
#include <Poco/Net/HTMLForm.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/PartHandler.h>
#include <Poco/StreamCopier.h>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace {

using namespace Poco::Net;

constexpr size_t bufferSize = 262144;
std::string target;

class Storage : public PartHandler
{
public:
    void handlePart(const MessageHeader &, std::istream &stream) override
    {
        std::ofstream file(target, std::ios::binary | std::ios::trunc);
        Poco::StreamCopier::copyStream(stream, file, bufferSize);
    }
};

class Handler : public HTTPRequestHandler
{
public:
    void handleRequest(HTTPServerRequest &request, HTTPServerResponse &response) override
    {
        if (request.getMethod() == HTTPRequest::HTTP_GET) {
            response.sendFile(target, "application/octet-stream");
            return;
        }
        Storage storage;
        const HTMLForm form(request, request.stream(), storage);
        response.setContentLength(0);
        response.send();
    }
};

class Factory : public HTTPRequestHandlerFactory
{
public:
    HTTPRequestHandler *createRequestHandler(const HTTPServerRequest &) override
    {
        return new Handler();
    }
};

} // namespace

int main(int, char **argv)
{
    target = argv[2];
    const SocketAddress address("127.0.0.1", static_cast<Poco::UInt16>(std::atoi(argv[1])));
    HTTPServer server(new Factory(), ServerSocket(address), new HTTPServerParams());
    server.start();
    pause();
    return 0;
}
