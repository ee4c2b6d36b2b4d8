// The parser's events, results and record, for every state and every way of cutting a body. The
// text of events is described in eventrecorder.h.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <vector>

#include "eventrecorder.h"
#include "multipart_parser.h"
#include "parserrecord.h"
#include "referenceparser.h"

namespace {

class RecordedParser
{
public:
    explicit RecordedParser(const std::string &boundary,
                            const multipart_callbacks *callbacks = &EventRecorder::Callbacks())
        : parser(multipart_parser_init(boundary.c_str(), callbacks), &multipart_parser_free)
    {
        multipart_parser_set_data(parser.get(), &recorder);
    }

    // The piece lies in a block of its own, so that a sanitizer sees reads beyond it.
    size_t Feed(const std::string &bytes)
    {
        const std::unique_ptr<char[]> piece(new char[bytes.size()]);
        bytes.copy(piece.get(), bytes.size());
        recorder.ExpectPiece(piece.get(), bytes.size());
        return multipart_parser_execute(parser.get(), piece.get(), bytes.size());
    }

    size_t FeedStoppingAt(const std::string &bytes, size_t event)
    {
        recorder.StopAt(event);
        const size_t result = Feed(bytes);
        recorder.StopNever();
        return result;
    }

    multipart_parser *Get() { return parser.get(); }
    ParserRecord &Record() { return *RecordOf(parser.get()); }
    ParserState State() { return static_cast<ParserState>(Record().state); }
    EventRecorder &Events() { return recorder; }

private:
    EventRecorder recorder;
    std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser;
};

// Feeds byte by byte until one is refused. Returns the number of bytes taken.
size_t FeedBytes(RecordedParser *parser, const std::string &body)
{
    for (size_t i = 0; i < body.size(); ++i) {
        if (parser->Feed(body.substr(i, 1)) != 1) {
            return i;
        }
    }
    return body.size();
}

// ---------------------------------------------------------------------------------------------
// Bodies, and what each of them gives.

struct BodyRow
{
    const char *name;
    std::string boundary;
    std::string body;
    size_t taken; // how many bytes are accepted
    std::string whole;
    std::string byteByByte;
};

std::ostream &operator<<(std::ostream &out, const BodyRow &row)
{
    return out << Printable(row.body.data(), row.body.size());
}

const size_t all = SIZE_MAX;

const BodyRow bodyRows[] = {
    {.name = "OnePart",
     .boundary = "--b",
     .body = "--b\r\nA: x\r\n\r\nhi\r\n--b--",
     .taken = all,
     .whole = "B N(A) V(x) H D(hi) E Z",
     .byteByByte = "B N(A) N() V(x) V() H D(h) D(i) D() E Z"},
    {.name = "TwoParts",
     .boundary = "--b",
     .body = "--b\r\nA:1\r\n\r\nx\r\n--b\r\nB:2\r\n\r\ny\r\n--b--\r\n",
     .taken = all,
     .whole = "B N(A) V(1) H D(x) E B N(B) V(2) H D(y) E Z",
     .byteByByte = "B N(A) N() V(1) V() H D(x) D() E B N(B) N() V(2) V() H D(y) D() E Z"},
    {.name = "TwoHeaders",
     .boundary = "--b",
     .body = "--b\r\nAb:1\r\nC-d:23\r\n\r\n\r\n--b--",
     .taken = all,
     .whole = "B N(Ab) V(1) N(C-d) V(23) H D() E Z",
     .byteByByte = "B N(A) N(b) N() V(1) V() N(C) N(-) N(d) N() V(2) V(3) V() H D() E Z"},
    {.name = "NoHeaders",
     .boundary = "--b",
     .body = "--b\r\n\r\nx\r\n--b--",
     .taken = all,
     .whole = "B H D(x) E Z",
     .byteByByte = "B H D(x) D() E Z"},
    {.name = "CrRightBehindTheHeaders",
     .boundary = "--b",
     .body = "--b\r\n\r\n\r\n--b--",
     .taken = all,
     .whole = "B H D() E Z",
     .byteByByte = "B H D() E Z"},
    {.name = "NoDataAtAll",
     .boundary = "--b",
     .body = "--b\r\n\r\n",
     .taken = all,
     .whole = "B",
     .byteByByte = "B"},
    {.name = "EmptyHeaderName",
     .boundary = "--b",
     .body = "--b\r\n:v\r\n\r\n",
     .taken = all,
     .whole = "B N() V(v)",
     .byteByByte = "B N() V(v) V()"},
    {.name = "EmptyHeaderValue",
     .boundary = "--b",
     .body = "--b\r\nA:\r\n\r\n",
     .taken = all,
     .whole = "B N(A) V()",
     .byteByByte = "B N(A) N() V()"},
    {.name = "BlanksBeforeAValueAreSkipped",
     .boundary = "--b",
     .body = "--b\r\nA:   v w \r\n",
     .taken = all,
     .whole = "B N(A) V(v w )",
     .byteByByte = "B N(A) N() V(v) V( ) V(w) V( ) V()"},
    {.name = "OnlyBlanksAsAValue",
     .boundary = "--b",
     .body = "--b\r\nA:  \r\n",
     .taken = all,
     .whole = "B N(A) V()",
     .byteByByte = "B N(A) N() V()"},
    {.name = "TabBeforeAValueIsKept",
     .boundary = "--b",
     .body = "--b\r\nA:\tv\r\n",
     .taken = all,
     .whole = "B N(A) V(\\x09v)",
     .byteByByte = "B N(A) N() V(\\x09) V(v) V()"},
    {.name = "LfInsideAValue",
     .boundary = "--b",
     .body = "--b\r\nA:v\nw\r\n",
     .taken = all,
     .whole = "B N(A) V(v\\nw)",
     .byteByByte = "B N(A) N() V(v) V(\\n) V(w) V()"},
    {.name = "AnyByteInAValue",
     .boundary = "--b",
     .body = std::string("--b\r\nA:\0\x7f\xff:\r\n", 13),
     .taken = all,
     .whole = "B N(A) V(\\x00\\x7f\\xff:)",
     .byteByByte = "B N(A) N() V(\\x00) V(\\x7f) V(\\xff) V(:) V()"},
    {.name = "LineWithoutColonEndsTheHeaders",
     .boundary = "--b",
     .body = "--b\r\nabc\r\nx",
     .taken = all,
     .whole = "B H D(x)",
     .byteByByte = "B N(a) N(b) N(c) H D(x)"},
    {.name = "LineWithoutColonBehindAHeader",
     .boundary = "--b",
     .body = "--b\r\nA:1\r\nbc\r\nx",
     .taken = all,
     .whole = "B N(A) V(1) H D(x)",
     .byteByByte = "B N(A) N() V(1) V() N(b) N(c) H D(x)"},
    {.name = "DigitInAName",
     .boundary = "--b",
     .body = "--b\r\nA1:v\r\n",
     .taken = 6,
     .whole = "B",
     .byteByByte = "B N(A)"},
    {.name = "UnderscoreInAName",
     .boundary = "--b",
     .body = "--b\r\nA_b:v\r\n",
     .taken = 6,
     .whole = "B",
     .byteByByte = "B N(A)"},
    {.name = "BlankInAName",
     .boundary = "--b",
     .body = "--b\r\nA :v\r\n",
     .taken = 6,
     .whole = "B",
     .byteByByte = "B N(A)"},
    {.name = "LfInsteadOfCrInAName",
     .boundary = "--b",
     .body = "--b\r\nA\n",
     .taken = 6,
     .whole = "B",
     .byteByByte = "B N(A)"},
    {.name = "NoLfBehindTheHeaders",
     .boundary = "--b",
     .body = "--b\r\n\rx",
     .taken = 6,
     .whole = "B",
     .byteByByte = "B"},
    {.name = "NoLfBehindAValue",
     .boundary = "--b",
     .body = "--b\r\nA:v\rx",
     .taken = 9,
     .whole = "B N(A) V(v)",
     .byteByByte = "B N(A) N() V(v) V()"},
    {.name = "WrongFirstByte",
     .boundary = "--b",
     .body = "x--b\r\n",
     .taken = 0,
     .whole = "",
     .byteByByte = ""},
    {.name = "LineEndBeforeTheBoundary",
     .boundary = "--b",
     .body = "\r\n--b\r\n",
     .taken = 0,
     .whole = "",
     .byteByByte = ""},
    {.name = "WrongLaterByteOfTheOpeningLine",
     .boundary = "--b",
     .body = "--c\r\n",
     .taken = 2,
     .whole = "",
     .byteByByte = ""},
    {.name = "OpeningLineGoesOn",
     .boundary = "--b",
     .body = "--bc\r\n",
     .taken = 3,
     .whole = "",
     .byteByByte = ""},
    {.name = "OpeningLineWithoutCr",
     .boundary = "--b",
     .body = "--b\n",
     .taken = 3,
     .whole = "",
     .byteByByte = ""},
    {.name = "OpeningLineWithoutLf",
     .boundary = "--b",
     .body = "--b\rx",
     .taken = 4,
     .whole = "",
     .byteByByte = ""},
    {.name = "OnlyTheOpeningLine",
     .boundary = "--b",
     .body = "--b\r\n",
     .taken = all,
     .whole = "B",
     .byteByByte = "B"},
    {.name = "ClosingDelimiterFirst",
     .boundary = "--b",
     .body = "--b--\r\n",
     .taken = 3,
     .whole = "",
     .byteByByte = ""},
    {.name = "CrInData",
     .boundary = "--b",
     .body = "--b\r\n\r\na\rb\r\n--b--",
     .taken = all,
     .whole = "B H D(a) K(\\r) D(b) E Z",
     .byteByByte = "B H D(a) D() K(\\r) D(b) D() E Z"},
    {.name = "TwoCrInARow",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\rb",
     .taken = all,
     .whole = "B H D(a) K(\\r) D() K(\\r) D(b)",
     .byteByByte = "B H D(a) D() K(\\r) D() K(\\r) D(b)"},
    {.name = "LfInData",
     .boundary = "--b",
     .body = "--b\r\n\r\na\nb",
     .taken = all,
     .whole = "B H D(a\\nb)",
     .byteByByte = "B H D(a) D(\\n) D(b)"},
    {.name = "LineEndInData",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\nb",
     .taken = all,
     .whole = "B H D(a) K(\\r\\n) D(b)",
     .byteByByte = "B H D(a) D() K(\\r\\n) D(b)"},
    {.name = "EmptyLinesInData",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n\r\nb",
     .taken = all,
     .whole = "B H D(a) K(\\r\\n) D() K(\\r\\n) D(b)",
     .byteByByte = "B H D(a) D() K(\\r\\n) D() K(\\r\\n) D(b)"},
    {.name = "BoundaryPrefixInData",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n--c",
     .taken = all,
     .whole = "B H D(a) K(\\r\\n--) D(c)",
     .byteByByte = "B H D(a) D() K(\\r\\n--) D(c)"},
    {.name = "BoundaryWithoutLineEnd",
     .boundary = "--b",
     .body = "--b\r\n\r\na--b",
     .taken = all,
     .whole = "B H D(a--b)",
     .byteByByte = "B H D(a) D(-) D(-) D(b)"},
    {.name = "BoundaryBehindLfOnly",
     .boundary = "--b",
     .body = "--b\r\n\r\na\n--b",
     .taken = all,
     .whole = "B H D(a\\n--b)",
     .byteByByte = "B H D(a) D(\\n) D(-) D(-) D(b)"},
    {.name = "CrBreaksAMatchAndStartsANewOne",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n-\r\n--b--",
     .taken = all,
     .whole = "B H D(a) K(\\r\\n-) D() E Z",
     .byteByByte = "B H D(a) D() K(\\r\\n-) D() E Z"},
    {.name = "CrBeforeADelimiter",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\r\n--b--",
     .taken = all,
     .whole = "B H D(a) K(\\r) D() E Z",
     .byteByByte = "B H D(a) D() K(\\r) D() E Z"},
    {.name = "DelimiterRightBehindADelimiterLine",
     .boundary = "--b",
     .body = "--b\r\n\r\n\r\n--b\r\n\r\n\r\n--b--",
     .taken = all,
     .whole = "B H D() E B H D() E Z",
     .byteByByte = "B H D() E B H D() E Z"},
    {.name = "OtherByteBehindTheBoundary",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n--bx",
     .taken = 13,
     .whole = "B H D(a) E",
     .byteByByte = "B H D(a) D() E"},
    {.name = "OneHyphenBehindTheBoundary",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n--b-x",
     .taken = 14,
     .whole = "B H D(a) E",
     .byteByByte = "B H D(a) D() E"},
    {.name = "CrBehindTheBoundaryWithoutLf",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n--b\rx",
     .taken = 14,
     .whole = "B H D(a) E",
     .byteByByte = "B H D(a) D() E"},
    {.name = "EpilogueIsIgnored",
     .boundary = "--b",
     .body = std::string("--b\r\n\r\na\r\n--b--\r\n--b\r\n\0 more", 29),
     .taken = all,
     .whole = "B H D(a) E Z",
     .byteByByte = "B H D(a) D() E Z"},
    {.name = "EndsInsideDataBehindCr",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r",
     .taken = all,
     .whole = "B H D(a)",
     .byteByByte = "B H D(a) D()"},
    {.name = "EndsInsideADelimiter",
     .boundary = "--b",
     .body = "--b\r\n\r\na\r\n--",
     .taken = all,
     .whole = "B H D(a)",
     .byteByByte = "B H D(a) D()"},
    {.name = "EndsInsideAName",
     .boundary = "--b",
     .body = "--b\r\nAb",
     .taken = all,
     .whole = "B N(Ab)",
     .byteByByte = "B N(A) N(b)"},
    {.name = "EndsInsideAValue",
     .boundary = "--b",
     .body = "--b\r\nA:vw",
     .taken = all,
     .whole = "B N(A) V(vw)",
     .byteByByte = "B N(A) N() V(v) V(w)"},
    {.name = "BoundaryOfOneByte",
     .boundary = "x",
     .body = "x\r\n\r\na\r\nxx",
     .taken = 9,
     .whole = "B H D(a) E",
     .byteByByte = "B H D(a) D() E"},
    {.name = "BoundaryThatRepeatsItself",
     .boundary = "--aab",
     .body = "--aab\r\n\r\n\r\n--aaab\r\n--aab--",
     .taken = all,
     .whole = "B H D() K(\\r\\n--aa) D(ab) E Z",
     .byteByByte = "B H D() K(\\r\\n--aa) D(a) D(b) D() E Z"},
    {.name = "EmptyBoundary",
     .boundary = "",
     .body = "\r\n\r\na\r\n--\r\nb",
     .taken = all,
     .whole = "B H D(a) K(\\r\\n) D(--) K(\\r\\n) D(b)",
     .byteByByte = "B H D(a) D() K(\\r\\n) D(-) D(-) D() K(\\r\\n) D(b)"},
    {.name = "EmptyBoundaryAndNul",
     .boundary = "",
     .body = std::string("\r\n\r\n\r\n\0\0\0\r\n\0", 12),
     .taken = all,
     .whole = "B H D() K(\\r\\n) D(\\x00\\x00\\x00) K(\\r\\n) D(\\x00)",
     .byteByByte = "B H D() K(\\r\\n) D(\\x00) D(\\x00) D(\\x00) D() K(\\r\\n) D(\\x00)"},
    {.name = "BoundaryLongerThanAVector",
     .boundary = "--0123456789abcdefghijklmnopqrstuvwxyz",
     .body = "--0123456789abcdefghijklmnopqrstuvwxyz\r\n\r\n"
             "x\r\n--0123456789abcdefghijklmnopqrstuvwxy_"
             "\r\n--0123456789abcdefghijklmnopqrstuvwxyz--",
     .taken = all,
     .whole = "B H D(x) K(\\r\\n--0123456789abcdefghijklmnopqrstuvwxy) D(_) E Z",
     .byteByByte = "B H D(x) D() K(\\r\\n--0123456789abcdefghijklmnopqrstuvwxy) D(_) D() E Z"},
};

class ParserBodyTest : public testing::TestWithParam<BodyRow>
{
protected:
    const BodyRow &row = GetParam();
    const size_t taken = std::min(row.taken, row.body.size());
};

TEST_P(ParserBodyTest, FedWholeGivesTheseEvents)
{
    RecordedParser parser(row.boundary);
    EXPECT_EQ(parser.Feed(row.body), taken);
    EXPECT_EQ(parser.Events().Text(), row.whole);
}

TEST_P(ParserBodyTest, FedByteByByteGivesTheseEvents)
{
    RecordedParser parser(row.boundary);
    EXPECT_EQ(FeedBytes(&parser, row.body), taken);
    EXPECT_EQ(parser.Events().Text(), row.byteByByte);
}

TEST_P(ParserBodyTest, CutAnywhereMeansTheSame)
{
    RecordedParser whole(row.boundary);
    whole.Feed(row.body);
    for (size_t cut = 0; cut <= row.body.size(); ++cut) {
        SCOPED_TRACE(cut);
        RecordedParser parser(row.boundary);
        const size_t first = parser.Feed(row.body.substr(0, cut));
        EXPECT_EQ(first, std::min(cut, taken));
        if (first == cut) {
            EXPECT_EQ(cut + parser.Feed(row.body.substr(cut)), taken);
        }
        EXPECT_EQ(parser.Events().Meaning(), whole.Events().Meaning());
        EXPECT_EQ(parser.Record().state, whole.Record().state);
        EXPECT_EQ(parser.Record().matchIndex, whole.Record().matchIndex);
    }
}

TEST_P(ParserBodyTest, CutAnywhereGivesTheEventsOfSingleBytes)
{
    for (size_t cut = 0; cut <= row.body.size(); ++cut) {
        SCOPED_TRACE(cut);
        EventRecorder expected;
        ReferenceParser reference(row.boundary, &EventRecorder::Callbacks());
        multipart_parser_set_data(reference.Handle(), &expected);
        RecordedParser parser(row.boundary);
        for (const std::string &piece : {row.body.substr(0, cut), row.body.substr(cut)}) {
            expected.ExpectPiece(piece.data(), piece.size());
            EXPECT_EQ(parser.Feed(piece), reference.Execute(piece.data(), piece.size()));
            EXPECT_EQ(parser.Record().state, reference.Record().state);
            EXPECT_EQ(parser.Record().matchIndex, reference.Record().matchIndex);
        }
        EXPECT_EQ(parser.Events().Text(), expected.Text());
    }
}

TEST_P(ParserBodyTest, WithoutCallbacksIsTakenAlike)
{
    const multipart_callbacks none = {};
    RecordedParser silent(row.boundary, &none);
    RecordedParser parser(row.boundary);
    parser.Feed(row.body);
    EXPECT_EQ(silent.Feed(row.body), taken);
    EXPECT_EQ(silent.Record().state, parser.Record().state);
    EXPECT_EQ(silent.Record().matchIndex, parser.Record().matchIndex);
    EXPECT_EQ(silent.Events().Text(), "");
}

template <typename Row>
std::string NameOf(const testing::TestParamInfo<Row> &info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Rows, ParserBodyTest, testing::ValuesIn(bodyRows), NameOf<BodyRow>);

// ---------------------------------------------------------------------------------------------
// Every state: where a body leaves the record.

struct StateRow
{
    const char *name;
    std::string body;
    ParserState state;
    uint32_t matchIndex;
};

std::ostream &operator<<(std::ostream &out, const StateRow &row)
{
    return out << Printable(row.body.data(), row.body.size());
}

const StateRow stateRows[] = {
    {.name = "Start", .body = "", .state = ParserState::Start, .matchIndex = 0},
    {.name = "StartBoundary", .body = "--", .state = ParserState::StartBoundary, .matchIndex = 2},
    {.name = "StartBoundaryMatched",
     .body = "--b",
     .state = ParserState::StartBoundary,
     .matchIndex = 3},
    {.name = "StartBoundaryBehindCr",
     .body = "--b\r",
     .state = ParserState::StartBoundary,
     .matchIndex = 4},
    {.name = "HeaderNameStart",
     .body = "--b\r\n",
     .state = ParserState::HeaderNameStart,
     .matchIndex = 0},
    {.name = "HeaderName", .body = "--b\r\nA", .state = ParserState::HeaderName, .matchIndex = 0},
    {.name = "HeadersAlmostDone",
     .body = "--b\r\n\r",
     .state = ParserState::HeadersAlmostDone,
     .matchIndex = 0},
    {.name = "HeaderValueStart",
     .body = "--b\r\nA: ",
     .state = ParserState::HeaderValueStart,
     .matchIndex = 0},
    {.name = "HeaderValue",
     .body = "--b\r\nA:v",
     .state = ParserState::HeaderValue,
     .matchIndex = 0},
    {.name = "HeaderValueAlmostDone",
     .body = "--b\r\nA:v\r",
     .state = ParserState::HeaderValueAlmostDone,
     .matchIndex = 0},
    {.name = "NextHeaderNameStart",
     .body = "--b\r\nA:v\r\n",
     .state = ParserState::HeaderNameStart,
     .matchIndex = 0},
    {.name = "PartDataStart",
     .body = "--b\r\n\r\n",
     .state = ParserState::PartDataStart,
     .matchIndex = 0},
    {.name = "PartData", .body = "--b\r\n\r\nx", .state = ParserState::PartData, .matchIndex = 0},
    {.name = "PartDataAlmostBoundary",
     .body = "--b\r\n\r\nx\r",
     .state = ParserState::PartDataAlmostBoundary,
     .matchIndex = 0},
    {.name = "PartDataBoundary",
     .body = "--b\r\n\r\nx\r\n",
     .state = ParserState::PartDataBoundary,
     .matchIndex = 0},
    {.name = "PartDataBoundaryHalfMatched",
     .body = "--b\r\n\r\nx\r\n--",
     .state = ParserState::PartDataBoundary,
     .matchIndex = 2},
    {.name = "PartDataBehindAHalfMatch",
     .body = "--b\r\n\r\nx\r\n--c",
     .state = ParserState::PartData,
     .matchIndex = 2},
    {.name = "PartDataAlmostEnd",
     .body = "--b\r\n\r\nx\r\n--b",
     .state = ParserState::PartDataAlmostEnd,
     .matchIndex = 3},
    {.name = "PartDataEnd",
     .body = "--b\r\n\r\nx\r\n--b\r",
     .state = ParserState::PartDataEnd,
     .matchIndex = 3},
    {.name = "NextPart",
     .body = "--b\r\n\r\nx\r\n--b\r\n",
     .state = ParserState::HeaderNameStart,
     .matchIndex = 3},
    {.name = "PartDataFinalHyphen",
     .body = "--b\r\n\r\nx\r\n--b-",
     .state = ParserState::PartDataFinalHyphen,
     .matchIndex = 3},
    {.name = "End", .body = "--b\r\n\r\nx\r\n--b--", .state = ParserState::End, .matchIndex = 3},
    {.name = "EndStays",
     .body = "--b\r\n\r\nx\r\n--b--\r\n--b\r\n",
     .state = ParserState::End,
     .matchIndex = 3},
};

class ParserStateTest : public testing::TestWithParam<StateRow>
{};

TEST_P(ParserStateTest, IsReachedWhole)
{
    RecordedParser parser("--b");
    EXPECT_EQ(parser.Feed(GetParam().body), GetParam().body.size());
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Record().matchIndex, GetParam().matchIndex);
}

