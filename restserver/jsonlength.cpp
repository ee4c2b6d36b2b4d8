#include "jsonlength.h"

namespace {

constexpr qint64 indentation = 4;
constexpr qint64 mostLevels = 1024; // that Qt's parser takes

// Follows the levels of a text byte by byte, whether it is valid or not.
class IndentedLength
{
public:
    void Take(char byte)
    {
        ++length;
        if (inString) {
            TakeInString(byte);
        } else {
            TakeBetweenStrings(byte);
        }
    }

    qint64 Length() const { return deepest > mostLevels ? 0 : length; }

private:
    void TakeInString(char byte)
    {
        if (static_cast<unsigned char>(byte) < ' ') {
            length += 5; // printed as "\u0001"
        }
        inString = escaped || byte != '"';
        escaped = !escaped && byte == '\\';
    }

    void TakeBetweenStrings(char byte)
    {
        switch (byte) {
        case '"':
            inString = true;
            break;
        case '[':
        case '{':
            deepest = qMax(deepest, ++depth);
            BeginLine();
            break;
        case ',':
            BeginLine();
            break;
        case ']':
        case '}':
            --depth;
            BeginLine();
            break;
        default:
            break;
        }
    }

    void BeginLine() { length += 1 + indentation * qMax<qint64>(depth, 0); }

    qint64 length = 0;
    qint64 depth = 0;
    qint64 deepest = 0;
    bool inString = false;
    bool escaped = false;
};

} // namespace

qint64 IndentedJsonLength(const QByteArray &json)
{
    IndentedLength length;
    for (const char byte : json) {
        length.Take(byte);
    }
    return length.Length();
}
