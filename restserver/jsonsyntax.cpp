#include "jsonsyntax.h"

#include <QChar>
#include <algorithm>
#include <bitset>
#include <cctype>
#include <charconv>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr size_t mostOpen = 1024;
constexpr int surelyFinite = 300; // digits of a whole number

int LengthOfUtf8Sequence(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xc2 || first > 0xf4) {
        return 0; // a later byte, an overlong form or beyond Unicode
    }
    return first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
}

// What the second byte must lie in, which keeps out overlong forms, surrogates and what is beyond.
bool MayFollow(unsigned char first, unsigned char second)
{
    const unsigned char lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
    const unsigned char highest = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
    return second >= lowest && second <= highest;
}

// A text with escapes, as UTF-8. Half of a surrogate pair becomes U+FFFD, which the parser takes it
// for when it compares keys.
class UnescapedText
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
class OpenKeys
{
public:
    void BeginObject() { begins.push_back(keys.size()); }

    // As it stands in the text, without its quotation marks.
    void Add(const char *begin, const char *end)
    {
        const auto size = static_cast<size_t>(end - begin);
        const bool isEscaped = std::memchr(begin, '\\', size) != nullptr;
        const std::string_view key =
            isEscaped ? unescaped.Take(begin, end) : std::string_view(begin, size);
        keys.push_back(std::hash<std::string_view>()(key) & ~hasParts);
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

// Each function moves behind what it names, or tells that something else stands there.
class JsonSyntax
{
public:
    explicit JsonSyntax(const QByteArray &text, OpenKeys *keysToFill = nullptr)
        : at(text.constData())
        , end(at + text.size())
        , keys(keysToFill)
    {}

    bool Holds()
    {
        constexpr char byteOrderMark[] = "\xef\xbb\xbf";
        if (end - at > 3 && std::memcmp(at, byteOrderMark, 3) == 0) {
            at += 3;
        }
        SkipSpace();
        if (!IsNext('[') && !IsNext('{')) {
            return false;
        }
        const bool whole = TakeValues();
        SkipSpace();
        return whole && at == end;
    }

private:
    bool IsNext(char byte) const { return at < end && *at == byte; }

    bool Take(char byte)
    {
        SkipSpace();
        const bool found = IsNext(byte);
        at += found ? 1 : 0;
        return found;
    }

    void SkipSpace()
    {
        while (at < end && (*at == ' ' || *at == '\t' || *at == '\n' || *at == '\r')) {
            ++at;
        }
    }

    // All up to the end of the outermost array or object.
    bool TakeValues()
    {
        do {
            if (!TakeValue() || !TakeEnds()) {
                return false;
            }
        } while (depth > 0);
        return true;
    }

    // Of an array or object no more than its beginning, unless it is empty.
    bool TakeValue()
    {
        for (;;) {
            if (Take('[')) {
                if (!Enter(false)) {
                    return false;
                }
                if (Take(']')) {
                    Leave();
                    return true;
                }
            } else if (Take('{')) {
                if (!Enter(true)) {
                    return false;
                }
                if (Take('}')) {
                    Leave();
                    return true;
                }
                if (!TakeKey()) {
                    return false;
                }
            } else {
                return TakeScalar();
            }
        }
    }

    bool Enter(bool object)
    {
        if (depth == mostOpen) {
            return false;
        }
        if (keys != nullptr && depth > 0 && objects[depth - 1]) {
            keys->ValueHasParts();
        }
        if (keys != nullptr && object) {
            keys->BeginObject();
        }
        objects[depth++] = object;
        return true;
    }

    void Leave()
    {
        --depth;
        if (keys != nullptr && objects[depth]) {
            keys->EndObject();
        }
    }

    // Behind a value: what ends here, and the comma before the next one.
    bool TakeEnds()
    {
        while (depth > 0) {
            const bool inObject = objects[depth - 1];
            if (Take(',')) {
                return !inObject || TakeKey();
            }
            if (!Take(inObject ? '}' : ']')) {
                return false;
            }
            Leave();
        }
        return true;
    }

    bool TakeKey()
    {
        if (!Take('"')) {
            return false;
        }
        const char *const begin = at;
        if (!TakeRestOfString()) {
            return false;
        }
        if (keys != nullptr) {
            keys->Add(begin, at - 1);
        }
        return Take(':');
    }

    bool TakeScalar()
    {
        if (Take('"')) {
            return TakeRestOfString();
        }
        return TakeWord("null") || TakeWord("true") || TakeWord("false") || TakeNumber();
    }

    bool TakeWord(const char *word)
    {
        const auto length = static_cast<qptrdiff>(std::strlen(word));
        if (end - at < length || std::memcmp(at, word, std::strlen(word)) != 0) {
            return false;
        }
        at += length;
        return true;
    }

    bool TakeNumber()
    {
        const char *const begin = at;
        SkipOne("-");
        const char *const digits = at;
        if (!SkipOne("0")) {
            SkipDigits();
        }
        const bool isWhole = at > digits && !IsNext('.') && !IsNext('e') && !IsNext('E');
        if (isWhole && at - digits < surelyFinite) {
            return true;
        }
        if (SkipOne(".")) {
            SkipDigits();
        }
        if (SkipOne("eE")) {
            SkipOne("+-");
            SkipDigits();
        }
        bool isNumber = false;
        QByteArray::fromRawData(begin, static_cast<int>(at - begin)).toDouble(&isNumber);
        return isNumber;
    }

    bool SkipOne(const char *choice)
    {
        const bool found = at < end && *at != 0 && std::strchr(choice, *at) != nullptr;
        at += found ? 1 : 0;
        return found;
    }

    void SkipDigits()
    {
        while (at < end && *at >= '0' && *at <= '9') {
            ++at;
        }
    }

    bool TakeRestOfString()
    {
        while (at < end && *at != '"') {
            if (!(*at == '\\' ? TakeEscape() : TakeCharacter())) {
                return false;
            }
        }
        return SkipOne("\"");
    }

    bool TakeEscape()
    {
        if (end - at < 2) {
            return false;
        }
        const bool isCode = at[1] == 'u';
        at += 2;
        return !isCode || TakeCode();
    }

    bool TakeCode()
    {
        for (int digit = 0; digit < 4; ++digit, ++at) {
            if (at == end || std::isxdigit(static_cast<unsigned char>(*at)) == 0) {
                return false;
            }
        }
        return true;
    }

    bool TakeCharacter()
    {
        const auto *bytes = reinterpret_cast<const unsigned char *>(at);
        const int length = LengthOfUtf8Sequence(bytes[0]);
        if (length == 0 || end - at < length || (length > 1 && !MayFollow(bytes[0], bytes[1]))) {
            return false;
        }
        for (int i = 2; i < length; ++i) {
            if ((bytes[i] & 0xc0) != 0x80) {
                return false;
            }
        }
        at += length;
        return true;
    }

    const char *at;
    const char *const end;
    OpenKeys *const keys;
    size_t depth = 0;
    std::bitset<mostOpen> objects; ///< which of the open ones are no arrays
};

} // namespace

bool IsJson(const QByteArray &text)
{
    return JsonSyntax(text).Holds();
}

bool RepeatsKeyOfJson(const QByteArray &text)
{
    OpenKeys keys;
    JsonSyntax(text, &keys).Holds();
    return keys.HaveRepeated();
}
