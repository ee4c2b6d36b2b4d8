#include "jsonmemory.h"

#include <algorithm>

#include "jsonscan.h"
#include "jsonsyntax.h"

namespace {

// What Qt takes for each, measured, and with what growing by doubling leaves unused.
class ParsedSize : public JsonScan::Visitor
{
public:
    qint64 Bytes() const { return bytes; }

    void TakeText(const char *from, const char *to)
    {
        constexpr qint64 ofText = 16;
        constexpr qint64 ofCharacter = 2;
        constexpr qint64 ofCharacterBesideEscapes = 4; // held as UTF-16
        const bool isEscaped = std::find(from, to, '\\') != to;
        bytes += ofText + (to - from) * (isEscaped ? ofCharacterBesideEscapes : ofCharacter);
    }

    void TakeBegin(bool) { bytes += ofContainer; }
    void TakeComma() { bytes += ofElement; }
    void TakeColon() { bytes += ofElement; }

private:
    static constexpr qint64 ofContainer = 112;
    static constexpr qint64 ofElement = 24;

    qint64 bytes = 0;
};

} // namespace

qint64 JsonMemory(const QByteArray &json, JsonSyntax *syntax)
{
    ParsedSize size;
    syntax != nullptr ? JsonScan::Visit(json, &size, syntax) : JsonScan::Visit(json, &size);
    return size.Bytes();
}
