#include "multipart_parser.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "multipart_scan.h"

// One block of memory holds the record, the boundary with its terminator and behind that the bytes
// that are held back while they may be the start of a delimiter: CR, LF and the boundary. They are
// always the same ones, so they are written once.
struct multipart_parser
{
    void *user_data;
    uint32_t match_index;
    uint32_t boundary_length;
    uint8_t state;
    const multipart_callbacks *settings;
    char *held_bytes;
    char boundary[1];
};

namespace {

enum State : uint8_t
{
    UNINITIALIZED = 1,
    START,
    START_BOUNDARY,
    HEADER_NAME_START,
    HEADER_NAME,
    HEADERS_ALMOST_DONE,
    HEADER_VALUE_START,
    HEADER_VALUE,
    HEADER_VALUE_ALMOST_DONE,
    PART_DATA_START,
    PART_DATA,
    PART_DATA_ALMOST_BOUNDARY,
    PART_DATA_BOUNDARY,
    PART_DATA_ALMOST_END,
    PART_DATA_END,
    PART_DATA_FINAL_HYPHEN,
    END
};

using multipart::CR;
using multipart::LF;

bool Notify(multipart_parser *p, multipart_notify_callback callback)
{
    return callback == nullptr || callback(p) == 0;
}

bool Emit(multipart_parser *p, multipart_data_callback callback, const char *data, size_t size)
{
    return callback == nullptr || callback(p, data, static_cast<uint32_t>(size)) == 0;
}

// The opening line is the boundary, CR and LF.
bool IsOpeningByte(const multipart_parser *p, char c)
{
    if (p->match_index < p->boundary_length) {
        return c == p->boundary[p->match_index];
    }
    return c == (p->match_index == p->boundary_length ? CR : LF);
}

bool IsHeaderNameByte(char c)
{
    const int lower = c | 0x20;
    return c == '-' || (lower >= 'a' && lower <= 'z');
}

size_t HeaderNameEnd(const char *buffer, size_t from, size_t length)
{
    return static_cast<size_t>(std::find_if_not(buffer + from, buffer + length, IsHeaderNameByte) -
                               buffer);
}

// Matches as much of the boundary as there is, of at least one byte. Returns how many bytes of it
// were found: none when the boundary is empty, or when it was found before and a callback stopped.
uint32_t MatchBoundary(multipart_parser *p, const char *bytes, size_t count)
{
    if (p->match_index >= p->boundary_length || *bytes != p->boundary[p->match_index]) {
        return 0; // so it is for most line ends in a part
    }
    const size_t missing = p->boundary_length - p->match_index;
    const auto found = static_cast<uint32_t>(multipart::Scan::CommonLength(
        bytes, p->boundary + p->match_index, std::min(count, missing)));
    p->match_index += found;
    return found;
}

// CR, LF and what was matched of the boundary.
size_t HeldLength(const multipart_parser *p)
{
    return size_t(2) + std::min(p->match_index, p->boundary_length);
}

// A protocol loop: one switch, in the order of the states. Each turn takes one byte, or the whole
// run of bytes that stay in its state, and leaves the record as single bytes would have done.
size_t ExecutePiece(multipart_parser *p, const char *buffer, size_t length)
{
    const multipart_callbacks *s = p->settings;
    multipart::Scan scan(buffer, length);
    size_t i = 0;
    while (i < length) {
        switch (p->state) {
        case START:
            p->match_index = 0;
            p->state = START_BOUNDARY;
            [[fallthrough]];
        case START_BOUNDARY:
            if (!IsOpeningByte(p, buffer[i])) {
                return i;
            }
            if (p->match_index <= p->boundary_length) {
                ++p->match_index;
            } else {
                p->match_index = 0;
                if (!Notify(p, s->on_part_begin)) {
                    return i;
                }
                p->state = HEADER_NAME_START;
            }
            ++i;
            break;
        case HEADER_NAME_START:
            p->state = HEADER_NAME;
            [[fallthrough]];
        case HEADER_NAME: {
            const size_t end = HeaderNameEnd(buffer, i, length);
            if (end == length) {
                return Emit(p, s->on_header_name, buffer + i, end - i) ? length : length - 1;
            }
            if (buffer[end] == CR) {
                p->state = HEADERS_ALMOST_DONE;
            } else if (buffer[end] == ':' && Emit(p, s->on_header_name, buffer + i, end - i)) {
                p->state = HEADER_VALUE_START;
            } else {
                return end;
            }
            i = end + 1;
            break;
        }
        case HEADERS_ALMOST_DONE:
            if (buffer[i] != LF) {
                return i;
            }
            p->state = PART_DATA_START;
            ++i;
            break;
        case HEADER_VALUE_START:
            if (buffer[i] == ' ') {
                ++i;
                break;
            }
            p->state = HEADER_VALUE;
            [[fallthrough]];
        case HEADER_VALUE: {
            const size_t end = scan.FindCr(i);
            const bool goOn = Emit(p, s->on_header_value, buffer + i, end - i);
            if (end == length) {
                return goOn ? length : length - 1;
            }
            if (!goOn) {
                return end;
            }
            p->state = HEADER_VALUE_ALMOST_DONE;
            i = end + 1;
            break;
        }
        case HEADER_VALUE_ALMOST_DONE:
            if (buffer[i] != LF) {
                return i;
            }
            p->state = HEADER_NAME_START;
            ++i;
            break;
        case PART_DATA_START:
            if (!Notify(p, s->on_headers_done)) {
                return i;
            }
            p->state = PART_DATA;
            [[fallthrough]];
        case PART_DATA:
        partData : {
            const size_t end = scan.FindCr(i);
            if (!Emit(p, s->on_part_data, buffer + i, end - i)) {
                return std::min(end, length - 1);
            }
            if (end == length) {
                return length;
            }
            p->state = PART_DATA_ALMOST_BOUNDARY;
            i = end + 1;
            if (i == length) {
                break;
            }
            [[fallthrough]];
        }
        case PART_DATA_ALMOST_BOUNDARY:
            if (buffer[i] != LF) {
                if (!Emit(p, s->on_part_data, p->held_bytes, 1)) {
                    return i;
                }
                p->state = PART_DATA;
                goto partData;
            }
            p->match_index = 0;
            p->state = PART_DATA_BOUNDARY;
            ++i;
            if (i == length) {
                break;
            }
            if (buffer[i] != p->boundary[0]) { // so it is for most line ends in a part
                if (!Emit(p, s->on_part_data, p->held_bytes, 2)) {
                    return i;
                }
                p->state = PART_DATA;
                goto partData;
            }
            [[fallthrough]];
        case PART_DATA_BOUNDARY: {
            const uint32_t found = MatchBoundary(p, buffer + i, length - i);
            i += found;
            if (found != 0 && p->match_index == p->boundary_length) {
                if (!Notify(p, s->on_part_end)) {
                    return i - 1;
                }
                p->state = PART_DATA_ALMOST_END;
            } else if (i < length) {
                if (!Emit(p, s->on_part_data, p->held_bytes, HeldLength(p))) {
                    return i;
                }
                p->state = PART_DATA;
                goto partData;
            }
            break;
        }
        case PART_DATA_ALMOST_END:
            if (buffer[i] != '-' && buffer[i] != CR) {
                return i;
            }
            p->state = buffer[i] == CR ? PART_DATA_END : PART_DATA_FINAL_HYPHEN;
            ++i;
            break;
        case PART_DATA_END:
            if (buffer[i] != LF) {
                return i;
            }
            p->state = HEADER_NAME_START;
            if (!Notify(p, s->on_part_begin)) {
                return i;
            }
            ++i;
            break;
        case PART_DATA_FINAL_HYPHEN:
            if (buffer[i] != '-' || !Notify(p, s->on_body_end)) {
                return i;
            }
            p->state = END;
            [[fallthrough]];
        case END:
            return length;
        default:
            return 0;
        }
    }
    return length;
}

} // namespace

