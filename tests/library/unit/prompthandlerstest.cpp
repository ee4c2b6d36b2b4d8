#include "prompthandlers.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "fakehost.h"
#include "jsonlength.h"

namespace {

QByteArray Nested(int levels, int elements)
{
    return QByteArray(levels, '[') + QByteArray("1,").repeated(elements) + "1" +
           QByteArray(levels, ']');
}

class PromptHandlersTest : public testing::Test
{
protected:
    PromptHandlersTest() { host.storage.directories = {{10, folder.path()}, {11, "/none"}}; }

    void Place(const QString &name, const QByteArray &entry) const
    {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("{\"cdm\": [{\"x\": " + entry + "}]}");
    }

    // How many templates are in the answer.
    int Templates()
    {
        RestServerRequestObject request(
            RestServerRequestUri::WorkflowTemplates, RestServerRequestMethod::Get,
            new DataChunk(QByteArray(), true), "/api/workflow/v1/templates");
        const std::unique_ptr<RestServerResponseObject> response(handlers.Answer(&request));
        return QJsonDocument::fromJson(response->ResponseDataChunk()->Data())["templates"]
            .toArray()
            .size();
    }

    FakeHost host;
    QTemporaryDir folder;
    PromptHost promptHost{&host};
    PromptHandlers handlers{&promptHost};
};

} // namespace

TEST_F(PromptHandlersTest, LeavesATemplateFileOutThatIsTooLarge)
{
    Place("a.json", "1");
    Place("b.json", "2" + QByteArray(PromptHandlers::largestTemplate, ' '));
    EXPECT_EQ(Templates(), 1);
}

TEST_F(PromptHandlersTest, LeavesATemplateFileOutThatIsNestedTooDeeply)
{
    Place("a.json", "1");
    Place("b.json", Nested(500, 10'000));
    EXPECT_EQ(Templates(), 1);
}

TEST_F(PromptHandlersTest, LeavesATemplateFileOutThatTakesMemoryEachTimeItIsParsed)
{
    Place("a.json", R"({"key": [1]})");
    Place("b.json", R"({"key": [1], "key": 2})");
    EXPECT_EQ(Templates(), 1);
    ASSERT_EQ(host.errors.reports.size(), 1U);
    EXPECT_EQ(host.errors.reports[0].message, "Left out the template file " +
                                                  folder.filePath("b.json") +
                                                  ": an object in it has a key twice");
}

TEST_F(PromptHandlersTest, TakesNoMoreTemplatesThanFitIntoAnAnswer)
{
    for (int number = 0; number < 10; ++number) {
        Place(QString::number(number) + ".json", Nested(1000, 2'000)); // each 12 MB when indented
    }
    EXPECT_EQ(Templates(), 5);
    EXPECT_EQ(Templates(), 5);
}

TEST_F(PromptHandlersTest, ReadsNoMoreForAnAnswerThanFourTimesTheLargestFile)
{
    const QByteArray large(PromptHandlers::largestTemplate - 1000, ' ');
    Place("z.json", "1");
    for (const char *name : {"a.json", "b.json", "c.json", "d.json"}) {
        EXPECT_EQ(Templates(), 1);
        Place(name, R"({"key": [1], "key": 2})" + large);
    }
    EXPECT_EQ(Templates(), 1);
    Place("e.json", R"({"key": [1], "key": 2})" + large);
    EXPECT_EQ(Templates(), 0);
}

TEST_F(PromptHandlersTest, ReportsFilesThatAreLeftOutInOneLineForEachAnswer)
{
    for (const char *name : {"a.json", "b.json", "c.json"}) {
        Place(name, R"({"key": [1], "key": 2})");
    }
    Templates();
    Templates();
    ASSERT_EQ(host.errors.reports.size(), 2U);
    EXPECT_EQ(host.errors.reports[1].message, "Left out the template file " +
                                                  folder.filePath("a.json") +
                                                  ": an object in it has a key twice; and 2 more");
}

TEST(JsonLengthTest, IsThatOfTheIndentedText)
{
    const QByteArray text = QJsonDocument(QJsonObject{{"[{,", "\"\\,\""},
                                                      {"a", QJsonArray{1, "]", QJsonArray{}}},
                                                      {"o", QJsonObject{{"n", 1.5}}}})
                                .toJson(QJsonDocument::Compact);
    const qint64 indented = QJsonDocument::fromJson(text).toJson().size();
    EXPECT_NEAR(static_cast<double>(IndentedJsonLength(text)), static_cast<double>(indented), 10);
}

TEST(JsonLengthTest, CountsWhatIsPrintedOfAControlCharacter)
{
    const QByteArray text = "[\"" + QByteArray(1000, '\1') + "\"]";
    const qint64 indented = QJsonDocument::fromJson(text).toJson().size();
    EXPECT_GT(indented, 6000);
    EXPECT_NEAR(static_cast<double>(IndentedJsonLength(text)), static_cast<double>(indented), 10);
}

TEST(JsonLengthTest, IsNothingWhereTheParserFindsTooManyLevels)
{
    ASSERT_TRUE(QJsonDocument::fromJson(Nested(1025, 0)).isNull());
    EXPECT_EQ(IndentedJsonLength(Nested(1025, 0)), 0);
    ASSERT_FALSE(QJsonDocument::fromJson(Nested(1024, 0)).isNull());
    EXPECT_GT(IndentedJsonLength(Nested(1024, 0)), 1024 * 1024);
}

TEST(JsonLengthTest, OfWhatIsNoJsonIsNotNegative)
{
    EXPECT_EQ(IndentedJsonLength(""), 0);
    EXPECT_EQ(IndentedJsonLength("]]]]"), 8);
    EXPECT_EQ(IndentedJsonLength("\"[[[["), 5);
}
