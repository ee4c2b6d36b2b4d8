#include <benchmark/benchmark.h>
#include <cstring>
#include <memory>

#include "contender.h"
#include "multipart_parser.h"
#include "referenceparser.h"

namespace {

int TakeData(multipart_parser *parser, const char *data, uint32_t size)
{
    static_cast<Sink *>(multipart_parser_get_data(parser))->Take(data, size);
    return 0;
}

const multipart_callbacks callbacks = {nullptr, nullptr, TakeData, nullptr,
                                       nullptr, nullptr, nullptr};

void RunParser(const Workload &workload, Sink *sink)
{
    const std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser(
        multipart_parser_init(workload.boundary.c_str(), &callbacks), &multipart_parser_free);
    multipart_parser_set_data(parser.get(), sink);
    ForEachPiece(workload, [&parser](const char *bytes, size_t size) {
        multipart_parser_execute(parser.get(), bytes, size);
    });
}

void RunByteWise(const Workload &workload, Sink *sink)
{
    ReferenceParser parser(workload.boundary, &callbacks);
    multipart_parser_set_data(parser.Handle(), sink);
    ForEachPiece(workload,
                 [&parser](const char *bytes, size_t size) { parser.Execute(bytes, size); });
}

// The calls that any parser of these slices makes, found beforehand: for each CR the slice up to it
// and, where it starts no delimiter, the held bytes. The rest of a piece is a slice with nothing
// held.
class CallbackFloor
{
public:
    explicit CallbackFloor(const Workload &workload)
        : held("\r\n" + workload.boundary)
        , base(workload.body.data())
    {
        multipart_callbacks recording = callbacks;
        recording.on_part_data = [](multipart_parser *parser, const char *data, uint32_t size) {
            static_cast<CallbackFloor *>(multipart_parser_get_data(parser))->Add(data, size);
            return 0;
        };
        bodySize = workload.body.size();
        const std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser(
            multipart_parser_init(workload.boundary.c_str(), &recording), &multipart_parser_free);
        multipart_parser_set_data(parser.get(), this);
        ForEachPiece(workload, [&parser](const char *bytes, size_t size) {
            multipart_parser_execute(parser.get(), bytes, size);
        });
        calls.shrink_to_fit();
    }

    void Make(Sink *sink) const
    {
        // As the parser's user gets them: through a pointer that the compiler cannot see through.
        multipart_data_callback volatile entry = TakeData;
        const multipart_data_callback callback = entry;
        const std::unique_ptr<multipart_parser, decltype(&multipart_parser_free)> parser(
            multipart_parser_init("", &callbacks), &multipart_parser_free);
        multipart_parser_set_data(parser.get(), sink);
        for (const Call &call : calls) {
            const bool isHeld = (call.offset & heldFlag) != 0;
            callback(parser.get(), isHeld ? held.data() : base + call.offset, call.size);
        }
    }

private:
    struct Call
    {
        uint32_t offset;
        uint32_t size;
    };
    static constexpr uint32_t heldFlag = 0x80000000;

    void Add(const char *data, uint32_t size)
    {
        const auto offset = static_cast<size_t>(data - base);
        calls.push_back({offset < bodySize ? static_cast<uint32_t>(offset) : heldFlag, size});
    }

    std::string held;
    const char *base;
    size_t bodySize = 0;
    std::vector<Call> calls;
};

void CopyPart(const Workload &workload, Sink *sink)
{
    size_t left = workload.partSize;
    const char *from = workload.body.data() + workload.partBegin;
    while (left != 0) {
        const size_t size = std::min(left, workload.pieceSize);
        sink->Take(from, size);
        from += size;
        left -= size;
    }
}

// Looks for each CR and copies nothing.
void SearchPart(const Workload &workload, Sink *sink)
{
    const char *from = workload.body.data() + workload.partBegin;
    const char *end = from + workload.partSize;
    size_t found = 0;
    while ((from = static_cast<const char *>(
                std::memchr(from, '\r', static_cast<size_t>(end - from)))) != nullptr) {
        ++found;
        ++from;
    }
    benchmark::DoNotOptimize(found);
    sink->Pass(workload.partSize);
}

template <void (*Function)(const Workload &, Sink *)>
Run Prepare(const Workload &workload)
{
    return [&workload](Sink *sink) { Function(workload, sink); };
}

Run PrepareCallbackFloor(const Workload &workload)
{
    auto calls = std::make_shared<CallbackFloor>(workload);
    return [calls](Sink *sink) { calls->Make(sink); };
}

} // namespace

std::vector<Contender> OwnContenders()
{
    return {{"parser", Prepare<RunParser>},
            {"callback-floor", PrepareCallbackFloor},
            {"byte-wise", Prepare<RunByteWise>},
            {"memchr", Prepare<SearchPart>},
            {"memcpy", Prepare<CopyPart>}};
}
