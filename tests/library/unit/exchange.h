#ifndef EXCHANGE_H
#define EXCHANGE_H

#include <QJsonDocument>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "casename.h"
#include "fakehost.h"
#include "restserverobjects.h"
#include "restserverrequestprocessor.h"

/** Requests for handlers, and what a test expects of their responses. */

using Calls = std::vector<std::string>;
using Method = RestServerRequestMethod;
using Uri = RestServerRequestUri;
using Handler =
    RestServerResponseObject *(RestServerRequestProcessor::*)(RestServerRequestObject *);

inline const std::string emptyBody = "{\n}\n";

inline std::string ErrorBody(const std::string &message)
{
    return "{\n    \"errorMessage\": \"" + message + "\"\n}\n";
}

inline const char *MethodName(Method method)
{
    static const char *const names[] = {"Post", "Get", "Put", "Patch", "Delete", "Unknown"};
    return names[static_cast<int>(method)];
}

inline RestServerRequestObject Request(Method method, const char *uri = "/",
                                       const QByteArray &body = QByteArray())
{
    return RestServerRequestObject(Uri::Test, method, new DataChunk(body, true), uri);
}

/** Takes the response, a whole one, and compares everything that it holds. */
inline void ExpectResponse(RestServerResponseObject *taken, int code, const std::string &body,
                           const std::string &errorString = "")
{
    const std::unique_ptr<RestServerResponseObject> response(taken);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->ResponseCode(), code);
    EXPECT_EQ(response->ResponseDataChunk()->Data().toStdString(), body);
    EXPECT_EQ(response->ErrorString().toStdString(), errorString);
    EXPECT_TRUE(response->ResponseDataChunk()->LastChunk());
    EXPECT_EQ(response->TakeDownloadContext(), nullptr);
}

class ProcessorTest : public testing::Test
{
protected:
    ProcessorTest() { processor.Construct(&host); }

    RestServerResponseObject *Answer(Handler handler, Method method, const char *uri = "/",
                                     const QByteArray &body = QByteArray())
    {
        RestServerRequestObject request = Request(method, uri, body);
        return (processor.*handler)(&request);
    }

    /** Every method but those named must be answered so, and the host left alone. */
    void ExpectRefused(Handler handler, const std::vector<Method> &served, const char *uri,
                       int code, const std::string &body, const std::string &errorString = "")
    {
        for (const Method method : {Method::Post, Method::Get, Method::Put, Method::Patch,
                                    Method::Delete, Method::Unknown}) {
            if (std::find(served.begin(), served.end(), method) == served.end()) {
                SCOPED_TRACE(MethodName(method));
                ExpectResponse(Answer(handler, method, uri), code, body, errorString);
            }
        }
        EXPECT_EQ(host.log.Calls(), Calls());
    }

    FakeHost host;
    RestServerRequestProcessor processor;
};

#endif
