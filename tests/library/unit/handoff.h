#ifndef HANDOFF_H
#define HANDOFF_H

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>

#include "fakehost.h"
#include "fakehttpserver.h"
#include "restservermodel.h"
#include "restserverobjects.h"

/** The server's two sides without sockets: requests on threads of the test, ticks on its own. */

using Calls = std::vector<std::string>;
using Uri = RestServerRequestUri;

/** Bytes whose order shows. */
inline QByteArray Pattern(int size)
{
    QByteArray block(251, Qt::Uninitialized);
    std::iota(block.begin(), block.end(), char(0));
    QByteArray bytes = block.repeated(size / block.size() + 1);
    bytes.truncate(size);
    return bytes;
}

class HandOffTest : public testing::Test
{
protected:
    HandOffTest()
    {
        FakeHttpServer::Instance().Reset();
        host.restServer = &model;
        model.Construct(&host);
    }

    /** Sends the request on a thread of its own, as the HTTP server does. */
    static std::future<int> Send(mg_connection *connection, Uri uri)
    {
        return std::async(std::launch::async, [connection, uri] {
            return RestServerModel::HandleRequestAndSendResponse(connection, uri);
        });
    }

    /** Ticks, as the timer does, until the thread has its answer. */
    template <typename Result>
    Result TickUntil(std::future<Result> result)
    {
        while (result.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
            model.ServerUpdateTickHandler();
        }
        return result.get();
    }

    /** The whole way of one request. */
    int Exchange(mg_connection *connection, Uri uri) { return TickUntil(Send(connection, uri)); }

    FakeHost host;
    RestServerModel model;
};

#endif
