#include "eventrecorder.h"

#include <cstring>
#include <functional>

namespace {

EventRecorder *RecorderOf(multipart_parser *parser)
{
    return static_cast<EventRecorder *>(multipart_parser_get_data(parser));
}

template <char Kind>
int ReceiveData(multipart_parser *parser, const char *data, uint32_t size)
{
    return RecorderOf(parser)->Receive(Kind, data, size);
}

template <char Kind>
int ReceiveNotice(multipart_parser *parser)
{
    return RecorderOf(parser)->Receive(Kind);
}

const multipart_callbacks allCallbacks = {
    ReceiveData<'N'>,   ReceiveData<'V'>,   ReceiveData<'D'>,  ReceiveNotice<'B'>,
    ReceiveNotice<'H'>, ReceiveNotice<'E'>, ReceiveNotice<'Z'>};

void AppendPrintable(std::string *text, char c)
{
    constexpr char digits[] = "0123456789abcdef";
    switch (c) {
    case '\r':
        *text += "\\r";
        return;
    case '\n':
        *text += "\\n";
        return;
    case '\\':
        *text += "\\\\";
        return;
    default:
        break;
    }
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f) {
        *text += c;
        return;
    }
    *text += "\\x";
    *text += digits[byte / 16];
    *text += digits[byte % 16];
}

} // namespace

std::string Printable(const char *bytes, size_t size)
{
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        AppendPrintable(&text, bytes[i]);
    }
    return text;
}

const multipart_callbacks &EventRecorder::Callbacks()
{
    return allCallbacks;
}

void EventRecorder::ExpectPiece(const char *bytes, size_t size)
{
    piece = bytes;
    pieceSize = size;
}

void EventRecorder::StopAt(size_t event)
{
    eventsUntilStop = event;
}

void EventRecorder::StopNever()
{
    eventsUntilStop = SIZE_MAX;
}

void EventRecorder::Forget()
{
    received.clear();
}

int EventRecorder::Receive(char kind, const char *data, size_t size)
{
    const std::less_equal<> atMost;
    const bool fed = atMost(piece, data) && atMost(data + size, piece + pieceSize);
    if (kind == 'D') {
        dataBytes += size;
    }
    received.push_back({kind == 'D' && !fed ? 'K' : kind, std::string(data, size)});
    return Result();
}

int EventRecorder::Receive(char kind)
{
    received.push_back({kind, std::string()});
    return Result();
}

int EventRecorder::Result()
{
    if (eventsUntilStop == SIZE_MAX) {
        return 0;
    }
    return eventsUntilStop-- == 0 ? 1 : 0;
}

std::string EventRecorder::Print(const std::vector<Event> &events)
{
    std::string text;
    for (const Event &event : events) {
        text += text.empty() ? "" : " ";
        text += event.kind;
        if (std::strchr("NVDK", event.kind) != nullptr) {
            text += '(' + Printable(event.bytes.data(), event.bytes.size()) + ')';
        }
    }
    return text;
}

std::string EventRecorder::Text() const
{
    return Print(received);
}

std::string EventRecorder::Meaning() const
{
    std::vector<Event> meaning;
    auto dropNameWithoutValue = [&meaning](char next) {
        if (!meaning.empty() && meaning.back().kind == 'N' && next != 'V') {
            meaning.pop_back();
        }
    };
    for (const Event &event : received) {
        const char kind = event.kind == 'K' ? 'D' : event.kind;
        if (kind == 'D' && event.bytes.empty()) {
            continue;
        }
        if (!meaning.empty() && meaning.back().kind == kind) {
            meaning.back().bytes += event.bytes;
        } else {
            dropNameWithoutValue(kind);
            meaning.push_back({kind, event.bytes});
        }
    }
    dropNameWithoutValue('\0');
    return Print(meaning);
}
