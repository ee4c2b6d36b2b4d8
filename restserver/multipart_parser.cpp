#include "multipart_parser.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "multipart_scan.h"

// NOLINTBEGIN(readability-identifier-naming): names of C, as its header has them.

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

using Multipart::CR;
using Multipart::LF;

// A piece of the body, and how far it is taken.
template <typename Scan>
struct Piece
{
    char Byte() const { return bytes[position]; }
    bool IsTaken() const { return position == size; }

    const char *bytes;
    size_t size;
    size_t position;
    Scan *scan;
};

bool Notify(multipart_parser *parser, multipart_notify_callback callback)
{
    return callback == nullptr || callback(parser) == 0;
}

bool Emit(multipart_parser *parser, multipart_data_callback callback, const char *data, size_t size)
{
    return callback == nullptr || callback(parser, data, static_cast<uint32_t>(size)) == 0;
}

// Emits the piece's bytes up to `end` and takes them. When the callback stops, the byte is the one
// at `end`, or the piece's last where the piece ends with them.
template <typename Scan>
bool EmitUpTo(multipart_parser *parser, multipart_data_callback callback, Piece<Scan> *piece,
              size_t end)
{
    const size_t begin = piece->position;
    const bool goOn = Emit(parser, callback, piece->bytes + begin, end - begin);
    piece->position = goOn ? end : std::min(end, piece->size - 1);
    return goOn;
}

// Each step below takes what stands at the piece's position in one state, or the whole run of bytes
// that stay in it, and leaves the record as single bytes would have done. Where the parser is to
// stop it returns false, with the position at the byte.

template <typename Scan>
bool TakeByte(multipart_parser *parser, Piece<Scan> *piece, char wanted, State nextState)
{
    if (piece->Byte() != wanted) {
        return false;
    }
    parser->state = nextState;
    ++piece->position;
    return true;
}

// The opening line is the boundary, CR and LF.
bool IsOpeningByte(const multipart_parser *parser, char c)
{
    if (parser->match_index < parser->boundary_length) {
        return c == parser->boundary[parser->match_index];
    }
    return c == (parser->match_index == parser->boundary_length ? CR : LF);
}

template <typename Scan>
bool TakeOpeningByte(multipart_parser *parser, Piece<Scan> *piece)
{
    if (!IsOpeningByte(parser, piece->Byte())) {
        return false;
    }
    if (parser->match_index <= parser->boundary_length) {
        ++parser->match_index;
    } else {
        parser->match_index = 0;
        if (!Notify(parser, parser->settings->on_part_begin)) {
            return false;
        }
        parser->state = HEADER_NAME_START;
    }
    ++piece->position;
    return true;
}

bool IsHeaderNameByte(char c)
{
    const int lower = c | 0x20;
    return c == '-' || (lower >= 'a' && lower <= 'z');
}

template <typename Scan>
bool TakeHeaderName(multipart_parser *parser, Piece<Scan> *piece)
{
    const char *bytesEnd = piece->bytes + piece->size;
    const char *nameEnd =
        std::find_if_not(piece->bytes + piece->position, bytesEnd, IsHeaderNameByte);
    const auto end = static_cast<size_t>(nameEnd - piece->bytes);
    if (nameEnd == bytesEnd || *nameEnd == ':') {
        return EmitUpTo(parser, parser->settings->on_header_name, piece, end) &&
               (piece->IsTaken() || TakeByte(parser, piece, ':', HEADER_VALUE_START));
    }
    piece->position = end; // what precedes a CR is not reported: no value follows it
    return TakeByte(parser, piece, CR, HEADERS_ALMOST_DONE);
}

template <typename Scan>
bool TakeHeaderValue(multipart_parser *parser, Piece<Scan> *piece)
{
    const size_t end = piece->scan->FindCr(piece->position);
    return EmitUpTo(parser, parser->settings->on_header_value, piece, end) &&
           (piece->IsTaken() || TakeByte(parser, piece, CR, HEADER_VALUE_ALMOST_DONE));
}

template <typename Scan>
bool TakeData(multipart_parser *parser, Piece<Scan> *piece)
{
    const size_t end = piece->scan->FindCr(piece->position);
    if (!EmitUpTo(parser, parser->settings->on_part_data, piece, end)) {
        return false;
    }
    if (!piece->IsTaken()) {
        parser->state = PART_DATA_ALMOST_BOUNDARY;
        ++piece->position;
    }
    return true;
}

// What was held back is data after all: CR, LF and what was matched of the boundary.
bool EmitHeldBytes(multipart_parser *parser, size_t count)
{
    if (!Emit(parser, parser->settings->on_part_data, parser->held_bytes, count)) {
        return false;
    }
    parser->state = PART_DATA;
    return true;
}

template <typename Scan>
bool TakeByteAfterCr(multipart_parser *parser, Piece<Scan> *piece)
{
    if (piece->Byte() != LF) {
        return EmitHeldBytes(parser, 1);
    }
    parser->match_index = 0;
    parser->state = PART_DATA_BOUNDARY;
    ++piece->position;
    // Most line ends in a part do not start a delimiter, which their next byte tells.
    return piece->IsTaken() || piece->Byte() == parser->boundary[0] || EmitHeldBytes(parser, 2);
}

