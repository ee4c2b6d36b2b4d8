#include "jsonsyntax.h"

#include <QChar>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jsonscan.h"

namespace {

// What the second byte must lie in, which keeps out overlong forms, surrogates and what is beyond.
bool MayFollow(unsigned char first, unsigned char second)
{
    const unsigned char lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    const unsigned char highest = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    return second >= lowest && second <= highest;
}

// Returns the length of what begins here with a backslash, or 0.
int LengthOfEscape(const char *at, const char *end)
{
    constexpr int ofCode = 6;
    const auto isDigit = [](unsigned char byte) { return std::isxdigit(byte) != 0; };
    if (end - at < 2 || at[1] != 'u') {
        return end - at < 2 ? 0 : 2;
    }
    return end - at >= ofCode && std::all_of(at + 2, at + ofCode, isDigit) ? ofCode : 0;
}

// Returns the length of the character that begins here and is not of ASCII, or 0.
int LengthOfCharacter(const char *at, const char *end)
{
    const auto byte = [&](int i) { return static_cast<unsigned char>(i < end - at ? at[i] : 0); };
    const auto isLater = [&](int i) { return (byte(i) & 0xc0) == 0x80; };
    const unsigned char first = byte(0);
    if (first < 0xc2 || first > 0xf4 || !MayFollow(first, byte(1))) {
        return 0; // a later byte, an overlong form or beyond Unicode
    }
    if (first < 0xe0) {
        return 2;
    }
    if (first < 0xf0) {
        return isLater(2) ? 3 : 0;
    }
    return isLater(2) && isLater(3) ? 4 : 0;
}

bool IsNumber(const char *begin, const char *end)
{
    constexpr int surelyFinite = 300; // digits of a whole number
    const auto isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
    const char *const digits = begin + (*begin == '-' ? 1 : 0);
    const char *const rest = JsonScan::Behind(digits, end, isDigit);
    if (rest - digits > 1 && *digits == '0') {
        return false;
    }
    if (rest == end && rest > digits && rest - digits < surelyFinite) {
        return true;
    }
    const auto mayBelong = [&](char byte) {
        return isDigit(byte) || byte == '.' || byte == 'e' || byte == 'E' || byte == '-' ||
               byte == '+';
    };
    bool isNumber = *begin != '+' && std::all_of(rest, end, mayBelong);
    if (isNumber) {
        QByteArray::fromRawData(begin, static_cast<int>(end - begin)).toDouble(&isNumber);
    }
    return isNumber;
}

} // namespace

// A text with escapes, as UTF-8. Half of a surrogate pair becomes U+FFFD, which the parser takes it
// for when it compares keys.
class JsonSyntax::UnescapedText
{
public:
    // Of a text that the parser takes. Valid until the next one.
    std::string_view Take(const char *begin, const char *end)
    {
        text.clear();
        for (const char *at = begin; at < end;) {
            if (*at == '\\') {
                at += TakeEscape(at);
            } else {
                EndPair();
                text.push_back(*at++);
            }
        }
        EndPair();
        return text;
    }

private:
    static ushort CodeAt(const char *digits)
    {
        ushort code = 0;
        std::from_chars(digits, digits + 4, code, 16);
        return code;
    }

    // Returns its length.
    int TakeEscape(const char *at)
    {
        constexpr char letters[] = "bfnrt";
        constexpr char meanings[] = "\b\f\n\r\t";
        if (at[1] == 'u') {
            TakeUnit(CodeAt(at + 2));
            return 6;
        }
        const char *const letter = at[1] != 0 ? std::strchr(letters, at[1]) : nullptr;
        TakeCharacter(static_cast<uint>(letter != nullptr ? meanings[letter - letters] : at[1]));
        return 2;
    }

    // As the parser does it, for bytes that are negative as well.
    void TakeCharacter(uint character)
    {
        if (QChar::requiresSurrogates(character)) {
            TakeUnit(QChar::highSurrogate(character));
            TakeUnit(QChar::lowSurrogate(character));
        } else {
            TakeUnit(static_cast<ushort>(character));
        }
    }

    void TakeUnit(ushort unit)
    {
        if (high != 0 && QChar::isLowSurrogate(unit)) {
            Append(QChar::surrogateToUcs4(std::exchange(high, ushort(0)), unit));
            return;
        }
        EndPair();
        if (QChar::isHighSurrogate(unit)) {
            high = unit;
        } else {
            Append(QChar::isLowSurrogate(unit) ? uint(QChar::ReplacementCharacter) : unit);
        }
    }

