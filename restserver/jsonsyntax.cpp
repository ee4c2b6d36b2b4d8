#include "jsonsyntax.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>
#include <bitset>
#include <cctype>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

namespace {

constexpr size_t mostOpen = 1024;

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
        if (std::memchr(begin, '\\', size) == nullptr) {
            Add(std::string_view(begin, size));
        } else {
            const QByteArray array = "[\"" + QByteArray(begin, static_cast<int>(size)) + "\"]";
            const QString text = QJsonDocument::fromJson(array).array().at(0).toString();
            const QByteArray key = AsCompared(text).toUtf8();
            Add(std::string_view(key.constData(), static_cast<size_t>(key.size())));
        }
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

    // The parser takes half of a surrogate pair for U+FFFD when it compares keys.
    static QString AsCompared(const QString &key)
    {
        const QVector<uint> characters = key.toUcs4();
        return QString::fromUcs4(characters.constData(), characters.size());
    }

    void Add(std::string_view key)
    {
        keys.push_back(std::hash<std::string_view>()(key) & ~hasParts);
    }

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
        if (!SkipOne("0")) {
            SkipDigits();
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
