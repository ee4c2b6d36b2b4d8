#include "workorderstore.h"

#include <QDateTime>
#include <QDir>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "documentfile.h"
#include "storefolder.h"

namespace {

QStringList IdsOf(const WorkOrderStore &store)
{
    QStringList ids;
    for (const auto &[id, entry] : store.Entries()) {
        ids.append(id);
    }
    return ids;
}

QByteArray Document(const QString &id, int revision)
{
    return QJsonDocument(WorkOrder(id, revision)).toJson();
}

class WorkOrderStoreTest : public testing::Test
{
protected:
    StoreFolder folder;
};

TEST_F(WorkOrderStoreTest, AnEmptyFolderHoldsNone)
{
    OpenStore open(folder);
    EXPECT_TRUE(open.store.Entries().empty());
    EXPECT_TRUE(open.errors.messages.isEmpty());
}

TEST_F(WorkOrderStoreTest, ABatchIsThereAtOnceAndAfterARestart)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 3, 7)));
    const QMap<QString, int> expected{{"WO-0001", 7}, {"WO-0002", 7}, {"WO-0003", 7}};
    EXPECT_EQ(open.Revisions(), expected);
    EXPECT_EQ(OpenStore(folder).Revisions(), expected);
    EXPECT_EQ(folder.Names(), QStringList({"state", "workorders", "workorders/WO-0001.json",
                                           "workorders/WO-0002.json", "workorders/WO-0003.json"}));
}

TEST_F(WorkOrderStoreTest, AFileThatComesOrGoesWhileTheProgramRunsIsNoticed)
{
    folder.Place("a.json", Document("A", 1));
    OpenStore open(folder);
    EXPECT_FALSE(open.store.LoadIfChanged());
    folder.Place("b.json", Document("B", 1));
    EXPECT_TRUE(open.store.LoadIfChanged());
    EXPECT_EQ(IdsOf(open.store), QStringList({"A", "B"}));
    EXPECT_FALSE(open.store.LoadIfChanged());
    ASSERT_TRUE(QFile::remove(folder.WorkOrders() + "/a.json"));
    EXPECT_TRUE(open.store.LoadIfChanged());
    EXPECT_EQ(IdsOf(open.store), QStringList("B"));
}

class ReserveTest : public WorkOrderStoreTest
{
protected:
    static constexpr qint64 block = 4096;
    static QJsonObject OfBlocks(int blocks)
    {
        const QByteArray empty = QJsonDocument(WithText(0)).toJson();
        return WithText(static_cast<int>(blocks * block) - empty.size());
    }

    OpenStore open{folder};

private:
    static QJsonObject WithText(int length)
    {
        return {{"workOrderId", "A"}, {"text", QString(length, 'x')}};
    }
};

TEST_F(ReserveTest, ABatchMayTakeWhatIsFreeBesideTheReserve)
{
    open.fileSystem.SetFree(DiskSpace::reserve + 2 * block);
    EXPECT_TRUE(open.store.UpdateWorkOrders(Batch(1, 2, 1)));
}

TEST_F(ReserveTest, ABatchThatTakesABlockMoreIsRefusedWholeWithAReport)
{
    open.fileSystem.SetFree(DiskSpace::reserve + 2 * block);
    EXPECT_FALSE(open.store.UpdateWorkOrders(Batch(1, 3, 1)));
    EXPECT_EQ(open.errors.messages.size(), 1);
    EXPECT_EQ(folder.Names(), QStringList({"state", "workorders"}));
}

TEST_F(ReserveTest, WorkOrdersAreReplacedByOnesThatTakeNoMoreAlsoWhenNothingIsFree)
{
    ASSERT_TRUE(open.store.UpdateWorkOrders({OfBlocks(3)}));
    open.fileSystem.SetFree(0);
    EXPECT_TRUE(open.store.UpdateWorkOrders({OfBlocks(3)}));
    EXPECT_TRUE(open.store.UpdateWorkOrders({OfBlocks(2)}));
    EXPECT_FALSE(open.store.UpdateWorkOrders({OfBlocks(3)}));
}

