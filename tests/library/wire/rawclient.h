#ifndef RAWCLIENT_H
#define RAWCLIENT_H

#include <string>

/**
 * A TCP client of the server under test that shows every byte. One connection, one thread.
 *
 * Waits are bounded: a receive that gets nothing for 60 s ends as if the server had closed.
 */
class RawClient
{
public:
    /** Connects to a port of this machine; `Connected` tells whether that worked. */
    explicit RawClient(int port = 8081);
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool Connected() const { return descriptor >= 0; }

    /** Sends all bytes; false when the server closed before. */
    bool Send(const std::string &bytes);

    /** Tells the server that nothing more is sent. */
    void EndSending();

    /** What arrives next, at most `limit` bytes; empty when the server closed. */
    std::string Receive(size_t limit);

    /** Everything up to the end of the connection. */
    std::string ReceiveAll();

    /** Goes away at once, without the goodbyes of TCP. */
    void Vanish();

private:
    void Close();

    int descriptor;
};

/** A whole exchange on a connection of its own: sends the bytes, returns all that comes back. */
std::string Exchange(const std::string &request, int port = 8081);

/** A request with a Content-Length, and the body. */
std::string Request(const std::string &method, const std::string &uri,
                    const std::string &body = std::string());

/** The response with the value of its Date header replaced by "*". */
std::string WithoutDate(const std::string &response);

/** What follows the first empty line. */
std::string BodyOf(const std::string &response);

/** The body of a chunked response put together; "broken" when the coding is not complete. */
std::string DecodeChunks(const std::string &body);

#endif