    void EndPair()
    {
        if (std::exchange(high, ushort(0)) != 0) {
            Append(QChar::ReplacementCharacter);
        }
    }

    void Append(uint character)
    {
        if (character < 0x80) {
            text.push_back(static_cast<char>(character));
            return;
        }
        const int later = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        const uint mark = 0xf80U >> later & 0xffU; // as many ones as there are bytes, and a zero
        text.push_back(static_cast<char>(mark | character >> 6 * later));
        for (int shift = 6 * (later - 1); shift >= 0; shift -= 6) {
            text.push_back(static_cast<char>(0x80U | (character >> shift & 0x3fU)));
        }
    }

    std::string text;
    ushort high = 0; ///< the first half of a pair whose second has yet to come
};

// The keys of the objects that are open. What is kept of a key is 63 bits of a hash, and in the
// lowest bit whether its value is an array or object.
class JsonSyntax::OpenKeys
{
public:
    void BeginObject() { begins.push_back(keys.size()); }

    // As it stands in the text, without its quotation marks.
    void Add(const char *begin, const char *end)
    {
        const auto size = static_cast<size_t>(end - begin);
        const bool isEscaped = std::memchr(begin, '\\', size) != nullptr;
        const std::string_view name =
            isEscaped ? unescaped.Take(begin, end) : std::string_view(begin, size);
        // The parser compares keys that it takes as they stand up to a NUL, and by their length.
        const std::string_view compared = name.substr(0, name.find('\0'));
        const size_t hash =
            std::hash<std::string_view>()(compared) + 2 * (name.size() - compared.size());
        keys.push_back(hash & ~hasParts);
    }

    void ValueHasParts() { keys.back() |= hasParts; }

    void EndObject()
    {
        const auto begin = keys.begin() + static_cast<std::ptrdiff_t>(begins.back());
        std::sort(begin, keys.end());
        const auto same = [](quint64 a, quint64 b) {
            return (a | hasParts) == (b | hasParts) && ((a | b) & hasParts) != 0;
        };
        repeated = repeated || std::adjacent_find(begin, keys.end(), same) != keys.end();
        keys.erase(begin, keys.end());
        begins.pop_back();
    }

    bool HaveRepeated() const { return repeated; }

private:
    static constexpr quint64 hasParts = 1;

    UnescapedText unescaped;
    std::vector<quint64> keys;
    std::vector<size_t> begins;
    bool repeated = false;
};

JsonSyntax::JsonSyntax(Keys keysOfObjects)
    : keys(keysOfObjects == AreCompared ? std::make_unique<OpenKeys>() : nullptr)
{}

JsonSyntax::~JsonSyntax() = default;

bool JsonSyntax::Holds() const
{
    return expected == space;
}

bool JsonSyntax::RepeatsKey() const
{
    return keys && keys->HaveRepeated();
}

bool JsonSyntax::IsText(const char *from, const char *to)
{
    const auto isPlain = [](char byte) {
        return byte != '\\' && static_cast<unsigned char>(byte) < 0x80;
    };
    const char *at = JsonScan::Behind(from, to, isPlain);
    while (at < to) {
        const int length = *at == '\\' ? LengthOfEscape(at, to) : LengthOfCharacter(at, to);
        if (length == 0) {
            return false;
        }
        at = JsonScan::Behind(at + length, to, isPlain);
    }
    return true;
}

bool JsonSyntax::IsScalar(const char *from, const char *to)
{
    const std::string_view word(from, static_cast<size_t>(to - from));
    return IsNumber(from, to) || word == "null" || word == "true" || word == "false";
}

void JsonSyntax::AddKey(const char *from, const char *to)
{
    if (keys) {
        keys->Add(from, to);
    }
}

void JsonSyntax::BeginKeys(bool object)
{
    if ((behind[depth] & endOfObject) != 0) {
        keys->ValueHasParts();
    }
    if (object) {
        keys->BeginObject();
    }
}

void JsonSyntax::EndKeys()
{
    keys->EndObject();
}

bool IsJson(const QByteArray &text)
{
    JsonSyntax syntax(JsonSyntax::AreIgnored);
    JsonScan::Visit(text, &syntax);
    return syntax.Holds();
}

bool RepeatsKeyOfJson(const QByteArray &text)
{
    JsonSyntax syntax(JsonSyntax::AreCompared);
    JsonScan::Visit(text, &syntax);
    return syntax.RepeatsKey();
}
