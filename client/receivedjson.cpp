#include "receivedjson.h"

#include <algorithm>
#include <cstring>

#include "jsonscan.h"
#include "jsonsyntax.h"

namespace {

// What Qt takes for each, measured, and with what growing by doubling leaves unused.
constexpr qint64 memoryOfContainer = 128;
constexpr qint64 memoryOfElement = 32;
constexpr qint64 memoryOfText = 8;
// Besides the byte that arrived: the parsed one, and two for who turns it into a QString.
constexpr qint64 memoryOfCharacter = 3;
// In a text with an escape, which is parsed to a QString and copied as one, as a key more than
// once.
constexpr qint64 memoryOfEscapedCharacter = 8;
// More for one that is printed as "\u0001".
constexpr qint64 memoryOfControl = 20;

class NeededMemory : public JsonScan::Visitor
{
public:
    NeededMemory(qint64 mostMemory, qint64 memoryOfEachElement)
        : most(mostMemory)
        , element(memoryOfEachElement)
    {}

    // False when it is too much, which the others were not told then.
    template <typename... Others>
    bool Take(const QByteArray &json, Others *...others)
    {
        memory = json.size();
        JsonScan::Visit(json, this, others...);
        return GoesOn();
    }

    bool GoesOn() const { return memory <= most && longest <= ReceivedJson::longestText; }

    void TakeText(const char *from, const char *to)
    {
        const qint64 size = to - from;
        const bool isEscaped = std::find(from, to, '\\') != to;
        const qint64 controls = std::count_if(
            from, to, [](char byte) { return static_cast<unsigned char>(byte) < ' '; });
        longest = std::max(longest, size);
        memory += memoryOfText + controls * memoryOfControl +
                  size * (isEscaped ? memoryOfEscapedCharacter : memoryOfCharacter);
    }

    void TakeBegin(bool)
    {
        indentation += step;
        memory += std::max(memoryOfContainer, 2 * indentation);
    }

    void TakeEnd(bool) { indentation -= step; }
    void TakeComma() { memory += std::max(element, indentation); }
    void TakeColon() { memory += element; }

private:
    static constexpr qint64 step = 4;

    const qint64 most;
    const qint64 element;
    qint64 memory = 0;
    qint64 longest = 0;
    qint64 indentation = 0; ///< of a line here, in characters
};

// Where the array or object ends that is open here, or with `stop` where such a mark comes first
// that none of its own arrays and objects hold.
int EndOfContent(const QByteArray &json, int from, char stop = 0)
{
    int depth = 0;
    for (int at = from; at < json.size(); ++at) {
        const char mark = json[at];
        if (mark == '"') {
            at = static_cast<int>(JsonScan::EndOfText(json.constData() + at + 1, json.constEnd()) -
                                  json.constData());
        } else if (mark == '[' || mark == '{') {
            ++depth;
        } else if (depth == 0 && (mark == ']' || mark == '}' || mark == stop)) {
            return at;
        } else if (mark == ']' || mark == '}') {
            --depth;
        }
    }
    return json.size();
}

// Behind a token and the white space before it, or -1 where something else stands.
int Behind(const QByteArray &token, const QByteArray &json, int at)
{
    while (at >= 0 && at < json.size() && JsonScan::IsSpace(json[at])) {
        ++at;
    }
    return at >= 0 && std::strncmp(json.constData() + at, token.constData(),
                                   static_cast<size_t>(token.size())) == 0
               ? at + token.size()
               : -1;
}

// Behind the bracket of the array that a member of the document is, or -1.
int BeginOfMember(const QByteArray &key, const QByteArray &json)
{
    int begin = -1;
    for (int at = Behind("{", json, 0); at > 0 && at < json.size() && begin < 0;
         at = EndOfContent(json, at, ',') + 1) {
        begin = Behind("[", json, Behind(":", json, Behind('"' + key + '"', json, at)));
    }
    return begin;
}

} // namespace

bool ReceivedJson::IsBearable(const QByteArray &json)
{
    JsonSyntax syntax(JsonSyntax::AreCompared);
    return NeededMemory(mostMemory, memoryOfElement).Take(json, &syntax) && !syntax.RepeatsKey();
}

// Of the elements no more stays than what each of them is made into.
bool ReceivedJson::IsBearableList(const QByteArray &json)
{
    return NeededMemory(mostMemoryOfList, 0).Take(json);
}

ReceivedJson::List::List(const QByteArray &document, const QByteArray &key)
    : json(document)
    , begin(key.isEmpty() ? Behind("[", json, 0) : BeginOfMember(key, json))
    , end(begin < 0 ? -1 : EndOfContent(json, begin))
{}

QByteArray ReceivedJson::List::Frame() const
{
    if (begin < 0) {
        return json;
    }
    QByteArray frame = json.left(begin);
    frame += json.mid(end);
    return frame;
}

void ReceivedJson::List::ForEach(const std::function<void(const QByteArray &)> &take) const
{
    if (begin < 0 || Behind("]", json, begin) > 0) {
        return;
    }
    for (int at = begin; at <= end;) {
        const int elementEnd = EndOfContent(json, at, ',');
        take(QByteArray::fromRawData(json.constData() + at, elementEnd - at));
        at = elementEnd + 1;
    }
}
