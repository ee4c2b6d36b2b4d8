#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/MultipartReader.h>
#include <arpa/inet.h>
#include <istream>
#include <memory>
#include <microhttpd.h>
#include <netinet/in.h>
#include <stdexcept>
#include <streambuf>
#include <sys/socket.h>
#include <unistd.h>

#include "contender.h"

namespace {

// What a form's Content-Type names: the delimiter without the hyphens that every delimiter has.
std::string BoundaryParameter(const Workload &workload)
{
    return workload.boundary.substr(2);
}

// The post processor of libmicrohttpd belongs to a request. So each run is one: a small one without
// a body, in whose handler the body in memory is fed. The daemon has no thread of its own, hence
// everything happens, and is measured, in the thread that runs the benchmark.
class MicrohttpdRuns
{
public:
    explicit MicrohttpdRuns(const Workload &fedWorkload)
        : workload(fedWorkload)
    {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        daemon.reset(MHD_start_daemon(MHD_USE_EPOLL, 0, nullptr, nullptr, Handle, this,
                                      MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_END));
        if (!daemon) {
            throw std::runtime_error("libmicrohttpd did not start");
        }
        address.sin_port =
            htons(MHD_get_daemon_info(daemon.get(), MHD_DAEMON_INFO_BIND_PORT)->port);
    }

    void Make(Sink *runSink)
    {
        sink = runSink;
        isDone = false;
        const int client = SendRequest();
        while (!isDone) {
            MHD_run_wait(daemon.get(), -1);
        }
        close(client);
    }

private:
    static constexpr size_t bufferSize = 65536; // what its documentation names for good performance

    static MHD_Result Handle(void *self, MHD_Connection *connection, const char *, const char *,
                             const char *, const char *, size_t *, void **context)
    {
        auto *runs = static_cast<MicrohttpdRuns *>(self);
        if (*context == nullptr) { // the request's headers are there; the next call may answer it
            *context = runs;
            return MHD_YES;
        }
        runs->FeedBody(connection);
        runs->isDone = true;
        MHD_Response *response =
            MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
        const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
        MHD_destroy_response(response);
        return result;
    }

    static MHD_Result TakeData(void *sink, MHD_ValueKind, const char *, const char *, const char *,
                               const char *, const char *data, uint64_t, size_t size)
    {
        static_cast<Sink *>(sink)->Take(data, size);
        return MHD_YES;
    }

    int SendRequest() const
    {
        const std::string request =
            "POST / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nContent-Length: 0\r\n"
            "Content-Type: multipart/form-data; boundary=" +
            BoundaryParameter(workload) + "\r\n\r\n";
        const int client = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(client, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            send(client, request.data(), request.size(), 0) !=
                static_cast<ssize_t>(request.size())) {
            throw std::runtime_error("libmicrohttpd cannot be reached");
        }
        return client;
    }

    void FeedBody(MHD_Connection *connection) const
    {
        MHD_PostProcessor *processor =
            MHD_create_post_processor(connection, bufferSize, TakeData, sink);
        ForEachPiece(workload, [processor](const char *bytes, size_t size) {
            MHD_post_process(processor, bytes, size);
        });
        MHD_destroy_post_processor(processor);
    }

    const Workload &workload;
    sockaddr_in address = {};
    std::unique_ptr<MHD_Daemon, decltype(&MHD_stop_daemon)> daemon = {nullptr, &MHD_stop_daemon};
    Sink *sink = nullptr; // of the run that is being made
    bool isDone = false;
};

Run PrepareMicrohttpd(const Workload &workload)
{
    auto runs = std::make_shared<MicrohttpdRuns>(workload);
    return [runs](Sink *sink) { runs->Make(sink); };
}

// What a stream reads from: a body in memory, one piece at a time.
class PieceBuffer : public std::streambuf
{
public:
    explicit PieceBuffer(const Workload &readWorkload)
        : workload(readWorkload)
    {}

private:
    int_type underflow() override
    {
        if (position == workload.body.size()) {
            return traits_type::eof();
        }
        const size_t size = std::min(workload.pieceSize, workload.body.size() - position);
        // Nothing is ever put into a stream that is only read from.
        char *piece = const_cast<char *>(workload.body.data()) + position;
        position += size;
        setg(piece, piece, piece + size);
        return traits_type::to_int_type(*piece);
    }

    const Workload &workload;
    size_t position = 0; // of the next piece
};

void RunPoco(const Workload &workload, Sink *sink)
{
    PieceBuffer body(workload);
    std::istream stream(&body);
    Poco::Net::MultipartReader reader(stream, BoundaryParameter(workload));
    Poco::Net::MessageHeader header;
    char buffer[1 << 16];
    while (reader.hasNextPart()) {
        reader.nextPart(header);
        std::istream &part = reader.stream();
        do {
            part.read(buffer, sizeof buffer);
            sink->Take(buffer, static_cast<size_t>(part.gcount()));
        } while (part);
    }
}

Run PreparePoco(const Workload &workload)
{
    return [&workload](Sink *sink) { RunPoco(workload, sink); };
}

} // namespace

std::vector<Contender> PeerContenders()
{
    return {{"libmicrohttpd", PrepareMicrohttpd}, {"Poco", PreparePoco}};
}
