#include "jsonsyntax.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "jsonscan.h"

namespace {

struct SyntaxCase
{
    const char *name;
    QByteArray text;
    bool isJson;
};

bool IsParsed(const QByteArray &text)
{
    QJsonParseError error;
    QJsonDocument::fromJson(text, &error);
    return error.error == QJsonParseError::NoError;
}

class JsonSyntaxTest : public testing::TestWithParam<SyntaxCase>
{};

TEST_P(JsonSyntaxTest, AgreesWithTheParser)
{
    EXPECT_EQ(IsParsed(GetParam().text), GetParam().isJson);
    EXPECT_EQ(IsJson(GetParam().text), GetParam().isJson);
}

QByteArray Nest(int levels)
{
    return QByteArray(levels, '[') + QByteArray(levels, ']');
}

INSTANTIATE_TEST_SUITE_P(
    Documents, JsonSyntaxTest,
    testing::Values(SyntaxCase{"Empty", "", false}, SyntaxCase{"Space", " \n", false},
                    SyntaxCase{"EmptyArray", "[]", true}, SyntaxCase{"EmptyObject", "{}", true},
                    SyntaxCase{"SpaceEverywhere", " \t\r\n[ { \"a\" : 1 , \"b\" : [ ] } ] ", true},
                    SyntaxCase{"NumberAlone", "1", false},
                    SyntaxCase{"StringAlone", "\"a\"", false},
                    SyntaxCase{"TextBehind", "[] x", false},
                    SyntaxCase{"NulBehind", QByteArray("[]\0", 3), false},
                    SyntaxCase{"TwoDocuments", "[][]", false},
                    SyntaxCase{"ByteOrderMark", "\xef\xbb\xbf[]", true},
                    SyntaxCase{"ByteOrderMarkAlone", "\xef\xbb\xbf", false},
                    SyntaxCase{"ByteOrderMarkTwice", "\xef\xbb\xbf\xef\xbb\xbf[]", false},
                    SyntaxCase{"MostLevels", Nest(1024), true},
                    SyntaxCase{"TooManyLevels", Nest(1025), false},
                    SyntaxCase{"MostLevelsTwice", '[' + Nest(1023) + ',' + Nest(1023) + ']', true}),
    [](const auto &given) { return given.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Structure, JsonSyntaxTest,
    testing::Values(
        SyntaxCase{"Nested", R"({"a":[1,{"b":{}},[]],"c":null})", true},
        SyntaxCase{"EqualKeys", R"({"a":1,"a":2})", true},
        SyntaxCase{"CommaAtTheEndOfAnArray", "[1,]", false},
        SyntaxCase{"CommaAtTheEndOfAnObject", R"({"a":1,})", false},
        SyntaxCase{"CommaAtTheBeginning", "[,1]", false}, SyntaxCase{"NoComma", "[1 2]", false},
        SyntaxCase{"NoColon", R"({"a" 1})", false}, SyntaxCase{"NoValue", R"({"a":})", false},
        SyntaxCase{"NoKey", "{1:1}", false}, SyntaxCase{"KeyInAnArray", R"(["a":1])", false},
        SyntaxCase{"ValueInAnObject", R"({"a"})", false},
        SyntaxCase{"WrongEndOfAnArray", "[1}", false},
        SyntaxCase{"WrongEndOfAnObject", R"({"a":1])", false}, SyntaxCase{"OpenArray", "[1", false},
        SyntaxCase{"OpenObject", R"({"a":1)", false}, SyntaxCase{"OneEndTooMany", "[]]", false}),
    [](const auto &given) { return given.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Scalars, JsonSyntaxTest,
    testing::Values(
        SyntaxCase{"Words", "[null,true,false]", true}, SyntaxCase{"WordCutShort", "[nul]", false},
        SyntaxCase{"OtherCase", "[True]", false}, SyntaxCase{"LongerWord", "[nulls]", false},
        SyntaxCase{"Numbers", "[0,-0,12,-1.5,1e3,1E-3,1.25e+10]", true},
        SyntaxCase{"LongNumber", '[' + QByteArray(400, '9') + ".0e-300]", true},
        SyntaxCase{"TooLargeNumber", "[1e999]", false},
        SyntaxCase{"LongestWholeNumber", '[' + QByteArray(308, '9') + ']', true},
        SyntaxCase{"TooLongWholeNumber", '[' + QByteArray(310, '9') + ']', false},
        SyntaxCase{"MinusAlone", "[-]", false}, SyntaxCase{"Plus", "[+1]", false},
        SyntaxCase{"ZeroInFront", "[01]", false}, SyntaxCase{"NoDigitInFront", "[.5]", true},
        SyntaxCase{"NoDigitBehind", "[1.]", true}, SyntaxCase{"NoExponent", "[1e]", false},
        SyntaxCase{"Hexadecimal", "[0x1]", false}, SyntaxCase{"NotANumber", "[nan]", false},
        SyntaxCase{"Infinite", "[inf]", false}),
    [](const auto &given) { return given.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Strings, JsonSyntaxTest,
    testing::Values(SyntaxCase{"Escapes", R"(["\"\\\/\b\f\n\r\t\u00e9"])", true},
                    SyntaxCase{"UnknownEscape", R"(["\x"])", true},
                    SyntaxCase{"HalfOfAPair", R"(["\ud83d"])", true},
                    SyntaxCase{"CodeCutShort", R"(["\u12"])", false},
                    SyntaxCase{"CodeOfOtherDigits", R"(["\u12g4"])", false},
                    SyntaxCase{"EscapeAtTheEnd", "[\"\\", false},
                    SyntaxCase{"ControlCharacters", QByteArray("[\"\0\1\n\x7f\"]", 8), true},
                    SyntaxCase{"OtherScripts", "[\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"]", true},
                    SyntaxCase{"NoCharacter", "[\"\xef\xbf\xbe\"]", true},
                    SyntaxCase{"LaterByteAlone", "[\"\x80\"]", false},
                    SyntaxCase{"Overlong", "[\"\xc1\xbf\"]", false},
                    SyntaxCase{"OverlongOfThree", "[\"\xe0\x9f\xbf\"]", false},
                    SyntaxCase{"OverlongOfFour", "[\"\xf0\x8f\xbf\xbf\"]", false},
                    SyntaxCase{"Surrogate", "[\"\xed\xa0\x80\"]", false},
                    SyntaxCase{"BeyondUnicode", "[\"\xf4\x90\x80\x80\"]", false},
                    SyntaxCase{"LargestFirstByte", "[\"\xf5\x80\x80\x80\"]", false},
                    SyntaxCase{"SequenceCutShort", "[\"\xe2\x82\"]", false},
                    SyntaxCase{"ByteThatIsNotEscapedWhole", "[\"\\\xc3\xa9\"]", false},
                    SyntaxCase{"OpenString", "[\"a]", false}),
    [](const auto &given) { return given.param.name; });

struct KeyCase
{
    const char *name;
    QByteArray text;
    bool repeats;
};

class JsonKeysTest : public testing::TestWithParam<KeyCase>
{};

TEST_P(JsonKeysTest, AreLookedAtWhereTheParserWouldLoseMemory)
{
    EXPECT_EQ(RepeatsKeyOfJson(GetParam().text), GetParam().repeats);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, JsonKeysTest,
    testing::Values(
        KeyCase{"Different", R"({"a":[],"b":{},"A":[],"":{}})", false},
        KeyCase{"ArrayFirst", R"({"a":[1],"a":2})", true},
        KeyCase{"ObjectFirst", R"({"a":{"b":1},"a":2})", true},
        KeyCase{"ArrayLast", R"({"a":1,"a":[2]})", true},
        KeyCase{"ThirdOfThree", R"({"a":1,"a":2,"a":[3]})", true},
        KeyCase{"ApartFromEachOther", R"({"a":[1],"b":2,"c":{"d":[]},"a":3})", true},
        KeyCase{"NothingButScalars", R"({"a":1,"a":"b","a":null})", false},
        KeyCase{"EmptyKeys", R"({"":[1],"":2})", true},
        KeyCase{"Escaped", R"({"\u0061\n":[1],"a\u000A":2})", true},
        KeyCase{"EscapedQuotationMark", R"({"a\"":[1],"a\"b":2})", false},
        KeyCase{"HalfOfAPair", "{\"\\ud800\":[1],\"\xef\xbf\xbd\":2}", true},
        KeyCase{"EveryEscape",
                R"({"\b\f\n\r\t\/\\":[1],"\u0008\u000c\u000A\u000d\u0009/\u005c":2})", true},
        KeyCase{"EscapedInEveryLength",
                "{\"\\u0041\\u00e9\\u20ac\\ud83d\\ude00\":[1],"
                "\"A\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\":2}",
                true},
        KeyCase{"PairThatIsNone", "{\"\\ud83d-\\ude00\":[1],\"\xf0\x9f\x98\x80\":2}", false},
        KeyCase{"HalfBeforeALetter",
                "{\"\\ud83da\":[1],\"\xef\xbf\xbd"
                "a\":2}",
                true},
        KeyCase{"SecondHalf", "{\"\\ude00\":[1],\"\xef\xbf\xbd\":2}", true},
        KeyCase{"EscapedAtTheEdgesOfLengths",
                "{\"\\u007f\\u0080\\u07ff\\u0800\":[1],\"\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\":2}",
                true},
        KeyCase{"HalfAtTheEnd", "{\"a\\ud83d\":[1],\"a\xef\xbf\xbd\":2}", true},
        KeyCase{"HalfBeforeAPair",
                "{\"\\ud83d\\ud83d\\ude00\":[1],\"\xef\xbf\xbd\xf0\x9f\x98\x80\":2}", true},
        KeyCase{"DifferentBehindAnEscapedNul", R"({"a\u0000b":[1],"a\u0000c":2})", true},
        KeyCase{"DifferentBehindANul", QByteArray("{\"\0a\":[1],\"\0b\":2}", 17), true},
        KeyCase{"OfOtherLengthBehindANul", R"({"a\u0000b":[1],"a\u0000":2,"a":3})", false},
        KeyCase{"DifferentBeforeANul", R"({"a\u0000":[1],"b\u0000":2})", false},
        KeyCase{"InOtherObjects", R"([{"a":[1]},{"a":[2]},{"b":{"a":[]},"a":[]}])", false},
        KeyCase{"OfAnInnerObject", R"([1,[{"b":{"a":[],"a":[]}}]])", true},
        KeyCase{"BehindAnInnerObject", R"({"a":[{"x":1}],"b":[{"a":1}],"a":1})", true},
        KeyCase{"BeforeWhatIsNoJson", R"([{"a":[1],"a":2},)", true},
        KeyCase{"InAnObjectThatIsOpen", R"([{"a":[1],"a":2)", false}, KeyCase{"Empty", "", false},
        KeyCase{"InAString", R"(["{\"a\":[1],\"a\":2}"])", false}),
    [](const auto &given) { return given.param.name; });

TEST(ParserTest, TakesKeysForOneThatDifferBehindANul)
{
    const QByteArray text("{\"a\0b\":1,\"a\0c\":2}", 17);
    EXPECT_EQ(QJsonDocument::fromJson(text).object().size(), 1);
}

class ToldOf : public JsonScan::Visitor
{
public:
    explicit ToldOf(int mostTold = 100)
        : most(mostTold)
    {}

    bool GoesOn() const { return all.size() < most; }
    void TakeText(const char *from, const char *to) { Take(from, to); }
    void TakeScalar(const char *from, const char *to) { Take(from, to); }
    void TakeBegin(bool object) { all.append(object ? "{" : "["); }
    void TakeEnd(bool object) { all.append(object ? "}" : "]"); }
    void TakeComma() { all.append(","); }
    void TakeColon() { all.append(":"); }

    QByteArrayList all;

private:
    void Take(const char *from, const char *to)
    {
        all.append(QByteArray(from, static_cast<int>(to - from)));
    }

    const int most;
};

QByteArrayList Told(const QByteArray &text)
{
    ToldOf visitor;
    JsonScan::Visit(text, &visitor);
    return visitor.all;
}

TEST(JsonScanTest, TellsWhatThereIsWithoutSpaces)
{
    EXPECT_EQ(Told(" {\"a\" :[1.5,\tnull ]\r\n}"),
              QByteArrayList({"{", "\"a", ":", "[", "1.5", ",", "null", "]", "}"}));
}

TEST(JsonScanTest, TellsWhatIsNoJsonToo)
{
    EXPECT_EQ(Told("]x\"\"y z}"), QByteArrayList({"]", "x", "\"", "y", "z", "}"}));
    EXPECT_EQ(Told(""), QByteArrayList());
}

TEST(JsonScanTest, ATextEndsBehindAnEvenNumberOfBackslashes)
{
    EXPECT_EQ(Told(R"("\"\\\"\\",)"), QByteArrayList({R"("\"\\\"\\)", ","}));
}

TEST(JsonScanTest, ATextThatIsNotClosedEndsWithAll)
{
    EXPECT_EQ(Told(R"(["a,)"), QByteArrayList({"[", R"("a,)"}));
    EXPECT_EQ(Told(R"(["\")"), QByteArrayList({"[", R"("\")"}));
    EXPECT_EQ(Told(R"(["\)"), QByteArrayList({"[", R"("\)"}));
    EXPECT_EQ(Told("[\""), QByteArrayList({"[", "\""}));
}

TEST(JsonScanTest, PassesOverAByteOrderMark)
{
    EXPECT_EQ(Told("\xef\xbb\xbf[]"), QByteArrayList({"[", "]"}));
}

TEST(JsonScanTest, GoesOnAsLongAsTheFirstVisitor)
{
    ToldOf first(2);
    ToldOf other(1);
    JsonScan::Visit("[1,2]", &first, &other);
    EXPECT_EQ(first.all, QByteArrayList({"[", "1"}));
    EXPECT_EQ(other.all, QByteArrayList({"["}));
}

} // namespace
