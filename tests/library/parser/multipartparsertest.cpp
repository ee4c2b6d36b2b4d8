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
    {"OnePart", "--b", "--b\r\nA: x\r\n\r\nhi\r\n--b--", all, //
     "B N(A) V(x) H D(hi) E Z", "B N(A) N() V(x) V() H D(h) D(i) D() E Z"},
    {"TwoParts", "--b", "--b\r\nA:1\r\n\r\nx\r\n--b\r\nB:2\r\n\r\ny\r\n--b--\r\n", all,
     "B N(A) V(1) H D(x) E B N(B) V(2) H D(y) E Z",
     "B N(A) N() V(1) V() H D(x) D() E B N(B) N() V(2) V() H D(y) D() E Z"},
    {"TwoHeaders", "--b", "--b\r\nAb:1\r\nC-d:23\r\n\r\n\r\n--b--", all,
     "B N(Ab) V(1) N(C-d) V(23) H D() E Z",
     "B N(A) N(b) N() V(1) V() N(C) N(-) N(d) N() V(2) V(3) V() H D() E Z"},
    {"NoHeaders", "--b", "--b\r\n\r\nx\r\n--b--", all, "B H D(x) E Z", "B H D(x) D() E Z"},
    {"CrRightBehindTheHeaders", "--b", "--b\r\n\r\n\r\n--b--", all, "B H D() E Z", "B H D() E Z"},
    {"NoDataAtAll", "--b", "--b\r\n\r\n", all, "B", "B"},
    {"EmptyHeaderName", "--b", "--b\r\n:v\r\n\r\n", all, "B N() V(v)", "B N() V(v) V()"},
    {"EmptyHeaderValue", "--b", "--b\r\nA:\r\n\r\n", all, "B N(A) V()", "B N(A) N() V()"},
    {"BlanksBeforeAValueAreSkipped", "--b", "--b\r\nA:   v w \r\n", all, "B N(A) V(v w )",
     "B N(A) N() V(v) V( ) V(w) V( ) V()"},
    {"OnlyBlanksAsAValue", "--b", "--b\r\nA:  \r\n", all, "B N(A) V()", "B N(A) N() V()"},
    {"TabBeforeAValueIsKept", "--b", "--b\r\nA:\tv\r\n", all, "B N(A) V(\\x09v)",
     "B N(A) N() V(\\x09) V(v) V()"},
    {"LfInsideAValue", "--b", "--b\r\nA:v\nw\r\n", all, "B N(A) V(v\\nw)",
     "B N(A) N() V(v) V(\\n) V(w) V()"},
    {"AnyByteInAValue", "--b", std::string("--b\r\nA:\0\x7f\xff:\r\n", 13), all,
     "B N(A) V(\\x00\\x7f\\xff:)", "B N(A) N() V(\\x00) V(\\x7f) V(\\xff) V(:) V()"},
    {"LineWithoutColonEndsTheHeaders", "--b", "--b\r\nabc\r\nx", all, "B H D(x)",
     "B N(a) N(b) N(c) H D(x)"},
    {"LineWithoutColonBehindAHeader", "--b", "--b\r\nA:1\r\nbc\r\nx", all, "B N(A) V(1) H D(x)",
     "B N(A) N() V(1) V() N(b) N(c) H D(x)"},
    {"DigitInAName", "--b", "--b\r\nA1:v\r\n", 6, "B", "B N(A)"},
    {"UnderscoreInAName", "--b", "--b\r\nA_b:v\r\n", 6, "B", "B N(A)"},
    {"BlankInAName", "--b", "--b\r\nA :v\r\n", 6, "B", "B N(A)"},
    {"LfInsteadOfCrInAName", "--b", "--b\r\nA\n", 6, "B", "B N(A)"},
    {"NoLfBehindTheHeaders", "--b", "--b\r\n\rx", 6, "B", "B"},
    {"NoLfBehindAValue", "--b", "--b\r\nA:v\rx", 9, "B N(A) V(v)", "B N(A) N() V(v) V()"},
    {"WrongFirstByte", "--b", "x--b\r\n", 0, "", ""},
    {"LineEndBeforeTheBoundary", "--b", "\r\n--b\r\n", 0, "", ""},
    {"WrongLaterByteOfTheOpeningLine", "--b", "--c\r\n", 2, "", ""},
    {"OpeningLineGoesOn", "--b", "--bc\r\n", 3, "", ""},
    {"OpeningLineWithoutCr", "--b", "--b\n", 3, "", ""},
    {"OpeningLineWithoutLf", "--b", "--b\rx", 4, "", ""},
    {"OnlyTheOpeningLine", "--b", "--b\r\n", all, "B", "B"},
    {"ClosingDelimiterFirst", "--b", "--b--\r\n", 3, "", ""},
    {"CrInData", "--b", "--b\r\n\r\na\rb\r\n--b--", all, "B H D(a) K(\\r) D(b) E Z",
     "B H D(a) D() K(\\r) D(b) D() E Z"},
    {"TwoCrInARow", "--b", "--b\r\n\r\na\r\rb", all, "B H D(a) K(\\r) D() K(\\r) D(b)",
     "B H D(a) D() K(\\r) D() K(\\r) D(b)"},
    {"LfInData", "--b", "--b\r\n\r\na\nb", all, "B H D(a\\nb)", "B H D(a) D(\\n) D(b)"},
    {"LineEndInData", "--b", "--b\r\n\r\na\r\nb", all, "B H D(a) K(\\r\\n) D(b)",
     "B H D(a) D() K(\\r\\n) D(b)"},
    {"EmptyLinesInData", "--b", "--b\r\n\r\na\r\n\r\nb", all,
     "B H D(a) K(\\r\\n) D() K(\\r\\n) D(b)", "B H D(a) D() K(\\r\\n) D() K(\\r\\n) D(b)"},
    {"BoundaryPrefixInData", "--b", "--b\r\n\r\na\r\n--c", all, "B H D(a) K(\\r\\n--) D(c)",
     "B H D(a) D() K(\\r\\n--) D(c)"},
    {"BoundaryWithoutLineEnd", "--b", "--b\r\n\r\na--b", all, "B H D(a--b)",
     "B H D(a) D(-) D(-) D(b)"},
    {"BoundaryBehindLfOnly", "--b", "--b\r\n\r\na\n--b", all, "B H D(a\\n--b)",
     "B H D(a) D(\\n) D(-) D(-) D(b)"},
    {"CrBreaksAMatchAndStartsANewOne", "--b", "--b\r\n\r\na\r\n-\r\n--b--", all,
     "B H D(a) K(\\r\\n-) D() E Z", "B H D(a) D() K(\\r\\n-) D() E Z"},
    {"CrBeforeADelimiter", "--b", "--b\r\n\r\na\r\r\n--b--", all, "B H D(a) K(\\r) D() E Z",
     "B H D(a) D() K(\\r) D() E Z"},
    {"DelimiterRightBehindADelimiterLine", "--b", "--b\r\n\r\n\r\n--b\r\n\r\n\r\n--b--", all,
     "B H D() E B H D() E Z", "B H D() E B H D() E Z"},
    {"OtherByteBehindTheBoundary", "--b", "--b\r\n\r\na\r\n--bx", 13, "B H D(a) E",
     "B H D(a) D() E"},
    {"OneHyphenBehindTheBoundary", "--b", "--b\r\n\r\na\r\n--b-x", 14, "B H D(a) E",
     "B H D(a) D() E"},
    {"CrBehindTheBoundaryWithoutLf", "--b", "--b\r\n\r\na\r\n--b\rx", 14, "B H D(a) E",
     "B H D(a) D() E"},
    {"EpilogueIsIgnored", "--b", std::string("--b\r\n\r\na\r\n--b--\r\n--b\r\n\0 more", 29), all,
     "B H D(a) E Z", "B H D(a) D() E Z"},
    {"EndsInsideDataBehindCr", "--b", "--b\r\n\r\na\r", all, "B H D(a)", "B H D(a) D()"},
    {"EndsInsideADelimiter", "--b", "--b\r\n\r\na\r\n--", all, "B H D(a)", "B H D(a) D()"},
    {"EndsInsideAName", "--b", "--b\r\nAb", all, "B N(Ab)", "B N(A) N(b)"},
    {"EndsInsideAValue", "--b", "--b\r\nA:vw", all, "B N(A) V(vw)", "B N(A) N() V(v) V(w)"},
    {"BoundaryOfOneByte", "x", "x\r\n\r\na\r\nxx", 9, "B H D(a) E", "B H D(a) D() E"},
    {"BoundaryThatRepeatsItself", "--aab", "--aab\r\n\r\n\r\n--aaab\r\n--aab--", all,
     "B H D() K(\\r\\n--aa) D(ab) E Z", "B H D() K(\\r\\n--aa) D(a) D(b) D() E Z"},
    {"EmptyBoundary", "", "\r\n\r\na\r\n--\r\nb", all, "B H D(a) K(\\r\\n) D(--) K(\\r\\n) D(b)",
     "B H D(a) D() K(\\r\\n) D(-) D(-) D() K(\\r\\n) D(b)"},
    {"EmptyBoundaryAndNul", "", std::string("\r\n\r\n\r\n\0\0\0\r\n\0", 12), all,
     "B H D() K(\\r\\n) D(\\x00\\x00\\x00) K(\\r\\n) D(\\x00)",
     "B H D() K(\\r\\n) D(\\x00) D(\\x00) D(\\x00) D() K(\\r\\n) D(\\x00)"},
    {"BoundaryLongerThanAVector", "--0123456789abcdefghijklmnopqrstuvwxyz",
     "--0123456789abcdefghijklmnopqrstuvwxyz\r\n\r\n"
     "x\r\n--0123456789abcdefghijklmnopqrstuvwxy_"
     "\r\n--0123456789abcdefghijklmnopqrstuvwxyz--",
     all, "B H D(x) K(\\r\\n--0123456789abcdefghijklmnopqrstuvwxy) D(_) E Z",
     "B H D(x) D() K(\\r\\n--0123456789abcdefghijklmnopqrstuvwxy) D(_) D() E Z"},
};

