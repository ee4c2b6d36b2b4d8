#include "workorderid.h"

#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

QString IdOf(const QJsonValue &id)
{
    return WorkOrderId::Of(QJsonObject{{"workOrderId", id}});
}

TEST(WorkOrderIdTest, IsTheMemberOfTheDocument)
{
    EXPECT_EQ(IdOf("WO-1"), "WO-1");
    EXPECT_EQ(WorkOrderId::Of(QJsonObject{{"workOrderId", "a"}, {"id", "b"}}), "a");
}

TEST(WorkOrderIdTest, ADocumentThatIsNoObjectHasNone)
{
    for (const QJsonValue &value : {QJsonValue(), QJsonValue(1), QJsonValue("WO-1"),
                                    QJsonValue(QJsonArray{"WO-1"}), QJsonValue(true)}) {
        EXPECT_EQ(WorkOrderId::Of(value), QString());
    }
}

TEST(WorkOrderIdTest, AMissingMemberAndOneInOtherLettersIsNone)
{
    EXPECT_EQ(WorkOrderId::Of(QJsonObject()), QString());
    EXPECT_EQ(WorkOrderId::Of(QJsonObject{{"workorderid", "a"}}), QString());
}

TEST(WorkOrderIdTest, AValueThatIsNoStringIsNone)
{
    for (const QJsonValue &value :
         {QJsonValue(), QJsonValue(42), QJsonValue(true), QJsonValue(QJsonObject{{"a", "b"}}),
          QJsonValue(QJsonArray{"a"})}) {
        EXPECT_EQ(IdOf(value), QString());
    }
}

TEST(WorkOrderIdTest, HasOneTo200BytesOfUtf8)
{
    EXPECT_EQ(IdOf(""), QString());
    EXPECT_EQ(IdOf("a"), "a");
    EXPECT_EQ(IdOf(QString(200, 'a')).size(), 200);
    EXPECT_EQ(IdOf(QString(201, 'a')), QString());
    EXPECT_EQ(IdOf(QString(100, QChar(0xE4))).size(), 100);
    EXPECT_EQ(IdOf(QString(100, QChar(0xE4)) + 'a'), QString());
}

TEST(WorkOrderIdTest, HasNoSlash)
{
    EXPECT_EQ(IdOf("a/b"), QString());
    EXPECT_EQ(IdOf("/"), QString());
    EXPECT_EQ(IdOf("../a"), QString());
}

TEST(WorkOrderIdTest, HasNoControlCharacter)
{
    for (int code = 0; code < 0xA0; ++code) {
        const bool control = code < 0x20 || code >= 0x7F;
        const QString id = QString("a") + QChar(code) + "b";
        const bool slash = code == '/';
        EXPECT_EQ(IdOf(id), control || slash ? QString() : id) << code;
    }
}

TEST(WorkOrderIdTest, HasNoHalfOfASurrogatePair)
{
    const QChar high(0xD83D);
    const QChar low(0xDE00);
    EXPECT_EQ(IdOf(QString(high)), QString());
    EXPECT_EQ(IdOf(QString(low) + high), QString());
    EXPECT_EQ(IdOf(QString(high) + low), QString(high) + low);
}

TEST(WorkOrderIdTest, HasNoByteOrderMarkInFront)
{
    const QChar mark(QChar::ByteOrderMark);
    EXPECT_EQ(IdOf(QString(mark) + 'a'), QString());
    EXPECT_EQ(IdOf(QString('a') + mark), QString('a') + mark);
}

TEST(WorkOrderIdTest, FileNamesAreReadable)
{
    EXPECT_EQ(WorkOrderId::FileName("WO-1001"), "WO-1001.json");
    EXPECT_EQ(WorkOrderId::FileName("Prüfung 7%"), "Prüfung 7%.json");
}

TEST(WorkOrderIdTest, FileNamesThatWouldBeHiddenOrDoubledGetAMark)
{
    EXPECT_EQ(WorkOrderId::FileName("."), "%..json");
    EXPECT_EQ(WorkOrderId::FileName(".."), "%...json");
    EXPECT_EQ(WorkOrderId::FileName(".a"), "%.a.json");
    EXPECT_EQ(WorkOrderId::FileName("%"), "%%.json");
    EXPECT_EQ(WorkOrderId::FileName("%.a"), "%%.a.json");
}

TEST(WorkOrderIdTest, AFileNameLeadsBackToItsId)
{
    const QString ids[] = {"a",
                           ".",
                           "..",
                           "...",
                           "%",
                           "%%",
                           "%.",
                           ".%",
                           ".json",
                           "json",
                           "a.json",
                           "ä ö.測定",
                           " a ",
                           "\\",
                           "*?",
                           "~",
                           QString(200, '.'),
                           QString(200, '%'),
                           QString(100, QChar(0xE4))};
    for (const QString &id : ids) {
        const QString name = WorkOrderId::FileName(id);
        EXPECT_EQ(WorkOrderId::OfFileName(name), id) << name.toStdString();
        EXPECT_LE(name.toUtf8().size(), 206);
        EXPECT_FALSE(name.startsWith('.'));
    }
}

TEST(WorkOrderIdTest, AnyOtherFileNameLeadsToNone)
{
    for (const char *name : {"", ".json", "%.json", "%a.json", ".a.json", "a", "a.JSON", "%%"}) {
        EXPECT_EQ(WorkOrderId::OfFileName(name), QString()) << name;
    }
}

} // namespace