TEST_P(ParserStateTest, IsReachedByteByByte)
{
    RecordedParser parser("--b");
    EXPECT_EQ(FeedBytes(&parser, GetParam().body), GetParam().body.size());
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Record().matchIndex, GetParam().matchIndex);
}

TEST_P(ParserStateTest, IsKeptByAnEmptyPiece)
{
    RecordedParser parser("--b");
    parser.Feed(GetParam().body);
    const std::string events = parser.Events().Text();
    EXPECT_EQ(parser.Feed(""), 0U);
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Events().Text(), events);
}

INSTANTIATE_TEST_SUITE_P(Rows, ParserStateTest, testing::ValuesIn(stateRows), NameOf<StateRow>);

// ---------------------------------------------------------------------------------------------
// A callback that asks to stop: what is returned and kept, and what follows.

struct StopRow
{
    const char *name;
    std::string body;
    size_t event; // the one that asks to stop
    size_t result;
    ParserState state;
    uint32_t matchIndex;
    std::string next; // fed then
    size_t nextResult;
    std::string events; // all together
};

std::ostream &operator<<(std::ostream &out, const StopRow &row)
{
    return out << Printable(row.body.data(), row.body.size());
}

const StopRow stopRows[] = {
    {.name = "PartBeginBehindTheOpeningLine",
     .body = "--b\r\nA",
     .event = 0,
     .result = 4,
     .state = ParserState::StartBoundary,
     .matchIndex = 0,
     .next = "--b\r\nA",
     .nextResult = 6,
     .events = "B B N(A)"},
    {.name = "PartBeginThenTheSameByte",
     .body = "--b\r\nA",
     .event = 0,
     .result = 4,
     .state = ParserState::StartBoundary,
     .matchIndex = 0,
     .next = "\nA",
     .nextResult = 0,
     .events = "B"},
    {.name = "HeaderNameAtTheColon",
     .body = "--b\r\nAb:v",
     .event = 1,
     .result = 7,
     .state = ParserState::HeaderName,
     .matchIndex = 0,
     .next = ":v",
     .nextResult = 2,
     .events = "B N(Ab) N() V(v)"},
    {.name = "HeaderNameAtTheEndOfThePiece",
     .body = "--b\r\nAb",
     .event = 1,
     .result = 6,
     .state = ParserState::HeaderName,
     .matchIndex = 0,
     .next = "b:v",
     .nextResult = 3,
     .events = "B N(Ab) N(b) V(v)"},
    {.name = "HeaderValueAtCr",
     .body = "--b\r\nA:vw\r\n\r\n",
     .event = 2,
     .result = 9,
     .state = ParserState::HeaderValue,
     .matchIndex = 0,
     .next = "\r\n\r\n",
     .nextResult = 4,
     .events = "B N(A) V(vw) V()"},
    {.name = "HeaderValueAtTheEndOfThePiece",
     .body = "--b\r\nA:vw",
     .event = 2,
     .result = 8,
     .state = ParserState::HeaderValue,
     .matchIndex = 0,
     .next = "x\r",
     .nextResult = 2,
     .events = "B N(A) V(vw) V(x)"},
    {.name = "HeadersDone",
     .body = "--b\r\n\r\nxy",
     .event = 1,
     .result = 7,
     .state = ParserState::PartDataStart,
     .matchIndex = 0,
     .next = "xy",
     .nextResult = 2,
     .events = "B H H D(xy)"},
    {.name = "DataAtCr",
     .body = "--b\r\n\r\nxy\r\nz",
     .event = 2,
     .result = 9,
     .state = ParserState::PartData,
     .matchIndex = 0,
     .next = "\r\nz",
     .nextResult = 3,
     .events = "B H D(xy) D() K(\\r\\n) D(z)"},
    {.name = "DataAtTheEndOfThePiece",
     .body = "--b\r\n\r\nxy",
     .event = 2,
     .result = 8,
     .state = ParserState::PartData,
     .matchIndex = 0,
     .next = "z",
     .nextResult = 1,
     .events = "B H D(xy) D(z)"},
    {.name = "HeldCr",
     .body = "--b\r\n\r\nx\rz",
     .event = 3,
     .result = 9,
     .state = ParserState::PartDataAlmostBoundary,
     .matchIndex = 0,
     .next = "z",
     .nextResult = 1,
     .events = "B H D(x) K(\\r) K(\\r) D(z)"},
    {.name = "HeldCrThenLf",
     .body = "--b\r\n\r\nx\rz",
     .event = 3,
     .result = 9,
     .state = ParserState::PartDataAlmostBoundary,
     .matchIndex = 0,
     .next = "\n--b--",
     .nextResult = 6,
     .events = "B H D(x) K(\\r) E Z"},
    {.name = "HeldLineEnd",
     .body = "--b\r\n\r\nx\r\nz",
     .event = 3,
     .result = 10,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 0,
     .next = "z",
     .nextResult = 1,
     .events = "B H D(x) K(\\r\\n) K(\\r\\n) D(z)"},
    {.name = "HeldLineEndThenTheBoundary",
     .body = "--b\r\n\r\nx\r\nz",
     .event = 3,
     .result = 10,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 0,
     .next = "--b--",
     .nextResult = 5,
     .events = "B H D(x) K(\\r\\n) E Z"},
    {.name = "HeldPrefix",
     .body = "--b\r\n\r\nx\r\n--c",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 2,
     .next = "c",
     .nextResult = 1,
     .events = "B H D(x) K(\\r\\n--) K(\\r\\n--) D(c)"},
    {.name = "HeldPrefixThenTheRestOfTheBoundary",
     .body = "--b\r\n\r\nx\r\n--c",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 2,
     .next = "b--",
     .nextResult = 3,
     .events = "B H D(x) K(\\r\\n--) E Z"},
    {.name = "PartEndThenAnotherByte",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 3,
     .next = "x",
     .nextResult = 1,
     .events = "B H D(x) E K(\\r\\n--b) D(x)"},
    {.name = "PartEndThenTheSameByte",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 3,
     .next = "b--",
     .nextResult = 3,
     .events = "B H D(x) E K(\\r\\n--b) D(b--)"},
    {.name = "PartEndThenNul",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 3,
     .next = std::string("\0\0\0\0", 4),
     .nextResult = 4,
     .events = "B H D(x) E K(\\r\\n--b) D(\\x00\\x00\\x00\\x00)"},
    {.name = "PartEndThenCr",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 3,
     .result = 12,
     .state = ParserState::PartDataBoundary,
     .matchIndex = 3,
     .next = "\r\n--b--",
     .nextResult = 7,
     .events = "B H D(x) E K(\\r\\n--b) D() E Z"},
    {.name = "PartBeginBehindALaterLine",
     .body = "--b\r\n\r\nx\r\n--b\r\nA",
     .event = 4,
     .result = 14,
     .state = ParserState::HeaderNameStart,
     .matchIndex = 3,
     .next = "A",
     .nextResult = 1,
     .events = "B H D(x) E B N(A)"},
    {.name = "PartBeginBehindALaterLineThenTheSameByte",
     .body = "--b\r\n\r\nx\r\n--b\r\nA",
     .event = 4,
     .result = 14,
     .state = ParserState::HeaderNameStart,
     .matchIndex = 3,
     .next = "\n",
     .nextResult = 0,
     .events = "B H D(x) E B"},
    {.name = "BodyEnd",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 4,
     .result = 14,
     .state = ParserState::PartDataFinalHyphen,
     .matchIndex = 3,
     .next = "-x",
     .nextResult = 2,
     .events = "B H D(x) E Z Z"},
    {.name = "BodyEndThenAnotherByte",
     .body = "--b\r\n\r\nx\r\n--b--",
     .event = 4,
     .result = 14,
     .state = ParserState::PartDataFinalHyphen,
     .matchIndex = 3,
     .next = "x",
     .nextResult = 0,
     .events = "B H D(x) E Z"},
};

