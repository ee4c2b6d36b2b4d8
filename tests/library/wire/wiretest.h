#ifndef WIRETEST_H
#define WIRETEST_H

#include <QCoreApplication>
#include <QEventLoop>
#include <QStringList>
#include <future>
#include <gtest/gtest.h>

#include "rawclient.h"
#include "restservermodel.h"
#include "wirehost.h"

/** The lines of the Qt debug log while it lives. Lines come from any thread. */
class DebugLog
{
public:
    DebugLog();
    ~DebugLog();
    QStringList Lines() const;

private:
    QtMessageHandler previous;
};

/** What one test program serves: one server for all its tests, because stopping takes 2 s. */
struct WireDevice
{
    WireHost host;
    RestServerModel server;

    WireDevice();
    ~WireDevice();

    static RestServerOptions Options();
    static WireDevice *instance; // set by main
};

/**
 * The real server on port 8081 in front of a `WireHost`. The test body is the main thread: requests
 * are served only while it runs the event loop, so a test decides when that happens.
 */
class WireTest : public ::testing::Test
{
protected:
    WireTest();

    /** Runs `client` on a thread of its own and serves until it returns. */
    template <typename Client>
    auto WhileServing(Client client)
    {
        QEventLoop loop;
        auto outcome = std::async(std::launch::async, [&loop, &client] {
            const auto finish = [&loop] {
                QMetaObject::invokeMethod(&loop, "quit", Qt::QueuedConnection);
            };
            struct Finish
            {
                decltype(finish) &call;
                ~Finish() { call(); }
            } finished{finish};
            return client();
        });
        loop.exec();
        return outcome.get();
    }

    /** Serves one exchange. */
    std::string Ask(const std::string &request)
    {
        return WhileServing([&] { return Exchange(request); });
    }

    std::string AskBody(const std::string &request) { return BodyOf(Ask(request)); }

    WireHost &host;
    RestServerModel &server; // running at the start of each test
    DebugLog log;
};

/** The start of every reply with status 200. */
std::string OkHeader(const std::string &contentType, size_t length);

/** The start of every reply of the HTTP server's own, and of replies without a body. */
std::string ErrorReply(const std::string &status, const std::string &text);

/** The body {"errorMessage": message} as it is sent. */
std::string ErrorBody(const std::string &message);

/** An upload of `content` to `target`, with its first line `boundary`. */
std::string UploadBody(const QString &target, const std::string &content,
                       const std::string &boundary = "--frontier");

/** Bytes without a pattern, the same at every run. */
std::string RandomBytes(size_t count);

std::string FileContent(const QString &path);

#endif