TEST_F(ReserveTest, WhatOneReplacementFreesAnotherMayTake)
{
    ASSERT_TRUE(open.store.UpdateWorkOrders({OfBlocks(2), WorkOrder("B", 1)}));
    open.fileSystem.SetFree(0);
    EXPECT_TRUE(open.store.UpdateWorkOrders({OfBlocks(1), WorkOrder("B", 2), WorkOrder("C", 1)}));
    EXPECT_FALSE(open.store.UpdateWorkOrders({WorkOrder("B", 3), WorkOrder("D", 1)}));
}

TEST_F(ReserveTest, ADiskThatCannotBeAskedTakesNothing)
{
    open.fileSystem.SetFree(-1);
    EXPECT_FALSE(open.store.UpdateWorkOrders(Batch(1, 1, 1)));
    EXPECT_EQ(open.errors.messages.size(), 1);
    EXPECT_TRUE(open.store.UpdateWorkOrders({}));
}

QJsonArray Nested(int levels, int elements)
{
    QJsonArray array;
    for (int element = 0; element < elements; ++element) {
        array.append(1);
    }
    for (int level = 1; level < levels; ++level) {
        QJsonArray outer;
        outer.append(array);
        array = outer;
    }
    return array;
}

QJsonObject WorkOrderWith(const QJsonValue &value)
{
    return {{"workOrderId", "A"}, {"revision", 1}, {"x", value}};
}

TEST_F(WorkOrderStoreTest, NoneIsTakenThatCouldNotBeReadAgain)
{
    OpenStore open(folder);
    EXPECT_FALSE(open.store.UpdateWorkOrders({WorkOrderWith(Nested(500, 10'000))}));
    EXPECT_FALSE(open.store.UpdateWorkOrders({WorkOrderWith(Nested(1, 2'000'000))}));
    EXPECT_EQ(open.errors.messages.size(), 2);
    EXPECT_TRUE(open.store.Entries().empty());
}

TEST_F(WorkOrderStoreTest, OneThatIsLargeIsReadAgain)
{
    OpenStore open(folder);
    const QJsonObject large = WorkOrderWith(Nested(20, 100'000));
    ASSERT_TRUE(open.store.UpdateWorkOrders({large}));
    bool found = false;
    EXPECT_EQ(open.store.GetWorkOrder("A", &found), large);
    EXPECT_TRUE(found);
}

TEST_F(WorkOrderStoreTest, ABatchIsRefusedWhoseWorkOrdersAreLargeTogether)
{
    QJsonArray batch;
    for (int number = 0; number < 5; ++number) {
        QJsonObject large = WorkOrderWith(Nested(500, 7'500));
        large.insert("workOrderId", QString::number(number));
        batch.append(large);
    }
    OpenStore open(folder);
    EXPECT_FALSE(open.store.UpdateWorkOrders(batch));
    EXPECT_TRUE(open.store.Entries().empty());
}

TEST_F(WorkOrderStoreTest, TheLengthOfADocumentIsFoundWithoutWritingIt)
{
    const QJsonObject document{
        {"texts", QJsonArray{"", "plain", QString::fromUtf8("\xc3\xa9\xe2\x82\xac")}},
        {"numbers", QJsonArray{0, -1, 1.5, 1e17, 1e18, 1e300, -1e-300, 123456789.123}},
        {"words", QJsonArray{true, false, QJsonValue::Null, QJsonArray(), QJsonObject()}},
        {"escaped", QString("\"\\\n\t\x01\x7f") + QChar(QChar::ByteOrderMark)}};
    const qint64 written = DocumentFile::Written(document).size();
    EXPECT_GE(DocumentFile::IndentedLength(document), written);
    EXPECT_LE(DocumentFile::IndentedLength(document), written + 60);
}

TEST_F(WorkOrderStoreTest, ABatchIsNoChangeByOthers)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 3, 1)));
    EXPECT_FALSE(open.store.LoadIfChanged());
}

TEST_F(WorkOrderStoreTest, AFileThatComesRightAfterABatchIsNoticed)
{
    OpenStore open(folder);
    for (int number = 1; number <= 20; ++number) {
        ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 3, number)));
        const QString id = QStringLiteral("X%1").arg(number);
        folder.Place(id + ".json", Document(id, 1));
        EXPECT_TRUE(open.store.LoadIfChanged()) << number;
        EXPECT_FALSE(open.store.LoadIfChanged()) << number;
    }
}

TEST_F(WorkOrderStoreTest, WhatIsSkippedIsReportedOnce)
{
    folder.Place("bad.json", "{");
    OpenStore open(folder);
    ASSERT_EQ(open.errors.messages.size(), 1);
    EXPECT_TRUE(open.errors.messages.first().contains("bad.json"));
    open.store.Load();
    EXPECT_EQ(open.errors.messages.size(), 1);
}

TEST_F(WorkOrderStoreTest, AProgramThatIsToEndReadsNoMore)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 5, 1)));
    int files = 0;
    open.store.Load([&files] { return ++files <= 3; });
    EXPECT_EQ(open.store.Entries().size(), 3u);
}

