#ifndef JSONSYNTAX_H
#define JSONSYNTAX_H

#include <QByteArray>
#include <array>
#include <memory>

/**
 * Whether a text is what `QJsonDocument::fromJson` takes, leniencies included: any character behind
 * a backslash, control characters in strings, numbers such as "1." and ".5". Takes no memory, where
 * the parser takes fifty times that of a text of small arrays. Any thread.
 */
bool IsJson(const QByteArray &text);

/**
 * Whether an object in it has a key twice, with an array or object as a value. The parser keeps one
 * value and never gives back the memory of the other: a client that repeats such a text takes all
 * there is. Texts that are no JSON further on count too, up to there, and keys that differ only in
 * halves of surrogate pairs or behind a NUL. Takes up to 16 bytes for each key of the objects that
 * are open. Any thread.
 */
bool RepeatsKeyOfJson(const QByteArray &text);

/** Tells both of a text that `JsonScan::Visit` shows it from its beginning. One thread. */
class JsonSyntax
{
public:
    enum Keys
    {
        AreIgnored,
        AreCompared
    };

    explicit JsonSyntax(Keys keysOfObjects);
    ~JsonSyntax();
    JsonSyntax(const JsonSyntax &) = delete;
    JsonSyntax &operator=(const JsonSyntax &) = delete;

    /** Whether the text may become JSON yet. */
    bool GoesOn() const { return expected != 0; }

    /** As `IsJson`. */
    bool Holds() const;

    /** As `RepeatsKeyOfJson`, of what came until now. */
    bool RepeatsKey() const;

    // The text need not be closed: none is the end of JSON.
    void TakeText(const char *from, const char *to)
    {
        if ((expected & (key | scalar)) == 0 || !IsText(from + 1, to)) {
            expected = nothing;
        } else if (expected == key || expected == firstOfObject) {
            expected = colon;
            AddKey(from + 1, to);
        } else {
            expected = behind[depth];
        }
    }

    void TakeScalar(const char *from, const char *to)
    {
        expected = (expected & scalar) != 0 && IsScalar(from, to) ? behind[depth] : nothing;
    }

    void TakeBegin(bool object)
    {
        if ((expected & parts) == 0 || depth == mostOpen) {
            expected = nothing;
            return;
        }
        if (keys) {
            BeginKeys(object);
        }
        behind[++depth] = object ? nextOfObject : nextOfArray;
        expected = object ? firstOfObject : firstOfArray;
    }

    void TakeEnd(bool object)
    {
        if ((expected & (object ? endOfObject : endOfArray)) == 0) {
            expected = nothing;
            return;
        }
        if (keys && object) {
            EndKeys();
        }
        expected = behind[--depth];
    }

    void TakeComma()
    {
        expected = expected == nextOfArray ? value : expected == nextOfObject ? key : nothing;
    }

    void TakeColon() { expected = expected == colon ? value : nothing; }

private:
    class UnescapedText;
    class OpenKeys;
    static constexpr size_t mostOpen = 1024;

    // What may come next. Nothing once it is no JSON, space once it is complete.
    using Expected = unsigned char;
    static constexpr Expected nothing = 0;
    static constexpr Expected space = 1;
    static constexpr Expected parts = 2; // an array or object
    static constexpr Expected scalar = 4;
    static constexpr Expected value = parts | scalar;
    static constexpr Expected key = 8;
    static constexpr Expected colon = 16;
    static constexpr Expected comma = 32;
    static constexpr Expected endOfArray = 64;
    static constexpr Expected endOfObject = 128;
    static constexpr Expected firstOfArray = value | endOfArray;
    static constexpr Expected firstOfObject = key | endOfObject;
    static constexpr Expected nextOfArray = comma | endOfArray;
    static constexpr Expected nextOfObject = comma | endOfObject;

    static bool IsText(const char *from, const char *to);
    static bool IsScalar(const char *from, const char *to);
    void AddKey(const char *from, const char *to);
    void BeginKeys(bool object);
    void EndKeys();

    std::unique_ptr<OpenKeys> keys; ///< null when they are ignored
    Expected expected = parts;
    size_t depth = 0;
    std::array<Expected, mostOpen + 1> behind = {space}; ///< a value, by depth
};

#endif
