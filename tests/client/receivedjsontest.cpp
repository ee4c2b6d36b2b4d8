#include <gtest/gtest.h>

#include <QByteArrayList>

#include <receivedjson.h>

namespace {

QByteArray Repeated(const QByteArray &element, int count)
{
    QByteArrayList elements;
    for (int i = 0; i < count; ++i) {
        elements.append(element);
    }
    return '[' + elements.join(',') + ']';
}

QByteArrayList ElementsOf(const QByteArray &json, const QByteArray &key)
{
    QByteArrayList elements;
    ReceivedJson::List(json, key).ForEach([&](const QByteArray &element) {
        elements.append(QByteArray(element.constData(), element.size()));
    });
    return elements;
}

TEST(ReceivedJson, FiftyThousandFilesAreBearable)
{
    const QByteArray file =
        "\n        {\n            \"modifiedTime\": \"2026-01-01T00:00:00.000Z\",\n"
        "            \"path\": \"/home/instrument/storage/userfiles/measurements/"
        "2026-01/run-00001.sor\",\n            \"size\": 123456\n        }";
    EXPECT_TRUE(ReceivedJson::IsBearableList(Repeated(file, 50'000)));
}

TEST(ReceivedJson, TenThousandWorkOrdersAreBearable)
{
    const QByteArray order = R"({"workOrderId": "WO-2026-00001 north", )"
                             R"("modifiedTime": "2026-01-01T00:00:00.000Z"})";
    EXPECT_TRUE(ReceivedJson::IsBearable(Repeated(order, 10'000)));
}

TEST(ReceivedJson, AKeyThatAnObjectHasTwiceIsNotBearable)
{
    EXPECT_FALSE(ReceivedJson::IsBearable(R"({"files": [{"path": ["a"], "path": "b"}]})"));
    EXPECT_TRUE(ReceivedJson::IsBearable(R"({"files": [{"path": ["a"]}, {"path": "b"}]})"));
}

TEST(ReceivedJson, ManySmallValuesAreNotBearable)
{
    EXPECT_FALSE(ReceivedJson::IsBearable(Repeated("1", 2'000'000)));
    EXPECT_FALSE(ReceivedJson::IsBearable(Repeated("{}", 300'000)));
}

TEST(ReceivedJson, MarksInsideTextsCountAsCharacters)
{
    EXPECT_TRUE(ReceivedJson::IsBearable("[\"" + QByteArray(1'000'000, '[') + "\"]"));
    EXPECT_TRUE(ReceivedJson::IsBearable("[\"\\\"" + QByteArray(1'000'000, '[') + "\"]"));
}

TEST(ReceivedJson, LongTextThatTakesMoreOnceItIsParsedOrPrintedIsNotBearable)
{
    EXPECT_TRUE(ReceivedJson::IsBearable("[\"\\n" + QByteArray(3'500'000, 'x') + "\"]"));
    EXPECT_FALSE(ReceivedJson::IsBearable("[\"\\n" + QByteArray(4'000'000, 'x') + "\"]"));
    EXPECT_TRUE(ReceivedJson::IsBearable("[\"" + QByteArray(1'000'000, '\1') + "\"]"));
    EXPECT_FALSE(ReceivedJson::IsBearable("[\"" + QByteArray(2'000'000, '\1') + "\"]"));
}

TEST(ReceivedJson, VeryLongTextIsNotBearable)
{
    const QByteArray longest(ReceivedJson::longestText - 1, 'x');
    EXPECT_TRUE(ReceivedJson::IsBearable("[\"" + longest + "\"]"));
    EXPECT_FALSE(ReceivedJson::IsBearable("[\"" + longest + "x\"]"));
}

TEST(ReceivedJson, IndentationCountsWhereItIsDeep)
{
    const QByteArray inner = Repeated("1", 100'000);
    EXPECT_TRUE(ReceivedJson::IsBearable(inner));
    EXPECT_FALSE(ReceivedJson::IsBearable(QByteArray(900, '[') + inner + QByteArray(900, ']')));
}

TEST(ReceivedJson, BrokenTextsEnd)
{
    for (const char *text :
         {"", "\"", "[\"", "[\"\\", "]]", "{\"a\": [", "{\"a\": [1,", "{\"a\""}) {
        EXPECT_TRUE(ReceivedJson::IsBearable(text)) << text;
        const ReceivedJson::List list(text, "a");
        EXPECT_LE(list.Frame().size(), static_cast<int>(strlen(text))) << text;
    }
}

TEST(ReceivedJson, ListIsTheDocument)
{
    EXPECT_EQ(ElementsOf("[1,[2,3],{\"a\":\"],\"}]", {}),
              (QByteArrayList{"1", "[2,3]", "{\"a\":\"],\"}"}));
    EXPECT_EQ(ReceivedJson::List(" [1,2]\n", {}).Frame(), " []\n");
}

TEST(ReceivedJson, ListIsAMember)
{
    const QByteArray json = R"({"a": [9], "b" : {"files": [8]}, "files" : [1,2], "c": 3})";
    EXPECT_EQ(ElementsOf(json, "files"), (QByteArrayList{"1", "2"}));
    EXPECT_EQ(ReceivedJson::List(json, "files").Frame(),
              R"({"a": [9], "b" : {"files": [8]}, "files" : [], "c": 3})");
}

TEST(ReceivedJson, EmptyListHasNoElements)
{
    EXPECT_TRUE(ElementsOf("[ \n ]", {}).isEmpty());
    EXPECT_TRUE(ElementsOf("{\"files\": []}", "files").isEmpty());
}

TEST(ReceivedJson, DocumentWithoutTheListIsItsFrame)
{
    for (const QByteArray json : {"{\"files\": 1}", "[\"files\"]", "{\"f\": \"files\"}"}) {
        EXPECT_EQ(ReceivedJson::List(json, "files").Frame(), json);
        EXPECT_TRUE(ElementsOf(json, "files").isEmpty());
    }
}

TEST(ReceivedJson, ElementsOfAListThatIsNoneAreToldAsTheyStand)
{
    EXPECT_EQ(ElementsOf("[1,,2 3,]", {}), (QByteArrayList{"1", "", "2 3", ""}));
}

} // namespace
