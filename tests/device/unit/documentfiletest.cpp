#include "documentfile.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "jsonmemory.h"

namespace {

constexpr qint64 mebibyte = 1024 * 1024;

/** An object with an array of so many bytes that holds one text over and over. */
QByteArray Filled(const QByteArray &element, qint64 size)
{
    const QByteArray begin = "{\"cdm\":[" + element;
    const qint64 count = (size - begin.size() - 2) / (element.size() + 1);
    return begin + (',' + element).repeated(static_cast<int>(count)) + "]}";
}

class DocumentFileTest : public testing::Test
{
protected:
    std::optional<QJsonObject> ReadObject(const QByteArray &content)
    {
        QFile file(folder.filePath("a.json"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_EQ(file.write(content), content.size());
        file.close();
        return DocumentFile::ReadObject(file.fileName(), &problem);
    }

    QTemporaryDir folder;
    QString problem;
};

TEST_F(DocumentFileTest, AnObjectIsRead)
{
    const QJsonObject expected = {{"cdm", QJsonArray{1, "[,]"}}};
    EXPECT_EQ(ReadObject(R"({"cdm": [1, "[,]"]})"), expected);
    EXPECT_EQ(problem, QString());
}

TEST_F(DocumentFileTest, ADenseDocumentIsNotParsed)
{
    EXPECT_FALSE(ReadObject(Filled("[0]", 16 * mebibyte)));
    EXPECT_TRUE(problem.contains("256 MiB of memory"));
}

TEST_F(DocumentFileTest, DenseTextThatIsNoJsonIsNotParsed)
{
    EXPECT_FALSE(ReadObject(QByteArray("[").repeated(16 * mebibyte)));
    EXPECT_TRUE(problem.contains("256 MiB of memory"));
}

TEST_F(DocumentFileTest, AnObjectThatTakesMemoryForGoodIsNotParsed)
{
    EXPECT_FALSE(ReadObject(R"({"cdm": [{"key": [1], "key": 2}]})"));
    EXPECT_EQ(problem, "an object in it has a key twice");
}

TEST_F(DocumentFileTest, ADocumentOf16MebibytesIsRead)
{
    EXPECT_TRUE(ReadObject(Filled("101.25", 16 * mebibyte)));
    EXPECT_EQ(problem, QString());
}

TEST_F(DocumentFileTest, OneLongTextIsRead)
{
    for (const QByteArray &text : {QByteArray("a"), QByteArray("\\n"), QByteArray("\\\"[")}) {
        EXPECT_TRUE(ReadObject("{\"\":\"" + text.repeated(5'000'000) + "\"}"));
        EXPECT_EQ(problem, QString());
    }
}

TEST(JsonMemoryTest, DenseDocumentsOf16MebibytesTakeTooMuch)
{
    for (const char *element : {"[]", "{}", "{\"\":0}", "[[0]]", "[\"\"]", "{\"a\":1}"}) {
        EXPECT_GT(JsonMemory(Filled(element, 16 * mebibyte)), DocumentFile::mostMemory) << element;
    }
}

TEST(JsonMemoryTest, OtherDocumentsOf16MebibytesDoNot)
{
    for (const char *element :
         {"101.25", "\"\"", "\"\\n\"", "[0.125,101.25]",
          R"({"name":"insulation","limits":{"min":1.5,"max":200},"value":101.2})"}) {
        EXPECT_LT(JsonMemory(Filled(element, 16 * mebibyte)), DocumentFile::mostMemory) << element;
    }
}

TEST(JsonMemoryTest, WhatStandsInTextsIsNoArrayNorObject)
{
    EXPECT_LT(JsonMemory(R"("[[[[[[[[[[\"[[[[[[[[[[")"), 200);
    EXPECT_GT(JsonMemory("[[[[[[[[[["), 1000);
}

TEST(JsonMemoryTest, AnEmptyTextTakesNothing)
{
    EXPECT_EQ(JsonMemory(""), 0);
    EXPECT_LT(JsonMemory("\"\\"), 50);
}

} // namespace
