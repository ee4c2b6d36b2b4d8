#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonObject>

#include <indentedjson.h>

namespace {

template <typename Document>
QByteArray Written(const Document &document, int *pieces = nullptr)
{
    QByteArray text;
    int count = 0;
    WriteIndented(document, [&](const QByteArray &piece) {
        text += piece;
        ++count;
    });
    if (pieces != nullptr) {
        *pieces = count;
    }
    return text;
}

TEST(IndentedJson, IsWhatQtMakesOfEveryKindOfValue)
{
    for (const QByteArray json :
         {"{}", "[]", "[[],{}]", R"({"b": [1, 1.5, -2e300], "a": {"x": null, "y": [true, false]}})",
          R"(["\u001b\n\"\\ü測", "", 9007199254740993])", R"({"": {"": [{}]}})"}) {
        const QJsonDocument document = QJsonDocument::fromJson(json);
        EXPECT_EQ(Written(document), document.toJson()) << json.constData();
    }
}

TEST(IndentedJson, LongDocumentComesInPieces)
{
    QJsonArray array;
    for (int i = 0; i < 10'000; ++i) {
        array.append(QString("element %1").arg(i));
    }
    int pieces = 0;
    EXPECT_EQ(Written(QJsonDocument(array), &pieces), QJsonDocument(array).toJson());
    EXPECT_GT(pieces, 1);
}

TEST(IndentedJson, ListMadeWhileItIsWrittenIsTheSame)
{
    const auto element = [](int number) { return QJsonObject{{"number", number}}; };
    const QJsonArray array{element(0), element(1)};
    EXPECT_EQ(Written(ListOfObjects{{}, 2, element}), QJsonDocument(array).toJson());
    EXPECT_EQ(Written(ListOfObjects{"all", 2, element}),
              QJsonDocument(QJsonObject{{"all", array}}).toJson());
}

TEST(IndentedJson, EmptyListIsWhatQtMakesOfIt)
{
    EXPECT_EQ(Written(ListOfObjects{"all", 0, {}}),
              QJsonDocument(QJsonObject{{"all", QJsonArray()}}).toJson());
}

} // namespace
