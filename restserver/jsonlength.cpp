#include "jsonlength.h"

#include <algorithm>

#include "jsonscan.h"
#include "jsonsyntax.h"

namespace {

constexpr qint64 indentation = 4;
constexpr qint64 mostLevels = 1024; // that Qt's parser takes

class IndentedLength : public JsonScan::Visitor
{
public:
    explicit IndentedLength(const QByteArray &json)
        : length(json.size())
    {}

    void TakeText(const char *from, const char *to)
    {
        constexpr qint64 more = 5; // printed as "\u0001"
        length += more * std::count_if(from, to, [](char byte) {
                      return static_cast<unsigned char>(byte) < ' ';
                  });
    }

    void TakeBegin(bool)
    {
        deepest = qMax(deepest, ++depth);
        BeginLine();
    }

    void TakeEnd(bool)
    {
        --depth;
        BeginLine();
    }

    void TakeComma() { BeginLine(); }

    qint64 Length() const { return deepest > mostLevels ? 0 : length; }

private:
    void BeginLine() { length += 1 + indentation * qMax<qint64>(depth, 0); }

    qint64 length;
    qint64 depth = 0;
    qint64 deepest = 0;
};

} // namespace

qint64 IndentedJsonLength(const QByteArray &json, JsonSyntax *syntax)
{
    IndentedLength length(json);
    syntax != nullptr ? JsonScan::Visit(json, &length, syntax) : JsonScan::Visit(json, &length);
    return length.Length();
}