TEST_F(WorkOrderStoreTest, WhatStandsWhereABatchIsWrittenIsKeptAsideAndReported)
{
    for (const char *name : {"state/workorders.staged", "state/workorders.committed"}) {
        folder.Clear();
        folder.Place(QStringLiteral("../") + name, "in the way");
        OpenStore open(folder);
        EXPECT_EQ(open.errors.messages.size(), 1) << name;
        EXPECT_TRUE(open.store.UpdateWorkOrders(Batch(1, 20, 1))) << name;
        EXPECT_TRUE(open.store.UpdateWorkOrders(Batch(1, 1, 2))) << name;
        EXPECT_EQ(folder.ContentOf(QStringLiteral("../%1.damaged-1").arg(name)), "in the way");
        EXPECT_EQ(open.errors.messages.size(), 1) << name;
    }
}

TEST_F(WorkOrderStoreTest, WhatComesInTheWayLaterIsKeptAsideToo)
{
    for (const char *name : {"state/workorders.staged", "state/workorders.committed"}) {
        folder.Clear();
        OpenStore open(folder);
        folder.Place(QStringLiteral("../") + name, "in the way");
        EXPECT_TRUE(open.store.UpdateWorkOrders(Batch(1, 1, 1))) << name;
        EXPECT_EQ(open.errors.messages.size(), 1) << name;
    }
}

TEST_F(WorkOrderStoreTest, AFolderInWhatIsLeftOfABatchIsKeptAside)
{
    ASSERT_TRUE(QDir(folder.State()).mkpath("workorders.staged/folder"));
    ASSERT_TRUE(QDir(folder.State()).mkpath("workorders.committed/folder"));
    OpenStore open(folder);
    EXPECT_EQ(open.errors.messages.size(), 2);
    EXPECT_TRUE(open.store.UpdateWorkOrders(Batch(1, 1, 1)));
    EXPECT_TRUE(QDir(folder.State() + "/workorders.staged.damaged-1/folder").exists());
    EXPECT_TRUE(QDir(folder.State() + "/workorders.committed.damaged-1/folder").exists());
}

TEST_F(WorkOrderStoreTest, AFifoAmongTheWorkOrdersHoldsNobodyUp)
{
    const QString fifo = folder.WorkOrders() + "/fifo.json";
    ASSERT_EQ(mkfifo(fifo.toUtf8().constData(), 0600), 0);
    OpenStore open(folder);
    EXPECT_TRUE(open.store.Entries().empty());
}

TEST_F(WorkOrderStoreTest, ADocumentOfMoreThan16MiBIsReportedAndSkipped)
{
    folder.Place("large.json", Document("A", 1));
    ASSERT_EQ(truncate((folder.WorkOrders() + "/large.json").toUtf8().constData(), (16 << 20) + 1),
              0);
    OpenStore open(folder);
    EXPECT_TRUE(open.store.Entries().empty());
    ASSERT_EQ(open.errors.messages.size(), 1);
    EXPECT_TRUE(open.errors.messages.first().contains("large.json"));
    EXPECT_TRUE(open.errors.messages.first().contains("16 MiB"));
}

TEST_F(WorkOrderStoreTest, ABatchBeyondTheLimitIsRefusedWholeWithTheReason)
{
    RecordingErrorReporter errors;
    FileSystem fileSystem;
    WorkOrderStore store(fileSystem, folder.WorkOrders(), folder.State(), errors, 3);
    store.Load();
    EXPECT_TRUE(store.UpdateWorkOrders(Batch(1, 2, 1)));
    EXPECT_FALSE(store.UpdateWorkOrders(Batch(2, 4, 1)));
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("more than the 3 allowed"));
    EXPECT_EQ(IdsOf(store), QStringList({"WO-0001", "WO-0002"}));
    EXPECT_TRUE(store.UpdateWorkOrders(Batch(1, 3, 2)));
    EXPECT_TRUE(store.UpdateWorkOrders(Batch(1, 3, 3))) << "what is replaced adds nothing";
}