class Body : public testing::TestWithParam<BodyRow>
{
protected:
    const BodyRow &row = GetParam();
    const size_t taken = std::min(row.taken, row.body.size());
};

TEST_P(Body, FedWholeGivesTheseEvents)
{
    RecordedParser parser(row.boundary);
    EXPECT_EQ(parser.Feed(row.body), taken);
    EXPECT_EQ(parser.Events().Text(), row.whole);
}

TEST_P(Body, FedByteByByteGivesTheseEvents)
{
    RecordedParser parser(row.boundary);
    EXPECT_EQ(FeedBytes(&parser, row.body), taken);
    EXPECT_EQ(parser.Events().Text(), row.byteByByte);
}

TEST_P(Body, CutAnywhereMeansTheSame)
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

TEST_P(Body, CutAnywhereGivesTheEventsOfSingleBytes)
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

TEST_P(Body, WithoutCallbacksIsTakenAlike)
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

INSTANTIATE_TEST_SUITE_P(Parser, Body, testing::ValuesIn(bodyRows), NameOf<BodyRow>);

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
    {"Start", "", ParserState::Start, 0},
    {"StartBoundary", "--", ParserState::StartBoundary, 2},
    {"StartBoundaryMatched", "--b", ParserState::StartBoundary, 3},
    {"StartBoundaryBehindCr", "--b\r", ParserState::StartBoundary, 4},
    {"HeaderNameStart", "--b\r\n", ParserState::HeaderNameStart, 0},
    {"HeaderName", "--b\r\nA", ParserState::HeaderName, 0},
    {"HeadersAlmostDone", "--b\r\n\r", ParserState::HeadersAlmostDone, 0},
    {"HeaderValueStart", "--b\r\nA: ", ParserState::HeaderValueStart, 0},
    {"HeaderValue", "--b\r\nA:v", ParserState::HeaderValue, 0},
    {"HeaderValueAlmostDone", "--b\r\nA:v\r", ParserState::HeaderValueAlmostDone, 0},
    {"NextHeaderNameStart", "--b\r\nA:v\r\n", ParserState::HeaderNameStart, 0},
    {"PartDataStart", "--b\r\n\r\n", ParserState::PartDataStart, 0},
    {"PartData", "--b\r\n\r\nx", ParserState::PartData, 0},
    {"PartDataAlmostBoundary", "--b\r\n\r\nx\r", ParserState::PartDataAlmostBoundary, 0},
    {"PartDataBoundary", "--b\r\n\r\nx\r\n", ParserState::PartDataBoundary, 0},
    {"PartDataBoundaryHalfMatched", "--b\r\n\r\nx\r\n--", ParserState::PartDataBoundary, 2},
    {"PartDataBehindAHalfMatch", "--b\r\n\r\nx\r\n--c", ParserState::PartData, 2},
    {"PartDataAlmostEnd", "--b\r\n\r\nx\r\n--b", ParserState::PartDataAlmostEnd, 3},
    {"PartDataEnd", "--b\r\n\r\nx\r\n--b\r", ParserState::PartDataEnd, 3},
    {"NextPart", "--b\r\n\r\nx\r\n--b\r\n", ParserState::HeaderNameStart, 3},
    {"PartDataFinalHyphen", "--b\r\n\r\nx\r\n--b-", ParserState::PartDataFinalHyphen, 3},
    {"End", "--b\r\n\r\nx\r\n--b--", ParserState::End, 3},
    {"EndStays", "--b\r\n\r\nx\r\n--b--\r\n--b\r\n", ParserState::End, 3},
};

