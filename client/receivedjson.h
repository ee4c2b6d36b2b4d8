#ifndef RECEIVEDJSON_H
#define RECEIVEDJSON_H

#include <QByteArray>
#include <functional>

/**
 * JSON takes up to a hundred times the memory of its text once it is parsed. What a device sent is
 * looked at here before anything parses it, so that a broken or hostile one costs no memory: the
 * program stays below 64 MiB.
 */
namespace ReceivedJson {

/** What a document may take, parsed and printed. */
constexpr int mostMemory = 32 << 20;

/** What a list may take that is parsed element by element: enough for 50,000 files. */
constexpr int mostMemoryOfList = 36 << 20;

/** Of one text, which is copied on its way to the user: what a work order can hold. */
constexpr int longestText = 5'000'000;

/**
 * Whether it takes no more than that, and no memory for good, which a key that an object has twice
 * would. Valid JSON or not.
 */
bool IsBearable(const QByteArray &json);

/** Whether it takes no more than that when each of its elements is bearable. Valid JSON or not. */
bool IsBearableList(const QByteArray &json);

/** The elements of a list, found without parsing them. */
class List
{
public:
    /**
     * The list that is the document, or with a key that member of the document. Keeps the text,
     * without a copy.
     */
    List(const QByteArray &document, const QByteArray &key);

    /** The document with its list empty; the whole of it where there is no such list. */
    QByteArray Frame() const;

    /** Calls with what stands between two commas, whatever it is. An empty list has nothing. */
    void ForEach(const std::function<void(const QByteArray &)> &take) const;

private:
    const QByteArray json;
    const int begin;
    const int end;
};

} // namespace ReceivedJson

#endif // RECEIVEDJSON_H