TEST_F(WorkOrderStoreTest, WhatWasRemovedByHandDoesNotCountForTheLimit)
{
    folder.Place("a.json", Document("A", 1));
    folder.Place("b.json", Document("B", 1));
    RecordingErrorReporter errors;
    FileSystem fileSystem;
    WorkOrderStore store(fileSystem, folder.WorkOrders(), folder.State(), errors, 2);
    store.Load();
    ASSERT_TRUE(QFile::remove(folder.WorkOrders() + "/a.json"));
    EXPECT_TRUE(store.UpdateWorkOrders({WorkOrder("C", 1)}));
    EXPECT_EQ(IdsOf(store), QStringList({"B", "C"}));
}

class ByteLimitTest : public WorkOrderStoreTest
{
protected:
    static QJsonObject OfBytes(const QString &id, int bytes)
    {
        const int empty = DocumentFile::Written({{"workOrderId", id}, {"text", ""}}).size();
        return {{"workOrderId", id}, {"text", QString(bytes - empty, 'x')}};
    }

    void Place(const QString &id, int bytes) const
    {
        folder.Place(id + ".json", DocumentFile::Written(OfBytes(id, bytes)));
    }

    RecordingErrorReporter errors;
    FileSystem fileSystem;
    WorkOrderStore store{fileSystem, folder.WorkOrders(), folder.State(), errors, 10, 1000};
};

TEST_F(ByteLimitTest, WorkOrdersMayTakeAsManyBytesAsAreAllowed)
{
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 400)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("B", 300), OfBytes("C", 300)}));
    EXPECT_TRUE(errors.messages.isEmpty());
}

TEST_F(ByteLimitTest, ABatchThatTakesAByteMoreIsRefusedWholeWithTheReason)
{
    ASSERT_TRUE(store.UpdateWorkOrders({OfBytes("A", 400)}));
    EXPECT_FALSE(store.UpdateWorkOrders({OfBytes("B", 300), OfBytes("C", 301)}));
    ASSERT_EQ(errors.messages.size(), 1);
    EXPECT_TRUE(errors.messages.first().contains("601 bytes"));
    EXPECT_TRUE(errors.messages.first().contains("the 1000 allowed"));
    EXPECT_EQ(IdsOf(store), QStringList("A"));
    EXPECT_EQ(folder.Names(), QStringList({"state", "workorders", "workorders/A.json"}));
}

TEST_F(ByteLimitTest, WhatAReplacementFreesIsFreeForOthers)
{
    ASSERT_TRUE(store.UpdateWorkOrders({OfBytes("A", 1000)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 600), OfBytes("B", 400)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 500)}));
    EXPECT_FALSE(store.UpdateWorkOrders({OfBytes("C", 101)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("C", 100)}));
}

TEST_F(ByteLimitTest, FilesPlacedByHandCount)
{
    Place("A", 600);
    store.Load();
    EXPECT_FALSE(store.UpdateWorkOrders({OfBytes("B", 401)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("B", 400)}));
}

TEST_F(ByteLimitTest, BeyondTheLimitWorkOrdersAreReplacedByOnesThatAreNoLarger)
{
    Place("A", 600);
    Place("B", 600);
    store.Load();
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 600)}));
    EXPECT_FALSE(store.UpdateWorkOrders({OfBytes("A", 601)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 601), OfBytes("B", 599)}));
    EXPECT_TRUE(store.UpdateWorkOrders({OfBytes("A", 500)}));
    EXPECT_FALSE(store.UpdateWorkOrders({OfBytes("A", 501)}));
}

TEST_F(WorkOrderStoreTest, ABatchReplacesByIdAndLeavesTheOthers)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 3, 1)));
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(2, 4, 2)));
    const QMap<QString, int> expected{
        {"WO-0001", 1}, {"WO-0002", 2}, {"WO-0003", 2}, {"WO-0004", 2}};
    EXPECT_EQ(open.Revisions(), expected);
    EXPECT_EQ(OpenStore(folder).Revisions(), expected);
}