class ParserStopTest : public testing::TestWithParam<StopRow>
{
protected:
    void Expect(RecordedParser *parser)
    {
        EXPECT_EQ(parser->State(), GetParam().state);
        EXPECT_EQ(parser->Record().matchIndex, GetParam().matchIndex);
        EXPECT_EQ(parser->Feed(GetParam().next), GetParam().nextResult);
        EXPECT_EQ(parser->Events().Text(), GetParam().events);
    }
};

TEST_P(ParserStopTest, LeavesTheRecordAsItWas)
{
    RecordedParser parser("--b");
    EXPECT_EQ(parser.FeedStoppingAt(GetParam().body, GetParam().event), GetParam().result);
    Expect(&parser);
}

TEST_P(ParserStopTest, CountsFromTheStartOfThePiece)
{
    // All bytes up to the one of the stop are fed before it.
    RecordedParser parser("--b");
    const std::string before = GetParam().body.substr(0, GetParam().result);
    const std::string rest = GetParam().body.substr(GetParam().result);
    parser.Feed(before);
    EXPECT_EQ(parser.FeedStoppingAt(rest, 0), 0U);
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Record().matchIndex, GetParam().matchIndex);
}

INSTANTIATE_TEST_SUITE_P(Rows, ParserStopTest, testing::ValuesIn(stopRows), NameOf<StopRow>);

