#include "wiretest.h"

namespace {

constexpr char jsonType[] = "application/json; charset=utf-8";
constexpr char binaryType[] = "application/octet-stream; charset=utf-8";

class ReplyTest : public WireTest
{
protected:
    void ExpectJsonReply(const std::string &request, const std::string &body)
    {
        EXPECT_EQ(WithoutDate(Ask(request)), OkHeader(jsonType, body.size()) + body);
    }
};

} // namespace

TEST_F(ReplyTest, BodyMarkedLastIsSentWithItsLengthAndStatus200)
{
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/pendingfiles"), "[\n    \"pending\"\n]\n");
}

TEST_F(ReplyTest, InformationDocumentIsTheWholeBody)
{
    const std::string body = R"({
    "apiSupport": [
        {
            "name": "workflow",
            "versions": [
                1
            ]
        },
        {
            "name": "syncfiles",
            "versions": [
                1
            ]
        },
        {
            "name": "filemgr",
            "versions": [
                2
            ]
        },
        {
            "name": "techinfo",
            "versions": [
                1
            ]
        }
    ],
    "assetInfo": {
        "serial": "S1"
    },
    "infoVersion": 1
}
)";
    ExpectJsonReply(Request("GET", "/info"), body);
}

TEST_F(ReplyTest, ErrorBodyComesWithStatus200)
{
    ExpectJsonReply(Request("POST", "/info"), ErrorBody("Method not allowed"));
}

TEST_F(ReplyTest, NotFoundWithABodyComesWithStatus200)
{
    ExpectJsonReply(Request("GET", "/api/workflow/v1/workorder/unknown"),
                    ErrorBody("Job not found"));
}

TEST_F(ReplyTest, AcceptedTechnicianIsAnsweredWithTheEmptyObject)
{
    ExpectJsonReply(Request("POST", "/api/v1/techinfo", R"({"techId":"A_1"})"), "{\n}\n");
    EXPECT_EQ(host.calls, QStringList{"tech A_1"});
}

TEST_F(ReplyTest, TechinfoPatternAlsoTakesLongerPaths)
{
    ExpectJsonReply(Request("POST", "/api/v1/techinfo/x", R"({"techId":"A_1"})"), "{\n}\n");
}

TEST_F(ReplyTest, EmptyFileIsAnsweredByTheHttpServerItself)
{
    ASSERT_TRUE(QFile(host.Path("empty")).open(QIODevice::WriteOnly));
    const std::string path = host.Path("empty").toStdString();
    EXPECT_EQ(WithoutDate(Ask(Request("GET", "/api/syncfiles/v1/userfiles" + path))),
              ErrorReply("200 OK", ""));
    EXPECT_EQ(WithoutDate(Ask(Request("GET", "/api/filemgr/v2/userfiles" + path))),
              ErrorReply("200 OK", ""));
}

TEST_F(ReplyTest, VersionIsThatOfTheRequest)
{
    const std::string body = "[\n    \"pending\"\n]\n";
    const std::string uri = "/api/syncfiles/v1/pendingfiles";
    EXPECT_EQ(WithoutDate(Ask("GET " + uri + " HTTP/1.0\r\n\r\n")),
              OkHeader(jsonType, body.size()).replace(0, 8, "HTTP/1.0") + body);
}

TEST_F(ReplyTest, ConnectionIsClosedForClientsThatWouldKeepIt)
{
    const std::string body = "[\n    \"pending\"\n]\n";
    const std::string request = Request("GET", "/api/syncfiles/v1/pendingfiles");
    const size_t firstHeader = request.find("\r\n") + 2;
    ExpectJsonReply(std::string(request).insert(firstHeader, "Connection: keep-alive\r\n"), body);
}

TEST_F(ReplyTest, DateIsTheTimeOfTheAnswer)
{
    const std::string reply = Ask(Request("GET", "/api/syncfiles/v1/pendingfiles"));
    const size_t begin = reply.find("\r\nDate: ") + 8;
    const QString date =
        QString::fromStdString(reply.substr(begin, reply.find("\r\n", begin) - begin));
    const QDateTime time = QDateTime::fromString(date, Qt::RFC2822Date);
    EXPECT_TRUE(date.endsWith(" GMT"));
    EXPECT_LT(qAbs(time.secsTo(QDateTime::currentDateTimeUtc())), 10) << qPrintable(date);
}

