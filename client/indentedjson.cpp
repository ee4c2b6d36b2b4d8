#include "indentedjson.h"

#include <QJsonArray>

namespace {

// Of one value that holds no others, as JSON.
QByteArray ScalarText(const QJsonValue &value)
{
    const QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

class IndentedWriter
{
public:
    explicit IndentedWriter(const std::function<void(const QByteArray &)> &writePiece)
        : write(writePiece)
    {}

    void Value(const QJsonValue &value)
    {
        if (value.isObject()) {
            Object(value.toObject());
        } else if (value.isArray()) {
            Array(value.toArray());
        } else {
            Add(ScalarText(value));
        }
    }

    void List(const ListOfObjects &list)
    {
        if (!list.key.isEmpty()) {
            Open("{\n");
            Element(true);
            Add('"' + list.key + "\": ");
        }
        Open("[\n");
        for (int i = 0; i < list.size; ++i) {
            Element(i == 0);
            Object(list.element(i));
        }
        Close(list.size == 0, ']');
        if (!list.key.isEmpty()) {
            Close(false, '}');
        }
    }

    void End()
    {
        write(piece + '\n');
        piece.clear();
    }

private:
    void Object(const QJsonObject &object)
    {
        Open("{\n");
        for (auto member = object.begin(); member != object.end(); ++member) {
            Element(member == object.begin());
            Add(ScalarText(member.key()) + ": ");
            Value(member.value());
        }
        Close(object.isEmpty(), '}');
    }

    void Array(const QJsonArray &array)
    {
        Open("[\n");
        for (auto element = array.begin(); element != array.end(); ++element) {
            Element(element == array.begin());
            Value(*element);
        }
        Close(array.isEmpty(), ']');
    }

    void Open(const char *mark)
    {
        Add(mark);
        ++depth;
    }

    void Element(bool isFirst) { Add((isFirst ? "" : ",\n") + Indentation()); }

    void Close(bool isEmpty, char mark)
    {
        --depth;
        Add((isEmpty ? "" : "\n") + Indentation() + mark);
    }

    QByteArray Indentation() const
    {
        constexpr int step = 4;
        return QByteArray(depth * step, ' ');
    }

    void Add(const QByteArray &text)
    {
        constexpr int pieceSize = 64 << 10;
        piece += text;
        if (piece.size() >= pieceSize) {
            write(piece);
            piece.clear();
        }
    }

    const std::function<void(const QByteArray &)> &write;
    QByteArray piece;
    int depth = 0;
};

} // namespace

void WriteIndented(const QJsonDocument &document,
                   const std::function<void(const QByteArray &)> &write)
{
    IndentedWriter writer(write);
    writer.Value(document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object()));
    writer.End();
}

void WriteIndented(const ListOfObjects &list, const std::function<void(const QByteArray &)> &write)
{
    IndentedWriter writer(write);
    writer.List(list);
    writer.End();
}
