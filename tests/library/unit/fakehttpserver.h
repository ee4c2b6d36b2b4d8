#ifndef FAKEHTTPSERVER_H
#define FAKEHTTPSERVER_H

#include <QByteArray>
#include <civetweb.h>
#include <functional>
#include <string>
#include <vector>

/**
 * Takes the place of the embedded HTTP server's library: its functions are defined here, note what
 * they were given and answer what a test wants. No socket is opened and no thread is started; a
 * test calls a route's handler itself, on a thread of its own, with a connection that it made.
 */
struct FakeHttpServer
{
    struct Route
    {
        std::string pattern;
        mg_request_handler handler;
        void *data;
    };

    static FakeHttpServer &Instance();

    /** Forgets everything that was noted, before each test. */
    void Reset();

    bool startSucceeds = true;
    std::function<void()> onStop;

    std::vector<std::string> calls; // in order, without the routes
    std::vector<std::string> settings;
    std::vector<Route> routes;
    mg_callbacks callbacks{};
    void *userData = nullptr;
};

/** One connection: a request that is read and a reply that is noted. Used by one thread. */
struct mg_connection
{
    mg_connection(const char *method, const char *uri, QByteArray requestBody = QByteArray());

    mg_request_info information{};
    QByteArray body;
    int position = 0;
    int failAtRead = 0;           // the number of the read, from 1, that answers -1; 0 for none
    std::function<void()> onRead; // called at the start of every read

    int reads = 0;
    std::vector<std::string> replies; // such as "ok application/json 4"
    QByteArray sent;                  // what was written as body
};

#endif