TEST_F(WorkOrderStoreTest, ADocumentIsReplacedWhole)
{
    OpenStore open(folder);
    QJsonObject document = WorkOrder("a", 1);
    document["note"] = "old";
    ASSERT_TRUE(open.store.UpdateWorkOrders({document}));
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("a", 2)}));
    bool found = false;
    EXPECT_EQ(open.store.GetWorkOrder("a", &found), WorkOrder("a", 2));
    EXPECT_TRUE(found);
}

TEST_F(WorkOrderStoreTest, OfTwoElementsWithOneIdTheLaterCounts)
{
    OpenStore open(folder);
    ASSERT_TRUE(
        open.store.UpdateWorkOrders({WorkOrder("a", 1), WorkOrder("b", 1), WorkOrder("a", 2)}));
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"a", 2}, {"b", 1}}));
}

TEST_F(WorkOrderStoreTest, AnEmptyBatchSucceedsAndTouchesNothing)
{
    OpenStore open(folder);
    EXPECT_TRUE(open.store.UpdateWorkOrders({}));
    EXPECT_EQ(open.fileSystem.Steps(), 0);
}

TEST_F(WorkOrderStoreTest, OneInvalidElementAnywhereStoresNothing)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 2, 1)));
    const QStringList before = folder.Names();
    const int steps = open.fileSystem.Steps();
    const QJsonValue invalid[] = {QJsonValue(),
                                  QJsonValue(5),
                                  QJsonValue("WO-0001"),
                                  QJsonObject(),
                                  QJsonObject{{"workOrderId", 5}},
                                  WorkOrder("", 2),
                                  WorkOrder("a/b", 2),
                                  WorkOrder(QString(201, 'a'), 2)};
    for (const QJsonValue &element : invalid) {
        for (int position = 0; position <= 2; ++position) {
            QJsonArray batch = Batch(1, 2, 2);
            batch.insert(position, element);
            open.errors.messages.clear();
            EXPECT_FALSE(open.store.UpdateWorkOrders(batch));
            ASSERT_EQ(open.errors.messages.size(), 1);
            EXPECT_TRUE(open.errors.messages.first().contains(
                QStringLiteral("work order %1 of 3").arg(position + 1)));
        }
    }
    EXPECT_EQ(folder.Names(), before);
    EXPECT_EQ(open.fileSystem.Steps(), steps);
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"WO-0001", 1}, {"WO-0002", 1}}));
}

TEST_F(WorkOrderStoreTest, EntriesAreInTheOrderOfCodeUnits)
{
    OpenStore open(folder);
    QJsonArray batch;
    const QStringList ids{"10", "9", "B", "Z", "a", "ä", "測"};
    for (int number = ids.size() - 1; number >= 0; --number) {
        batch.append(WorkOrder(ids.at(number), 1));
    }
    ASSERT_TRUE(open.store.UpdateWorkOrders(batch));
    EXPECT_EQ(IdsOf(open.store), ids);
    EXPECT_EQ(IdsOf(OpenStore(folder).store), ids);
}

TEST_F(WorkOrderStoreTest, UnusualIdsSurviveARestart)
{
    const QStringList ids{"%", ".", "..", "a.json", "x y", QString(200, 'n'), "ä ö.測定"};
    QJsonArray batch;
    for (const QString &id : ids) {
        batch.append(WorkOrder(id, 3));
    }
    ASSERT_TRUE(OpenStore(folder).store.UpdateWorkOrders(batch));
    OpenStore open(folder);
    for (const QString &id : ids) {
        bool found = false;
        EXPECT_EQ(open.store.GetWorkOrder(id, &found), WorkOrder(id, 3));
        EXPECT_TRUE(found) << id.toStdString();
    }
    EXPECT_EQ(open.store.Entries().size(), static_cast<std::size_t>(ids.size()));
    EXPECT_TRUE(open.errors.messages.isEmpty());
}

TEST_F(WorkOrderStoreTest, AByteOrderMarkInFrontOfATextOrAKeyIsKept)
{
    const QString marked = QString(QChar::ByteOrderMark) + "text";
    QJsonObject order = WorkOrder("A", 1);
    order[marked] = marked;
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders({order}));
    bool found = false;
    EXPECT_EQ(open.store.GetWorkOrder("A", &found), order);
}