TEST(ParserTest, StopsWithAnyResultButZero)
{
    for (const int result : {1, -1, INT32_MIN, INT32_MAX}) {
        static int answer;
        answer = result;
        multipart_callbacks callbacks = {};
        callbacks.on_part_begin = [](multipart_parser *) { return answer; };
        RecordedParser parser("--b", &callbacks);
        EXPECT_EQ(parser.Feed("--b\r\n\r\n"), 4U) << result;
    }
}

TEST(ParserTest, SkipsEachCallbackThatIsNull)
{
    const std::string body = "--b\r\nA:1\r\n\r\nx\ry\r\n--b--";
    const std::string kinds[] = {"N", "V", "DK", "B", "H", "E", "Z"};
    RecordedParser complete("--b");
    ASSERT_EQ(complete.Feed(body), body.size());
    ASSERT_EQ(complete.Events().Text(), "B N(A) V(1) H D(x) K(\\r) D(y) E Z");
    const std::string expected[] = {"B V(1) H D(x) K(\\r) D(y) E Z",
                                    "B N(A) H D(x) K(\\r) D(y) E Z",
                                    "B N(A) V(1) H E Z",
                                    "N(A) V(1) H D(x) K(\\r) D(y) E Z",
                                    "B N(A) V(1) D(x) K(\\r) D(y) E Z",
                                    "B N(A) V(1) H D(x) K(\\r) D(y) Z",
                                    "B N(A) V(1) H D(x) K(\\r) D(y) E"};
    for (size_t which = 0; which < 7; ++which) {
        multipart_callbacks callbacks = EventRecorder::Callbacks();
        void *entries = &callbacks;
        void (**const functions)() = static_cast<void (**)()>(entries);
        functions[which] = nullptr;
        RecordedParser parser("--b", &callbacks);
        EXPECT_EQ(parser.Feed(body), body.size());
        EXPECT_EQ(parser.Events().Text(), expected[which]) << kinds[which];
    }
}