multipart_parser *multipart_parser_init(const char *boundary, const multipart_callbacks *settings)
{
    const size_t length = std::strlen(boundary);
    auto *p = static_cast<multipart_parser *>(
        std::malloc(offsetof(multipart_parser, boundary) + 2 * length + 9));
    std::memcpy(p->boundary, boundary, length + 1);
    p->user_data = nullptr;
    p->boundary_length = static_cast<uint32_t>(length);
    p->held_bytes = p->boundary + length + 1;
    p->held_bytes[0] = CR;
    p->held_bytes[1] = LF;
    std::memcpy(p->held_bytes + 2, boundary, length);
    p->match_index = 0;
    p->state = START;
    p->settings = settings;
    return p;
}

void multipart_parser_free(multipart_parser *parser)
{
    std::free(parser);
}

void multipart_parser_set_data(multipart_parser *parser, void *data)
{
    parser->user_data = data;
}

void *multipart_parser_get_data(multipart_parser *parser)
{
    return parser->user_data;
}

size_t multipart_parser_execute(multipart_parser *parser, const char *buffer, size_t length)
{
    // What a callback receives at once must fit its 32-bit count.
    constexpr size_t maximum = std::numeric_limits<uint32_t>::max();
    size_t done = 0;
    while (done < length) {
        const size_t size = std::min(length - done, maximum);
        const size_t consumed = ExecutePiece(parser, buffer + done, size);
        done += consumed;
        if (consumed < size) {
            break;
        }
    }
    return done;
}