TEST_F(WorkOrderStoreTest, AnUnknownIdIsNotFound)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("abc", 1)}));
    for (const char *id : {"", "ab", "ABC", "abcd", "../workorders/abc", "abc.json"}) {
        bool found = true;
        EXPECT_TRUE(open.store.GetWorkOrder(id, &found).isEmpty());
        EXPECT_FALSE(found) << id;
    }
    EXPECT_TRUE(open.errors.messages.isEmpty());
}

TEST_F(WorkOrderStoreTest, AnIdFromAUriIsReadAsUtf8WhereItIsValid)
{
    OpenStore open(folder);
    const QString id = QStringLiteral("Prüfung 測");
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder(id, 1), WorkOrder("\xC3\xBC", 2)}));
    bool found = false;
    open.store.GetWorkOrder(QString::fromLatin1(id.toUtf8()), &found);
    EXPECT_TRUE(found);
    EXPECT_EQ(open.store.GetWorkOrder(QString::fromLatin1("\xFC"), &found), WorkOrder("ü", 2));
    EXPECT_TRUE(found);
}

TEST_F(WorkOrderStoreTest, ModifiedTimeIsWhenItWasStoredInUtc)
{
    OpenStore open(folder);
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("a", 1)}));
    const QDateTime time = open.store.Entries().at("a").modifiedTime;
    EXPECT_EQ(time.timeSpec(), Qt::UTC);
    EXPECT_GE(time, before);
    EXPECT_LE(time, QDateTime::currentDateTimeUtc());
    EXPECT_EQ(OpenStore(folder).store.Entries().at("a").modifiedTime, time);
}

TEST_F(WorkOrderStoreTest, AFilePlacedByHandMayHaveAnyName)
{
    folder.Place("by hand.json", Document("WO-7", 1));
    OpenStore open(folder);
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"WO-7", 1}}));
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("WO-7", 2)}));
    EXPECT_EQ(folder.ContentOf("by hand.json"), Document("WO-7", 2));
    EXPECT_FALSE(folder.Names().contains("workorders/WO-7.json"));
}

TEST_F(WorkOrderStoreTest, FilesThatAreNoWorkOrderAreReportedAndNeverTouched)
{
    const QMap<QString, QByteArray> files{{"array.json", "[{\"workOrderId\": \"a\"}]"},
                                          {"broken.json", "{\"workOrderId\": \"b\""},
                                          {"empty.json", ""},
                                          {"number.json", "{\"workOrderId\": 5}"},
                                          {"slash.json", "{\"workOrderId\": \"a/b\"}"}};
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        folder.Place(file.key(), file.value());
    }
    OpenStore open(folder);
    EXPECT_TRUE(open.store.Entries().empty());
    EXPECT_EQ(open.errors.messages.size(), files.size());
    ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, 3, 1)));
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        EXPECT_EQ(folder.ContentOf(file.key()), file.value());
        EXPECT_EQ(open.errors.messages.filter(file.key()).size(), 1) << file.key().toStdString();
    }
}

TEST_F(WorkOrderStoreTest, FilesOfOtherKindsAreNotLookedAt)
{
    folder.Place("notes.txt", "text");
    folder.Place("WO-1.JSON", Document("WO-1", 1));
    folder.Place(".hidden.json", Document("WO-2", 1));
    ASSERT_TRUE(QDir(folder.WorkOrders()).mkdir("folder.json"));
    ASSERT_EQ(mkfifo(QFile::encodeName(folder.WorkOrders() + "/pipe.json").constData(), 0600), 0);
    OpenStore open(folder);
    EXPECT_TRUE(open.store.Entries().empty());
    EXPECT_TRUE(open.errors.messages.isEmpty());
}