class State : public testing::TestWithParam<StateRow>
{};

TEST_P(State, IsReachedWhole)
{
    RecordedParser parser("--b");
    EXPECT_EQ(parser.Feed(GetParam().body), GetParam().body.size());
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Record().matchIndex, GetParam().matchIndex);
}

TEST_P(State, IsReachedByteByByte)
{
    RecordedParser parser("--b");
    EXPECT_EQ(FeedBytes(&parser, GetParam().body), GetParam().body.size());
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Record().matchIndex, GetParam().matchIndex);
}

TEST_P(State, IsKeptByAnEmptyPiece)
{
    RecordedParser parser("--b");
    parser.Feed(GetParam().body);
    const std::string events = parser.Events().Text();
    EXPECT_EQ(parser.Feed(""), 0U);
    EXPECT_EQ(parser.State(), GetParam().state);
    EXPECT_EQ(parser.Events().Text(), events);
}

INSTANTIATE_TEST_SUITE_P(Parser, State, testing::ValuesIn(stateRows), NameOf<StateRow>);

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
    {"PartBeginBehindTheOpeningLine", "--b\r\nA", 0, 4, ParserState::StartBoundary, 0, "--b\r\nA",
     6, "B B N(A)"},
    {"PartBeginThenTheSameByte", "--b\r\nA", 0, 4, ParserState::StartBoundary, 0, "\nA", 0, "B"},
    {"HeaderNameAtTheColon", "--b\r\nAb:v", 1, 7, ParserState::HeaderName, 0, ":v", 2,
     "B N(Ab) N() V(v)"},
    {"HeaderNameAtTheEndOfThePiece", "--b\r\nAb", 1, 6, ParserState::HeaderName, 0, "b:v", 3,
     "B N(Ab) N(b) V(v)"},
    {"HeaderValueAtCr", "--b\r\nA:vw\r\n\r\n", 2, 9, ParserState::HeaderValue, 0, "\r\n\r\n", 4,
     "B N(A) V(vw) V()"},
    {"HeaderValueAtTheEndOfThePiece", "--b\r\nA:vw", 2, 8, ParserState::HeaderValue, 0, "x\r", 2,
     "B N(A) V(vw) V(x)"},
    {"HeadersDone", "--b\r\n\r\nxy", 1, 7, ParserState::PartDataStart, 0, "xy", 2, "B H H D(xy)"},
    {"DataAtCr", "--b\r\n\r\nxy\r\nz", 2, 9, ParserState::PartData, 0, "\r\nz", 3,
     "B H D(xy) D() K(\\r\\n) D(z)"},
    {"DataAtTheEndOfThePiece", "--b\r\n\r\nxy", 2, 8, ParserState::PartData, 0, "z", 1,
     "B H D(xy) D(z)"},
    {"HeldCr", "--b\r\n\r\nx\rz", 3, 9, ParserState::PartDataAlmostBoundary, 0, "z", 1,
     "B H D(x) K(\\r) K(\\r) D(z)"},
    {"HeldCrThenLf", "--b\r\n\r\nx\rz", 3, 9, ParserState::PartDataAlmostBoundary, 0, "\n--b--", 6,
     "B H D(x) K(\\r) E Z"},
    {"HeldLineEnd", "--b\r\n\r\nx\r\nz", 3, 10, ParserState::PartDataBoundary, 0, "z", 1,
     "B H D(x) K(\\r\\n) K(\\r\\n) D(z)"},
    {"HeldLineEndThenTheBoundary", "--b\r\n\r\nx\r\nz", 3, 10, ParserState::PartDataBoundary, 0,
     "--b--", 5, "B H D(x) K(\\r\\n) E Z"},
    {"HeldPrefix", "--b\r\n\r\nx\r\n--c", 3, 12, ParserState::PartDataBoundary, 2, "c", 1,
     "B H D(x) K(\\r\\n--) K(\\r\\n--) D(c)"},
    {"HeldPrefixThenTheRestOfTheBoundary", "--b\r\n\r\nx\r\n--c", 3, 12,
     ParserState::PartDataBoundary, 2, "b--", 3, "B H D(x) K(\\r\\n--) E Z"},
    {"PartEndThenAnotherByte", "--b\r\n\r\nx\r\n--b--", 3, 12, ParserState::PartDataBoundary, 3,
     "x", 1, "B H D(x) E K(\\r\\n--b) D(x)"},
    {"PartEndThenTheSameByte", "--b\r\n\r\nx\r\n--b--", 3, 12, ParserState::PartDataBoundary, 3,
     "b--", 3, "B H D(x) E K(\\r\\n--b) D(b--)"},
    {"PartEndThenNul", "--b\r\n\r\nx\r\n--b--", 3, 12, ParserState::PartDataBoundary, 3,
     std::string("\0\0\0\0", 4), 4, "B H D(x) E K(\\r\\n--b) D(\\x00\\x00\\x00\\x00)"},
    {"PartEndThenCr", "--b\r\n\r\nx\r\n--b--", 3, 12, ParserState::PartDataBoundary, 3, "\r\n--b--",
     7, "B H D(x) E K(\\r\\n--b) D() E Z"},
    {"PartBeginBehindALaterLine", "--b\r\n\r\nx\r\n--b\r\nA", 4, 14, ParserState::HeaderNameStart,
     3, "A", 1, "B H D(x) E B N(A)"},
    {"PartBeginBehindALaterLineThenTheSameByte", "--b\r\n\r\nx\r\n--b\r\nA", 4, 14,
     ParserState::HeaderNameStart, 3, "\n", 0, "B H D(x) E B"},
    {"BodyEnd", "--b\r\n\r\nx\r\n--b--", 4, 14, ParserState::PartDataFinalHyphen, 3, "-x", 2,
     "B H D(x) E Z Z"},
    {"BodyEndThenAnotherByte", "--b\r\n\r\nx\r\n--b--", 4, 14, ParserState::PartDataFinalHyphen, 3,
     "x", 0, "B H D(x) E Z"},
};

