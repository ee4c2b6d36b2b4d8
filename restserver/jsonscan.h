#ifndef JSONSCAN_H
#define JSONSCAN_H

#include <QByteArray>
#include <cstring>

/** Goes through JSON, valid or not, without parsing it, so that it costs no memory. */
namespace JsonScan {

/** Where a text ends that begins here: its closing quotation mark, or the end of all. */
inline const char *EndOfText(const char *const begin, const char *const end)
{
    const auto next = [end](const char *at) {
        const void *found = std::memchr(at, '"', static_cast<size_t>(end - at));
        return found != nullptr ? static_cast<const char *>(found) : end;
    };
    const auto isEscaped = [begin](const char *quote) {
        const char *at = quote;
        while (at > begin && at[-1] == '\\') {
            --at;
        }
        return (quote - at) % 2 != 0;
    };
    const char *at = next(begin);
    while (at < end && isEscaped(at)) {
        at = next(at + 1);
    }
    return at;
}

constexpr bool IsSpace(char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

/** Whether it belongs to a number or a word, or to whatever else stands in its place. */
constexpr bool IsOfScalar(char byte)
{
    return !IsSpace(byte) && byte != '"' && byte != ',' && byte != ':' && byte != '[' &&
           byte != ']' && byte != '{' && byte != '}';
}

template <typename Condition>
const char *Behind(const char *at, const char *end, Condition holds)
{
    while (at < end && holds(*at)) {
        ++at;
    }
    return at;
}

/** What a visitor is told; it has its own in the place of those that it needs. */
struct Visitor
{
    /** Whether it wants to be told more. */
    static bool GoesOn() { return true; }

    /** A text with the quotation mark in front of it; it may lack the one behind it. */
    static void TakeText(const char *, const char *) {}

    /** What stands outside of texts between spaces and marks. */
    static void TakeScalar(const char *, const char *) {}

    /** A bracket, or a brace of an object. */
    static void TakeBegin(bool) {}
    static void TakeEnd(bool) {}

    static void TakeComma() {}
    static void TakeColon() {}
};

/**
 * Passes over a byte order mark, and tells the visitors what there is as long as the first of them
 * goes on: what that one is told too much, the others are not told.
 */
template <typename First, typename... Others>
void Visit(const QByteArray &json, First *first, Others *...others)
{
    const auto tell = [=](auto what) {
        what(first);
        if (first->GoesOn()) {
            (what(others), ...);
        }
    };
    const char *at = json.constData() + (json.startsWith("\xef\xbb\xbf") ? 3 : 0);
    const char *const end = json.constData() + json.size();
    while (at < end && first->GoesOn()) {
        const char *const from = at++;
        switch (*from) {
        case '"':
            at = EndOfText(at, end);
            tell([=](auto *visitor) { visitor->TakeText(from, at); });
            at += at < end ? 1 : 0;
            break;
        case '[':
        case '{':
            tell([=](auto *visitor) { visitor->TakeBegin(*from == '{'); });
            break;
        case ']':
        case '}':
            tell([=](auto *visitor) { visitor->TakeEnd(*from == '}'); });
            break;
        case ',':
            tell([](auto *visitor) { visitor->TakeComma(); });
            break;
        case ':':
            tell([](auto *visitor) { visitor->TakeColon(); });
            break;
        case ' ':
        case '\n':
        case '\r':
        case '\t':
            at = Behind(at, end, IsSpace);
            break;
        default:
            at = Behind(at, end, IsOfScalar);
            tell([=](auto *visitor) { visitor->TakeScalar(from, at); });
            break;
        }
    }
}

} // namespace JsonScan

#endif