TEST_F(WorkOrderStoreTest, OfTwoFilesWithOneIdTheOneNamedAfterItCounts)
{
    folder.Place("copy.json", Document("WO-1", 1));
    folder.Place("WO-1.json", Document("WO-1", 2));
    folder.Place("old.json", Document("WO-1", 3));
    OpenStore open(folder);
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"WO-1", 2}}));
    EXPECT_EQ(open.errors.messages.size(), 2);
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("WO-1", 4)}));
    EXPECT_EQ(folder.ContentOf("copy.json"), Document("WO-1", 1));
    EXPECT_EQ(folder.ContentOf("WO-1.json"), Document("WO-1", 4));
    EXPECT_EQ(folder.ContentOf("old.json"), Document("WO-1", 3));
}

TEST_F(WorkOrderStoreTest, OfTwoFilesWithOneIdAndOtherNamesTheFirstCounts)
{
    folder.Place("first.json", Document("WO-1", 1));
    folder.Place("second.json", Document("WO-1", 2));
    OpenStore open(folder);
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"WO-1", 1}}));
    ASSERT_EQ(open.errors.messages.size(), 1);
    EXPECT_TRUE(open.errors.messages.first().contains("second.json"));
}

TEST_F(WorkOrderStoreTest, ANewWorkOrderNeverTakesTheFileOfAnother)
{
    folder.Place("WO-0002.json", "not JSON");
    folder.Place("WO-0003.json", Document("other", 1));
    OpenStore open(folder);
    for (int number : {2, 3}) {
        open.errors.messages.clear();
        EXPECT_FALSE(open.store.UpdateWorkOrders(Batch(1, number, 2)));
        EXPECT_EQ(open.errors.messages.size(), 1);
    }
    EXPECT_EQ(folder.ContentOf("WO-0002.json"), "not JSON");
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"other", 1}}));
}

TEST_F(WorkOrderStoreTest, ADocumentChangedByHandIsReadAnew)
{
    OpenStore open(folder);
    ASSERT_TRUE(open.store.UpdateWorkOrders({WorkOrder("a", 1)}));
    folder.Place("a.json", Document("a", 9));
    EXPECT_EQ(open.Revisions(), (QMap<QString, int>{{"a", 9}}));
}

TEST_F(WorkOrderStoreTest, AFileThatLostItsWorkOrderIsReportedAndNotFound)
{
    OpenStore open(folder);
    ASSERT_TRUE(
        open.store.UpdateWorkOrders({WorkOrder("a", 1), WorkOrder("b", 1), WorkOrder("c", 1)}));
    folder.Place("a.json", "broken");
    folder.Place("b.json", Document("other", 1));
    ASSERT_TRUE(QFile::remove(folder.WorkOrders() + "/c.json"));
    for (const char *id : {"a", "b", "c"}) {
        bool found = true;
        EXPECT_TRUE(open.store.GetWorkOrder(id, &found).isEmpty());
        EXPECT_FALSE(found);
    }
    EXPECT_EQ(open.errors.messages.size(), 3);
}

// How a batch can go: as many documents as are flushed one by one, and more.
class BatchTest : public testing::TestWithParam<int>
{
protected:
    int Size() const { return GetParam(); }

    // Half of the batch replaces, half is new.
    void StoreOld()
    {
        folder.Clear();
        OpenStore open(folder);
        ASSERT_TRUE(open.store.UpdateWorkOrders(Batch(1, Size() / 2, 1)));
    }

    QJsonArray NewBatch() const { return Batch(1, Size(), 2); }

    QMap<QString, int> Old() const { return Expected(Batch(1, Size() / 2, 1)); }
    QMap<QString, int> New() const { return Expected(NewBatch()); }

    StoreFolder folder;

private:
    static QMap<QString, int> Expected(const QJsonArray &batch)
    {
        QMap<QString, int> revisions;
        for (const QJsonValue &element : batch) {
            revisions[element["workOrderId"].toString()] = element["revision"].toInt();
        }
        return revisions;
    }
};

TEST_P(BatchTest, AKillAtAnyStepLeavesAllOldOrAllNew)
{
    bool finished = false;
    bool committed = false;
    int step = 0;
    while (!finished) {
        ++step;
        StoreOld();
        finished = FinishesInChild(
            [&] { OpenStore(folder, KillAt(step)).store.UpdateWorkOrders(NewBatch()); });
        OpenStore restarted(folder);
        const QMap<QString, int> found = restarted.Revisions();
        committed = committed || found == New();
        EXPECT_EQ(found, committed ? New() : Old()) << step;
        EXPECT_EQ(folder.Names().filter("state/"), QStringList()) << step;
        EXPECT_TRUE(restarted.errors.messages.isEmpty()) << step;
    }
    EXPECT_TRUE(committed);
    EXPECT_GT(step, 3 * Size()); // each document is created, written, closed and moved
}