// ---------------------------------------------------------------------------------------------
// Single rules.

TEST(ParserTest, TakesLettersAndHyphensInANameAndNothingElse)
{
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool isNameByte =
            std::strchr("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-", c) != nullptr &&
            c != '\0';
        const bool isTaken = isNameByte || c == ':' || c == '\r';
        RecordedParser parser("--b");
        parser.Feed("--b\r\nA");
        EXPECT_EQ(parser.Feed(std::string(1, c)), isTaken ? 1U : 0U) << byte;
        EXPECT_EQ(parser.State() == ParserState::HeaderName, c != ':' && c != '\r') << byte;
    }
}

TEST(ParserTest, SkipsOnlyBlanksBeforeAValue)
{
    for (int byte = 0; byte < 256; ++byte) {
        RecordedParser parser("--b");
        parser.Feed("--b\r\nA:");
        EXPECT_EQ(parser.Feed(std::string(1, static_cast<char>(byte))), 1U);
        EXPECT_EQ(parser.State(), byte == ' '    ? ParserState::HeaderValueStart
                                  : byte == '\r' ? ParserState::HeaderValueAlmostDone
                                                 : ParserState::HeaderValue)
            << byte;
    }
}

TEST(ParserTest, RefusesAStateThatDoesNotExist)
{
    for (int state = 0; state < 256; ++state) {
        RecordedParser parser("--b");
        parser.Record().state = static_cast<uint8_t>(state);
        const bool exists = state >= 2 && state <= 17;
        const char *accepted[] = {"-", "-", "A",  "A", "\n", "v",  "v", "\n",
                                  "x", "x", "\r", "-", "-",  "\n", "-", "x"};
        const std::string byte = exists ? accepted[state - 2] : "x";
        EXPECT_EQ(parser.Feed(byte), exists ? 1U : 0U) << state;
        if (!exists) {
            EXPECT_EQ(parser.Record().state, state);
            EXPECT_EQ(parser.Events().Text(), "");
        }
    }
}

