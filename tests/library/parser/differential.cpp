#include "differential.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "eventrecorder.h"
#include "multipart_parser.h"
#include "referenceparser.h"

namespace {

struct Step
{
    size_t size;
    size_t stopAt;
    bool skipByte;
};

struct Script
{
    std::vector<Step> steps;
    std::string boundary;
    std::string body;
};

class Reader
{
public:
    Reader(const uint8_t *input, size_t size)
        : position(input)
        , end(input + size)
    {}

    size_t Byte() { return position != end ? *position++ : 0; }

    std::string Bytes(size_t count)
    {
        const size_t taken = std::min(count, static_cast<size_t>(end - position));
        std::string bytes(reinterpret_cast<const char *>(position), taken);
        position += taken;
        return bytes;
    }

private:
    const uint8_t *position;
    const uint8_t *end;
};

Step ReadStep(Reader *reader)
{
    const size_t size = reader->Byte();
    const size_t stop = reader->Byte();
    return {size == 255 ? SIZE_MAX : size, (stop & 127) - 1, stop >= 128};
}

Script ReadScript(const uint8_t *input, size_t size)
{
    Reader reader(input, size);
    Script script;
    const size_t boundaryLength = reader.Byte();
    script.steps.resize(reader.Byte());
    for (Step &step : script.steps) {
        step = ReadStep(&reader);
    }
    script.boundary = reader.Bytes(boundaryLength).c_str();
    script.body = reader.Bytes(size);
    return script;
}

class Comparison
{
public:
    explicit Comparison(const std::string &boundary)
        : reference(boundary, &EventRecorder::Callbacks())
        , parser(multipart_parser_init(boundary.c_str(), &EventRecorder::Callbacks()),
                 &multipart_parser_free)
    {
        multipart_parser_set_data(reference.Handle(), &expected);
        multipart_parser_set_data(parser.get(), &seen);
    }

    // The piece is copied to a block of its own, so that reading beyond its ends is noticed.
    size_t Feed(const char *bytes, size_t size, size_t stopAt)
    {
        const std::unique_ptr<char[]> piece(new char[size]);
        std::copy_n(bytes, size, piece.get());
        for (EventRecorder *recorder : {&expected, &seen}) {
            recorder->Forget();
            recorder->ExpectPiece(piece.get(), size);
            recorder->StopAt(stopAt);
        }
        expectedResult = reference.Execute(piece.get(), size);
        result = multipart_parser_execute(parser.get(), piece.get(), size);
        return result;
    }

    std::string Difference() const
    {
        const ParserRecord &record = *RecordOf(parser.get());
        return Compare("result", expectedResult, result) +
               Compare("state", reference.Record().state, record.state) +
               Compare("match index", reference.Record().matchIndex, record.matchIndex) +
               Compare("boundary length", reference.Record().boundaryLength,
                       record.boundaryLength) +
               (expected.Text() == seen.Text()
                    ? std::string()
                    : "events\n  expected " + expected.Text() + "\n  seen     " + seen.Text());
    }

private:
    static std::string Compare(const char *what, size_t wanted, size_t found)
    {
        return wanted == found ? std::string()
                               : std::string(what) + ": expected " + std::to_string(wanted) +
                                     ", seen " + std::to_string(found) + "\n";
    }

    EventRecorder expected;
    EventRecorder seen;
    ReferenceParser reference;
    std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser;
    size_t expectedResult = 0;
    size_t result = 0;
};

// Where feeding goes on. Without a step left nothing asks to stop, so that it ends.
size_t NextPosition(size_t begin, size_t size, size_t consumed, bool skipByte)
{
    if (consumed == size) {
        return begin + size;
    }
    return begin + consumed + (skipByte ? 1 : 0);
}

} // namespace

std::string FindDifference(const uint8_t *input, size_t size)
{
    const Script script = ReadScript(input, size);
    Comparison comparison(script.boundary);
    Step step = {SIZE_MAX, SIZE_MAX, false};
    size_t position = 0;
    for (size_t turn = 0; position < script.body.size(); ++turn) {
        const bool scripted = turn < script.steps.size();
        if (scripted) {
            step = script.steps[turn];
        }
        const size_t left = script.body.size() - position;
        const size_t count = std::min(scripted ? step.size : std::max<size_t>(step.size, 1), left);
        const size_t consumed = comparison.Feed(script.body.data() + position, count,
                                                scripted ? step.stopAt : SIZE_MAX);
        const std::string difference = comparison.Difference();
        if (!difference.empty()) {
            return "piece " + std::to_string(turn) + ": " + difference;
        }
        if (consumed < count && !scripted) {
            break; // not a multipart body from here on
        }
        position = NextPosition(position, count, consumed, step.skipByte);
    }
    return std::string();
}