TEST_P(BatchTest, AKillAtAnyStepOfTheNextStartLeavesAllOldOrAllNew)
{
    bool batchFinished = false;
    for (int step = 1; !batchFinished; step += 3) {
        bool startFinished = false;
        for (int startStep = 1; !startFinished; startStep += 2) {
            StoreOld();
            batchFinished = FinishesInChild(
                [&] { OpenStore(folder, KillAt(step)).store.UpdateWorkOrders(NewBatch()); });
            startFinished = FinishesInChild([&] { OpenStore(folder, KillAt(startStep)); });
            const QMap<QString, int> found = OpenStore(folder).Revisions();
            EXPECT_TRUE(found == Old() || found == New()) << step << ' ' << startStep;
        }
    }
}

TEST_P(BatchTest, AFailureAtAnyStepStoresAllOrNothingAndSaysWhich)
{
    int failures = 0;
    int lateFailures = 0;
    bool reached = true;
    for (int step = 1; reached; ++step) {
        StoreOld();
        OpenStore open(folder, FailAt(step));
        const bool stored = open.store.UpdateWorkOrders(NewBatch());
        reached = open.fileSystem.Steps() >= step;
        EXPECT_EQ(open.Revisions(), stored ? New() : Old()) << step;
        EXPECT_EQ(open.errors.messages.size(), reached ? 1 : 0) << step;
        EXPECT_EQ(OpenStore(folder).Revisions(), stored ? New() : Old()) << step;
        failures += stored ? 0 : 1;
        lateFailures += stored && reached ? 1 : 0;
    }
    EXPECT_GT(failures, 3 * Size());
    EXPECT_EQ(lateFailures, Size() + 2); // each move, the flush and the removal of the folder
}

TEST_P(BatchTest, TheNextBatchSucceedsAfterAFailureAtAnyStep)
{
    bool reached = true;
    for (int step = 1; reached; ++step) {
        StoreOld();
        OpenStore open(folder, FailAt(step));
        open.store.UpdateWorkOrders(NewBatch());
        reached = open.fileSystem.Steps() >= step;
        if (reached) {
            EXPECT_TRUE(open.store.UpdateWorkOrders(NewBatch())) << step;
            EXPECT_EQ(open.Revisions(), New()) << step;
            EXPECT_EQ(folder.Names().filter("state/"), QStringList()) << step;
        }
    }
}

TEST_P(BatchTest, ADiskThatFailsFromAnyStepOnLeavesAllOldOrAllNew)
{
    bool reached = true;
    for (int first = 1; reached; ++first) {
        StoreOld();
        OpenStore open(folder, [first](int step) { return step < first; });
        const bool stored = open.store.UpdateWorkOrders(NewBatch());
        reached = open.fileSystem.Steps() >= first;
        EXPECT_EQ(open.Revisions(), stored ? New() : Old()) << first;
        if (reached) {
            EXPECT_FALSE(open.store.UpdateWorkOrders(Batch(1, 1, 3))) << first;
            EXPECT_EQ(open.Revisions(), stored ? New() : Old()) << first;
        }
        EXPECT_EQ(OpenStore(folder).Revisions(), stored ? New() : Old()) << first;
    }
}

TEST_P(BatchTest, AStartThatCannotFinishABatchAnswersWithItsDocuments)
{
    StoreOld();
    const int afterTheCommit = [this] {
        OpenStore open(folder, FailAt(0));
        open.store.UpdateWorkOrders(NewBatch());
        return open.fileSystem.Steps() - Size() - 1; // the first move
    }();
    StoreOld();
    EXPECT_FALSE(FinishesInChild(
        [&] { OpenStore(folder, KillAt(afterTheCommit + 1)).store.UpdateWorkOrders(NewBatch()); }));
    OpenStore open(folder, [](int) { return false; });
    EXPECT_EQ(open.Revisions(), New());
    EXPECT_EQ(open.errors.messages.size(), 1);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BatchTest, testing::Values(2, 20),
                         testing::PrintToStringParamName());

} // namespace