TEST(ParserTest, StaysInsideItsRecordWhenThatIsDamaged)
{
    for (const uint32_t index : {4U, 5U, 1000000U, UINT32_MAX}) {
        RecordedParser parser("--b");
        parser.Record().state = static_cast<uint8_t>(ParserState::PartDataBoundary);
        parser.Record().matchIndex = index;
        EXPECT_EQ(parser.Feed(std::string(3, '\0')), 3U);
        EXPECT_EQ(parser.Events().Text(), "K(\\r\\n--b) D(\\x00\\x00\\x00)") << index;
        RecordedParser opening("--b");
        opening.Record().state = static_cast<uint8_t>(ParserState::StartBoundary);
        opening.Record().matchIndex = index;
        EXPECT_EQ(opening.Feed(std::string(3, '\0')), 0U);
        EXPECT_EQ(opening.Record().matchIndex, index);
    }
}

TEST(ParserTest, StartsWithARecordOfKnownContent)
{
    const multipart_callbacks callbacks = {};
    RecordedParser parser("--frontier", &callbacks);
    const ParserRecord &record = parser.Record();
    EXPECT_EQ(record.userData, &parser.Events());
    EXPECT_EQ(record.matchIndex, 0U);
    EXPECT_EQ(record.boundaryLength, 10U);
    EXPECT_EQ(record.state, 2);
    EXPECT_EQ(record.settings, &callbacks);
    const char *boundary = reinterpret_cast<const char *>(&record + 1);
    EXPECT_STREQ(boundary, "--frontier");
    EXPECT_EQ(record.heldBytes, boundary + 11);
}