TEST_F(ReplyTest, ALargeAnswerIsTheSameAsASmallOne)
{
    QFile file(host.Path("large"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const std::string content = RandomBytes(200000);
    file.write(content.data(), static_cast<qint64>(content.size()));
    file.close();
    EXPECT_EQ(WithoutDate(
                  Ask(Request("GET", "/api/filemgr/v2/userfiles" + file.fileName().toStdString()))),
              OkHeader(binaryType, content.size()) + content);
}

TEST_F(ReplyTest, BytesThatAreNoJsonAreLabelledBinary)
{
    QFile file(host.Path("text"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("plain text");
    file.close();
    EXPECT_EQ(WithoutDate(Ask(
                  Request("GET", "/api/syncfiles/v1/userfiles" + file.fileName().toStdString()))),
              OkHeader(binaryType, 10) + "plain text");
}

TEST_F(ReplyTest, FileThatParsesAsJsonIsLabelledJson)
{
    QFile file(host.Path("data"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[1]");
    file.close();
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/userfiles" + file.fileName().toStdString()),
                    "[1]");
}

TEST_F(ReplyTest, PathIsHandedOnDecodedAndWithoutItsQuery)
{
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/metadata/a%20b%2Fc.txt?rev=2"),
                    "{\n    \"name\": \"/a b/c.txt\"\n}\n");
}

TEST_F(ReplyTest, EncodedQuestionMarkCutsThePath)
{
    ExpectJsonReply(Request("GET", "/api/filemgr/v2/metadata/a%3Fb"),
                    "{\n    \"name\": \"/a\"\n}\n");
}

TEST_F(ReplyTest, ParentSegmentsReachTheHost)
{
    ExpectJsonReply(Request("GET", "/api/filemgr/v2/metadata/x/../y"),
                    "{\n    \"name\": \"/x/../y\"\n}\n");
}

TEST_F(ReplyTest, QueryPlaysNoPartForPendingFiles)
{
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/pendingfiles?x=1"),
                    "[\n    \"pending\"\n]\n");
}

TEST_F(ReplyTest, PendingFilesAllIsARouteOfItsOwn)
{
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/pendingfiles/all"), "[\n    \"all\"\n]\n");
}

TEST_F(ReplyTest, UserFilesWithoutPathServeOnlyUploadsInVersionOne)
{
    ExpectJsonReply(Request("GET", "/api/syncfiles/v1/userfiles"), ErrorBody("Method not allowed"));
    ExpectJsonReply(Request("PUT", "/api/syncfiles/v1/userfiles"), ErrorBody("Method not allowed"));
}

TEST_F(ReplyTest, UnservedMethodInVersionTwoHasAnEmptyMessage)
{
    ExpectJsonReply(Request("PUT", "/api/filemgr/v2/userfiles"), ErrorBody(""));
    ExpectJsonReply(Request("POST", "/api/filemgr/v2/userfiles/a"), ErrorBody(""));
}

TEST_F(ReplyTest, PathThatMatchesNoRouteIsAnsweredByTheHttpServer)
{
    const std::string notFound = ErrorReply("404 Not Found", "Not Found");
    EXPECT_EQ(WithoutDate(Exchange(Request("GET", "/nowhere"))), notFound);
    EXPECT_EQ(WithoutDate(Exchange(Request("GET", "/info/x"))), notFound);
    EXPECT_EQ(WithoutDate(Exchange(Request("GET", "/test"))), notFound);
}

TEST_F(ReplyTest, MethodInLowerCaseIsRefusedByTheHttpServer)
{
    EXPECT_EQ(WithoutDate(Exchange(Request("get", "/info"))),
              ErrorReply("400 Bad Request", "Bad request"));
}

TEST_F(ReplyTest, MethodsBeyondTheFiveAreUnknown)
{
    for (const char *method : {"HEAD", "PROPFIND", "CONNECT"}) {
        ExpectJsonReply(Request(method, "/info"), ErrorBody("Method not allowed"));
    }
}

TEST_F(ReplyTest, EveryRouteReachesItsHandler)
{
    const struct
    {
        const char *method;
        const char *uri;
        const char *body;
    } routes[] = {
        {"POST", "/info", "Method not allowed"},
        {"GET", "/api/workflow/v1/workorders", "Method not allowed"},
        {"POST", "/api/workflow/v1/list", "Method not allowed"},
        {"POST", "/api/workflow/v1/templates", "Method not allowed"},
        {"PUT", "/api/workflow/v1/active", "WorkOrder not found"},
        {"GET", "/api/workflow/v1/workorder/a/b", "Inavlid URI"},
        {"POST", "/api/syncfiles/v1/pendingfiles", "Method not allowed"},
        {"POST", "/api/syncfiles/v1/pendingfiles/all", "Method not allowed"},
        {"PUT", "/api/syncfiles/v1/metadata/a", "Method not allowed"},
        {"GET", "/api/syncfiles/v1/userfiles/a", "File not found"},
        {"POST", "/api/syncfiles/v1/userfiles", "Upload failed"},
        {"POST", "/api/filemgr/v2/userfiles", "Upload failed"},
        {"PATCH", "/api/filemgr/v2/metadata/a", ""},
        {"GET", "/api/filemgr/v2/userfiles/a", "File read failure"},
        {"GET", "/api/v1/techinfo", "Method not allowed"},
    };
    for (const auto &route : routes) {
        ExpectJsonReply(Request(route.method, route.uri), ErrorBody(route.body));
    }
}
