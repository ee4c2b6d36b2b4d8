#include "clienttext.h"

#include <gtest/gtest.h>

namespace {

TEST(ClientTextTest, BytesOfUtf8AreReadAsUtf8)
{
    EXPECT_EQ(TextFromClient(QString::fromLatin1("/\xC3\xA4/\xE2\x82\xAC/\xF0\x9F\x94\xA7")),
              QString::fromUtf8("/ä/€/🔧"));
}

TEST(ClientTextTest, AsciiStaysAsItIs)
{
    EXPECT_EQ(TextFromClient(QStringLiteral("/a b%20c+d\\e")), QStringLiteral("/a b%20c+d\\e"));
}

TEST(ClientTextTest, AnEmptyTextStaysEmpty)
{
    EXPECT_EQ(TextFromClient(QString()), QString());
}

TEST(ClientTextTest, BytesThatAreNoUtf8StayAsTheyAre)
{
    for (const char *bytes : {"/\xE4", "/\xC3", "/\xC3/\xA4", "/\xC0\xAF", "/\xED\xA0\x80",
                              "/\xF4\x90\x80\x80", "/\xC3\xA4\xFF"}) {
        const QString text = QString::fromLatin1(bytes);
        EXPECT_EQ(TextFromClient(text), text) << text.toStdString();
    }
}

TEST(ClientTextTest, OrdinaryUnicodeStaysAsItIs)
{
    const QString text = QString::fromUtf8("/Ã¤/€");
    EXPECT_EQ(TextFromClient(text), text);
}

TEST(ClientTextTest, AnEncodedReplacementCharacterIsValid)
{
    EXPECT_EQ(TextFromClient(QString::fromLatin1("\xEF\xBF\xBD")), QString(QChar(0xFFFD)));
}

} // namespace
