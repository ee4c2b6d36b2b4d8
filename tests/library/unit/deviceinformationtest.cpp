#include <QJsonObject>

#include "debuglogcapture.h"
#include "exchange.h"

namespace {

constexpr Handler info = &RestServerRequestProcessor::ProcessInfoRequest;
constexpr Handler techInfo = &RestServerRequestProcessor::ProcessTechInfoRequest;

const std::string apiSupport = "    \"apiSupport\": [\n"
                               "        {\n"
                               "            \"name\": \"workflow\",\n"
                               "            \"versions\": [\n"
                               "                1\n"
                               "            ]\n"
                               "        },\n"
                               "        {\n"
                               "            \"name\": \"syncfiles\",\n"
                               "            \"versions\": [\n"
                               "                1\n"
                               "            ]\n"
                               "        },\n"
                               "        {\n"
                               "            \"name\": \"filemgr\",\n"
                               "            \"versions\": [\n"
                               "                2\n"
                               "            ]\n"
                               "        },\n"
                               "        {\n"
                               "            \"name\": \"techinfo\",\n"
                               "            \"versions\": [\n"
                               "                1\n"
                               "            ]\n"
                               "        }\n"
                               "    ],\n";

class InfoTest : public ProcessorTest
{};

TEST_F(InfoTest, GetDescribesTheInterfaceAndTheAsset)
{
    host.asset.assetInfo = QJsonObject{{"serial", "17"}, {"model", "M"}};
    ExpectResponse(Answer(info, Method::Get), 200,
                   "{\n" + apiSupport +
                       "    \"assetInfo\": {\n"
                       "        \"model\": \"M\",\n"
                       "        \"serial\": \"17\"\n"
                       "    },\n"
                       "    \"infoVersion\": 1\n"
                       "}\n");
    EXPECT_EQ(host.log.Calls(), Calls({"AssetModel.GetAssetInfo()"}));
}

TEST_F(InfoTest, GetWithoutAssetInformationKeepsTheMember)
{
    ExpectResponse(Answer(info, Method::Get), 200,
                   "{\n" + apiSupport +
                       "    \"assetInfo\": {\n"
                       "    },\n"
                       "    \"infoVersion\": 1\n"
                       "}\n");
}

TEST_F(InfoTest, OtherMethodsAreRefused)
{
    ExpectRefused(info, {Method::Get}, "/info", 405, ErrorBody("Method not allowed"));
}

class TechInfoTest : public ProcessorTest
{
protected:
    RestServerResponseObject *Post(const QByteArray &body)
    {
        return Answer(techInfo, Method::Post, "/api/v1/techinfo", body);
    }
};

TEST_F(TechInfoTest, OtherMethodsAreRefused)
{
    ExpectRefused(techInfo, {Method::Post}, "/api/v1/techinfo", 405,
                  ErrorBody("Method not allowed"));
}

struct TechIdCase
{
    const char *name;
    QByteArray body;
    const char *message; // null when it is accepted
    const char *techId;
};

class TechIdTest : public TechInfoTest, public testing::WithParamInterface<TechIdCase>
{};

TEST_P(TechIdTest, IsCheckedBeforeTheHostIsTold)
{
    if (GetParam().message != nullptr) {
        ExpectResponse(Post(GetParam().body), 400, ErrorBody(GetParam().message));
        EXPECT_EQ(host.log.Calls(), Calls());
    } else {
        ExpectResponse(Post(GetParam().body), 200, emptyBody);
        EXPECT_EQ(host.log.Calls(), Calls({std::string("RootModel.SyncFilesModel.SetTechId(") +
                                           GetParam().techId + ")"}));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, TechIdTest,
    testing::Values(TechIdCase{"WordCharacters", "{\"techId\": \"A_1\"}", nullptr, "A_1"},
                    TechIdCase{"OneCharacter", "{\"techId\": \"x\"}", nullptr, "x"},
                    TechIdCase{"TwentyCharacters", "{\"techId\": \"abcdefghijklmnopqrst\"}",
                               nullptr, "abcdefghijklmnopqrst"},
                    TechIdCase{"LettersOutsideAscii", "{\"techId\": \"J\xc3\xbcrgen\"}", nullptr,
                               "J\xc3\xbcrgen"},
                    TechIdCase{"Mark", "{\"techId\": \"e\xcc\x81\"}", nullptr, "e\xcc\x81"},
                    TechIdCase{"OtherDigit", "{\"techId\": \"\xd9\xa3\"}", nullptr, "\xd9\xa3"},
                    TechIdCase{"OtherMembers", "{\"techId\": \"a\", \"b\": 1}", nullptr, "a"},
                    TechIdCase{"TwentyOneCharacters", "{\"techId\": \"abcdefghijklmnopqrstu\"}",
                               "Invalid techId", nullptr},
                    TechIdCase{"EmptyText", "{\"techId\": \"\"}", "Invalid techId", nullptr},
                    TechIdCase{"Hyphen", "{\"techId\": \"a-b\"}", "Invalid techId", nullptr},
                    TechIdCase{"TrailingLineBreak", "{\"techId\": \"ab\\n\"}", "Invalid techId",
                               nullptr},
                    TechIdCase{"Number", "{\"techId\": 42}", "Invalid techId", nullptr},
                    TechIdCase{"Null", "{\"techId\": null}", "Invalid techId", nullptr},
                    TechIdCase{"OtherCase", "{\"TechId\": \"A_1\"}", "Missing techId", nullptr},
                    TechIdCase{"NoMember", "{}", "Missing techId", nullptr},
                    TechIdCase{"Array", "[\"techId\"]", "Missing techId", nullptr},
                    TechIdCase{"EmptyBody", "", "Method not allowed", nullptr},
                    TechIdCase{"NoJson", "techId", "Method not allowed", nullptr}),
    CaseName());

TEST_F(TechInfoTest, AParseErrorIsLoggedWithTheLengthOfTheBody)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Post("json"), 400, ErrorBody("Method not allowed"));
    EXPECT_EQ(debugLog.Lines(), Calls({"Body length:  4", "Got parse error:  \"illegal value\""}));
}

TEST_F(TechInfoTest, AMissingOrInvalidIdIsNotLogged)
{
    const DebugLogCapture debugLog;
    ExpectResponse(Post("{}"), 400, ErrorBody("Missing techId"));
    ExpectResponse(Post("{\"techId\": \"-\"}"), 400, ErrorBody("Invalid techId"));
    EXPECT_EQ(debugLog.Lines(), Calls());
}

} // namespace