// Takes as much of the boundary as there is and returns how many bytes of it that is: none when the
// boundary is empty, or when it was matched before and a callback stopped.
template <typename Scan>
uint32_t MatchBoundary(multipart_parser *parser, Piece<Scan> *piece)
{
    if (parser->match_index >= parser->boundary_length) {
        return 0;
    }
    const size_t missing = parser->boundary_length - parser->match_index;
    const auto matched = static_cast<uint32_t>(
        Scan::CommonLength(piece->bytes + piece->position, parser->boundary + parser->match_index,
                           std::min(missing, piece->size - piece->position)));
    parser->match_index += matched;
    piece->position += matched;
    return matched;
}

template <typename Scan>
bool TakeBoundary(multipart_parser *parser, Piece<Scan> *piece)
{
    const uint32_t matched = MatchBoundary(parser, piece);
    if (matched != 0 && parser->match_index == parser->boundary_length) {
        if (!Notify(parser, parser->settings->on_part_end)) {
            --piece->position;
            return false;
        }
        parser->state = PART_DATA_ALMOST_END;
        return true;
    }
    return piece->IsTaken() ||
           EmitHeldBytes(parser, 2 + std::min(parser->match_index, parser->boundary_length));
}

// A part is cut into slices at each CR, so nearly all of the parser's time goes by here: the three
// states follow each other without the way through the switch, which costs text an eighth, and the
// loop has the registers to itself.
template <typename Scan>
__attribute__((noinline)) bool TakePartData(multipart_parser *parser, Piece<Scan> *piece)
{
    Piece<Scan> rest = *piece; // a copy that nobody else sees can stay in registers
    bool goOn = true;
    do {
        if (parser->state == PART_DATA) {
            goOn = TakeData(parser, &rest);
        }
        if (goOn && !rest.IsTaken() && parser->state == PART_DATA_ALMOST_BOUNDARY) {
            goOn = TakeByteAfterCr(parser, &rest);
        }
        if (goOn && !rest.IsTaken() && parser->state == PART_DATA_BOUNDARY) {
            goOn = TakeBoundary(parser, &rest);
        }
    } while (goOn && !rest.IsTaken() && parser->state == PART_DATA);
    *piece = rest;
    return goOn;
}

// The state moves on before the notice: when the callback stops, the part's headers come next.
template <typename Scan>
bool TakeDelimiterEnd(multipart_parser *parser, Piece<Scan> *piece)
{
    if (piece->Byte() != LF) {
        return false;
    }
    parser->state = HEADER_NAME_START;
    if (!Notify(parser, parser->settings->on_part_begin)) {
        return false;
    }
    ++piece->position;
    return true;
}

template <typename Scan>
bool TakeStep(multipart_parser *parser, Piece<Scan> *piece)
{
    switch (parser->state) {
    case START:
        parser->match_index = 0;
        parser->state = START_BOUNDARY;
        [[fallthrough]];
    case START_BOUNDARY:
        return TakeOpeningByte(parser, piece);
    case HEADER_NAME_START:
        parser->state = HEADER_NAME;
        [[fallthrough]];
    case HEADER_NAME:
        return TakeHeaderName(parser, piece);
    case HEADERS_ALMOST_DONE:
        return TakeByte(parser, piece, LF, PART_DATA_START);
    case HEADER_VALUE_START:
        if (piece->Byte() == ' ') {
            ++piece->position;
            return true;
        }
        parser->state = HEADER_VALUE;
        [[fallthrough]];
    case HEADER_VALUE:
        return TakeHeaderValue(parser, piece);
    case HEADER_VALUE_ALMOST_DONE:
        return TakeByte(parser, piece, LF, HEADER_NAME_START);
    case PART_DATA_START:
        if (!Notify(parser, parser->settings->on_headers_done)) {
            return false;
        }
        parser->state = PART_DATA;
        [[fallthrough]];
    case PART_DATA:
    case PART_DATA_ALMOST_BOUNDARY:
    case PART_DATA_BOUNDARY:
        return TakePartData(parser, piece);
    case PART_DATA_ALMOST_END:
        return TakeByte(parser, piece, CR, PART_DATA_END) ||
               TakeByte(parser, piece, '-', PART_DATA_FINAL_HYPHEN);
    case PART_DATA_END:
        return TakeDelimiterEnd(parser, piece);
    case PART_DATA_FINAL_HYPHEN:
        if (piece->Byte() != '-' || !Notify(parser, parser->settings->on_body_end)) {
            return false;
        }
        parser->state = END;
        [[fallthrough]];
    case END:
        piece->position = piece->size;
        return true;
    default:
        return false;
    }
}

template <typename Scan>
size_t ExecutePiece(multipart_parser *parser, const char *buffer, size_t length)
{
    Scan scan(buffer, length);
    Piece<Scan> piece = {buffer, length, 0, &scan};
    while (!piece.IsTaken() && TakeStep(parser, &piece)) {
    }
    return piece.position;
}

size_t ExecuteWithBestScan(multipart_parser *parser, const char *buffer, size_t length)
{
#if defined(MULTIPART_HAS_VECTOR_SCAN)
    if (Multipart::VectorScan::IsSupported()) {
        return ExecutePiece<Multipart::VectorScan>(parser, buffer, length);
    }
#endif
    return ExecutePiece<Multipart::PlainScan>(parser, buffer, length);
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
        const size_t consumed = ExecuteWithBestScan(parser, buffer + done, size);
        done += consumed;
        if (consumed < size) {
            break;
        }
    }
    return done;
}

// NOLINTEND(readability-identifier-naming)
