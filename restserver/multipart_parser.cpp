#include "multipart_parser.h"

#include <cstdlib>
#include <cstring>

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

constexpr char CR = 13;
constexpr char LF = 10;

bool Notify(multipart_parser *p, multipart_notify_callback callback)
{
    return callback == nullptr || callback(p) == 0;
}

bool Emit(multipart_parser *p, multipart_data_callback callback, const char *data, size_t size)
{
    return callback == nullptr || callback(p, data, static_cast<uint32_t>(size)) == 0;
}

bool IsHeaderNameByte(char c)
{
    const char lower = static_cast<char>(c | 0x20);
    return c == '-' || (lower >= 'a' && lower <= 'z');
}

} // namespace

multipart_parser *multipart_parser_init(const char *boundary, const multipart_callbacks *settings)
{
    const size_t length = std::strlen(boundary);
    auto *p =
        static_cast<multipart_parser *>(std::malloc(sizeof(multipart_parser) + 2 * length + 9));
    std::memcpy(p->boundary, boundary, length + 1);
    p->boundary_length = static_cast<uint32_t>(length);
    p->held_bytes = p->boundary + length + 1;
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

size_t multipart_parser_execute(multipart_parser *p, const char *buffer, size_t length)
{
    const multipart_callbacks *s = p->settings;
    size_t mark = 0;
    for (size_t i = 0; i < length; ++i) {
        const char c = buffer[i];
        const bool isLast = i + 1 == length;
        switch (p->state) {
        case START:
            p->match_index = 0;
            p->state = START_BOUNDARY;
            [[fallthrough]];
        case START_BOUNDARY:
            if (p->match_index == p->boundary_length) {
                if (c != CR) {
                    return i;
                }
                ++p->match_index;
            } else if (p->match_index == p->boundary_length + 1) {
                if (c != LF) {
                    return i;
                }
                p->match_index = 0;
                if (!Notify(p, s->on_part_begin)) {
                    return i;
                }
                p->state = HEADER_NAME_START;
            } else {
                if (c != p->boundary[p->match_index]) {
                    return i;
                }
                ++p->match_index;
            }
            break;
        case HEADER_NAME_START:
            mark = i;
            p->state = HEADER_NAME;
            [[fallthrough]];
        case HEADER_NAME:
            if (c == CR) {
                p->state = HEADERS_ALMOST_DONE;
            } else if (c == ':') {
                if (!Emit(p, s->on_header_name, buffer + mark, i - mark)) {
                    return i;
                }
                p->state = HEADER_VALUE_START;
            } else if (!IsHeaderNameByte(c)) {
                return i;
            } else if (isLast && !Emit(p, s->on_header_name, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case HEADERS_ALMOST_DONE:
            if (c != LF) {
                return i;
            }
            p->state = PART_DATA_START;
            break;
        case HEADER_VALUE_START:
            if (c == ' ') {
                break;
            }
            mark = i;
            p->state = HEADER_VALUE;
            [[fallthrough]];
        case HEADER_VALUE:
            if (c == CR) {
                if (!Emit(p, s->on_header_value, buffer + mark, i - mark)) {
                    return i;
                }
                p->state = HEADER_VALUE_ALMOST_DONE;
            } else if (isLast && !Emit(p, s->on_header_value, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case HEADER_VALUE_ALMOST_DONE:
            if (c != LF) {
                return i;
            }
            p->state = HEADER_NAME_START;
            break;
        case PART_DATA_START:
            if (!Notify(p, s->on_headers_done)) {
                return i;
            }
            mark = i;
            p->state = PART_DATA;
            [[fallthrough]];
        case PART_DATA:
        partData:
            if (c == CR) {
                if (!Emit(p, s->on_part_data, buffer + mark, i - mark)) {
                    return i;
                }
                mark = i;
                p->held_bytes[0] = CR;
                p->state = PART_DATA_ALMOST_BOUNDARY;
            } else if (isLast && !Emit(p, s->on_part_data, buffer + mark, i - mark + 1)) {
                return i;
            }
            break;
        case PART_DATA_ALMOST_BOUNDARY:
            if (c == LF) {
                p->held_bytes[1] = LF;
                p->match_index = 0;
                p->state = PART_DATA_BOUNDARY;
                break;
            }
            if (!Emit(p, s->on_part_data, p->held_bytes, 1)) {
                return i;
            }
            mark = i;
            p->state = PART_DATA;
            goto partData;
        case PART_DATA_BOUNDARY:
            // An empty boundary, or one that was matched before a callback stopped: nothing more
            // may be read or stored.
            if (p->match_index >= p->boundary_length || c != p->boundary[p->match_index]) {
                if (!Emit(p, s->on_part_data, p->held_bytes, 2 + size_t(p->match_index))) {
                    return i;
                }
                mark = i;
                p->state = PART_DATA;
                goto partData;
            }
            p->held_bytes[2 + p->match_index] = c;
            if (++p->match_index == p->boundary_length) {
                if (!Notify(p, s->on_part_end)) {
                    return i;
                }
                p->state = PART_DATA_ALMOST_END;
            }
            break;
        case PART_DATA_ALMOST_END:
            if (c == '-') {
                p->state = PART_DATA_FINAL_HYPHEN;
            } else if (c == CR) {
                p->state = PART_DATA_END;
            } else {
                return i;
            }
            break;
        case PART_DATA_FINAL_HYPHEN:
            if (c != '-' || !Notify(p, s->on_body_end)) {
                return i;
            }
            p->state = END;
            break;
        case PART_DATA_END:
            if (c != LF) {
                return i;
            }
            p->state = HEADER_NAME_START;
            if (!Notify(p, s->on_part_begin)) {
                return i;
            }
            break;
        case END:
            break;
        default:
            return 0;
        }
    }
    return length;
}