class Stop : public testing::TestWithParam<StopRow>
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

TEST_P(Stop, LeavesTheRecordAsItWas)
{
    RecordedParser parser("--b");
    EXPECT_EQ(parser.FeedStoppingAt(GetParam().body, GetParam().event), GetParam().result);
    Expect(&parser);
}

TEST_P(Stop, CountsFromTheStartOfThePiece)
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

INSTANTIATE_TEST_SUITE_P(Parser, Stop, testing::ValuesIn(stopRows), NameOf<StopRow>);

TEST(Parser, StopsWithAnyResultButZero)
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

TEST(Parser, SkipsEachCallbackThatIsNull)
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

TEST(Parser, TakesLettersAndHyphensInANameAndNothingElse)
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

TEST(Parser, SkipsOnlyBlanksBeforeAValue)
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

TEST(Parser, RefusesAStateThatDoesNotExist)
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

TEST(Parser, StaysInsideItsRecordWhenThatIsDamaged)
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

TEST(Parser, StartsWithARecordOfKnownContent)
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

TEST(Parser, HasNoUserDataAtFirst)
{
    multipart_parser *parser = multipart_parser_init("--b", &EventRecorder::Callbacks());
    EXPECT_EQ(multipart_parser_get_data(parser), nullptr);
    multipart_parser_free(parser);
}

TEST(Parser, KeepsUserDataThroughABody)
{
    RecordedParser parser("--b");
    parser.Feed("--b\r\nA:1\r\n\r\nx\r\n--b--");
    EXPECT_EQ(multipart_parser_get_data(parser.Get()), &parser.Events());
}

TEST(Parser, CopiesTheBoundary)
{
    std::string boundary = "--b";
    RecordedParser parser(boundary);
    boundary = "--c";
    EXPECT_EQ(parser.Feed("--b\r\n"), 5U);
}

TEST(Parser, TakesNoMoreOfABoundaryThanUpToItsNul)
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

TEST(Parser, HandsOutMoreThanFourGigabytesInSlicesThatFitTheirCount)
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

TEST(Parser, StopsInsideAPieceOfMoreThanFourGigabytes)
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
