#include "referenceparser.h"

namespace {

constexpr char CR = 13;
constexpr char LF = 10;

bool IsHeaderNameByte(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
}

} // namespace

ReferenceParser::ReferenceParser(const std::string &delimiter, const multipart_callbacks *settings)
    : record()
    , boundary(delimiter)
    , held(delimiter.size() + 2)
{
    record.boundaryLength = static_cast<uint32_t>(boundary.size());
    record.state = static_cast<uint8_t>(ParserState::Start);
    record.settings = settings;
    record.heldBytes = held.data();
}

bool ReferenceParser::Notify(multipart_notify_callback callback)
{
    return callback == nullptr || callback(Handle()) == 0;
}

bool ReferenceParser::Emit(multipart_data_callback callback, const char *data, size_t size)
{
    return callback == nullptr || callback(Handle(), data, static_cast<uint32_t>(size)) == 0;
}

size_t ReferenceParser::Execute(const char *buffer, size_t length)
{
    const multipart_callbacks *s = record.settings;
    size_t mark = 0;
    size_t i = 0;
    while (i < length) {
        const char c = buffer[i];
        const bool isLast = i + 1 == length;
        auto become = [this](ParserState state) { record.state = static_cast<uint8_t>(state); };
        switch (static_cast<ParserState>(record.state)) {
        case ParserState::Start:
            record.matchIndex = 0;
            become(ParserState::StartBoundary);
            continue; // the same byte
        case ParserState::StartBoundary:
            if (record.matchIndex == record.boundaryLength) {
                if (c != CR) {
                    return i;
                }
                ++record.matchIndex;
            } else if (record.matchIndex == record.boundaryLength + 1) {
                if (c != LF) {
                    return i;
                }
                record.matchIndex = 0;
                if (!Notify(s->on_part_begin)) {
                    return i;
                }
                become(ParserState::HeaderNameStart);
            } else {
                if (c != boundary[record.matchIndex]) {
                    return i;
                }
                ++record.matchIndex;
            }
            break;
        case ParserState::HeaderNameStart:
            mark = i;
            become(ParserState::HeaderName);
            continue; // the same byte
        case ParserState::HeaderName:
            if (c == CR) {
                become(ParserState::HeadersAlmostDone);
            } else if (c == ':') {
                if (!Emit(s->on_header_name, buffer + mark, i - mark)) {
                    return i;
                }
                become(ParserState::HeaderValueStart);
            } else if (!IsHeaderNameByte(c)) {
                return i;
            } else if (isLast && !Emit(s->on_header_name, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case ParserState::HeadersAlmostDone:
            if (c != LF) {
                return i;
            }
            become(ParserState::PartDataStart);
            break;
        case ParserState::HeaderValueStart:
            if (c == ' ') {
                break;
            }
            mark = i;
            become(ParserState::HeaderValue);
            continue; // the same byte
        case ParserState::HeaderValue:
            if (c == CR) {
                if (!Emit(s->on_header_value, buffer + mark, i - mark)) {
                    return i;
                }
                become(ParserState::HeaderValueAlmostDone);
            } else if (isLast && !Emit(s->on_header_value, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case ParserState::HeaderValueAlmostDone:
            if (c != LF) {
                return i;
            }
            become(ParserState::HeaderNameStart);
            break;
        case ParserState::PartDataStart:
            if (!Notify(s->on_headers_done)) {
                return i;
            }
            mark = i;
            become(ParserState::PartData);
            continue; // the same byte
        case ParserState::PartData:
            if (c == CR) {
                if (!Emit(s->on_part_data, buffer + mark, i - mark)) {
                    return i;
                }
                mark = i;
                held[0] = CR;
                become(ParserState::PartDataAlmostBoundary);
            } else if (isLast && !Emit(s->on_part_data, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case ParserState::PartDataAlmostBoundary:
            if (c == LF) {
                held[1] = LF;
                record.matchIndex = 0;
                become(ParserState::PartDataBoundary);
                break;
            }
            if (!Emit(s->on_part_data, held.data(), 1)) {
                return i;
            }
            mark = i;
            become(ParserState::PartData);
            continue; // the same byte
        case ParserState::PartDataBoundary:
            // A boundary that is empty, or matched already, matches nothing more.
            if (record.matchIndex == record.boundaryLength || c != boundary[record.matchIndex]) {
                if (!Emit(s->on_part_data, held.data(), size_t(2) + record.matchIndex)) {
                    return i;
                }
                mark = i;
                become(ParserState::PartData);
                continue; // the same byte
            }
            held[size_t(2) + record.matchIndex] = c;
            ++record.matchIndex;
            if (record.matchIndex == record.boundaryLength) {
                if (!Notify(s->on_part_end)) {
                    return i;
                }
                become(ParserState::PartDataAlmostEnd);
            }
            break;
        case ParserState::PartDataAlmostEnd:
            if (c == '-') {
                become(ParserState::PartDataFinalHyphen);
            } else if (c == CR) {
                become(ParserState::PartDataEnd);
            } else {
                return i;
            }
            break;
        case ParserState::PartDataEnd:
            if (c != LF) {
                return i;
            }
            become(ParserState::HeaderNameStart);
            if (!Notify(s->on_part_begin)) {
                return i;
            }
            break;
        case ParserState::PartDataFinalHyphen:
            if (c != '-' || !Notify(s->on_body_end)) {
                return i;
            }
            become(ParserState::End);
            break;
        case ParserState::End:
            break;
        default:
            return 0;
        }
        ++i;
    }
    return length;
}