TEST(ParserTest, HasNoUserDataAtFirst)
{
    multipart_parser *parser = multipart_parser_init("--b", &EventRecorder::Callbacks());
    EXPECT_EQ(multipart_parser_get_data(parser), nullptr);
    multipart_parser_free(parser);
}

TEST(ParserTest, KeepsUserDataThroughABody)
{
    RecordedParser parser("--b");
    parser.Feed("--b\r\nA:1\r\n\r\nx\r\n--b--");
    EXPECT_EQ(multipart_parser_get_data(parser.Get()), &parser.Events());
}

TEST(ParserTest, CopiesTheBoundary)
{
    std::string boundary = "--b";
    RecordedParser parser(boundary);
    boundary = "--c";
    EXPECT_EQ(parser.Feed("--b\r\n"), 5U);
}

TEST(ParserTest, TakesNoMoreOfABoundaryThanUpToItsNul)
{
    RecordedParser parser(std::string("--b\0c", 5));
    EXPECT_EQ(parser.Record().boundaryLength, 3U);
    EXPECT_EQ(parser.Feed("--b\r\n"), 5U);
}

// Where a size has 32 bits there are no such pieces.
#if SIZE_MAX > UINT32_MAX

// Room for pieces of more than 4 GiB that costs no memory: pages of zeros that are only read.
class HugeZeros
{
public:
    explicit HugeZeros(size_t count)
        : size(count)
        , bytes(mmap(nullptr, count, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {}
    ~HugeZeros() { munmap(bytes, size); }
    HugeZeros(const HugeZeros &) = delete;
    HugeZeros &operator=(const HugeZeros &) = delete;

    bool Valid() const { return bytes != MAP_FAILED; }
    const char *Bytes() const { return static_cast<const char *>(bytes); }

private:
    size_t size;
    void *bytes;
};

TEST(ParserTest, HandsOutMoreThanFourGigabytesInSlicesThatFitTheirCount)
{
    static std::vector<uint32_t> sizes;
    sizes.clear();
    multipart_callbacks callbacks = {};
    callbacks.on_part_data = [](multipart_parser *, const char *, uint32_t size) {
        sizes.push_back(size);
        return 0;
    };
    const size_t size = size_t(UINT32_MAX) + 5;
    const HugeZeros zeros(size);
    ASSERT_TRUE(zeros.Valid());
    RecordedParser parser("--b", &callbacks);
    parser.Feed("--b\r\n\r\n");
    EXPECT_EQ(multipart_parser_execute(parser.Get(), zeros.Bytes(), size), size);
    EXPECT_EQ(sizes, (std::vector<uint32_t>{UINT32_MAX, 5}));
}

TEST(ParserTest, StopsInsideAPieceOfMoreThanFourGigabytes)
{
    multipart_callbacks callbacks = {};
    callbacks.on_part_data = [](multipart_parser *, const char *, uint32_t size) {
        return size == 5 ? 1 : 0;
    };
    const size_t size = size_t(UINT32_MAX) + 5;
    const HugeZeros zeros(size);
    ASSERT_TRUE(zeros.Valid());
    RecordedParser parser("--b", &callbacks);
    parser.Feed("--b\r\n\r\n");
    EXPECT_EQ(multipart_parser_execute(parser.Get(), zeros.Bytes(), size), size - 1);
}

#endif

} // namespace
