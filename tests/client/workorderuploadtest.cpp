#include <gtest/gtest.h>

#include <QJsonArray>

#include <workorderupload.h>

namespace {

QVector<WorkOrderElement> Elements(int count)
{
    QVector<WorkOrderElement> elements;
    for (int i = 1; i <= count; ++i) {
        elements.append({"f.json", i, QJsonObject{{"workOrderId", QString::number(i)}}});
    }
    return elements;
}

int BodySize(const QVector<WorkOrderElement> &batch)
{
    QJsonArray documents;
    for (const WorkOrderElement &element : batch) {
        documents.append(element.document);
    }
    return WorkOrders::Body(documents).size();
}

TEST(WorkOrderUpload, NoElementsMakeNoBatch)
{
    EXPECT_TRUE(WorkOrderUpload::Batches({}, 1000).isEmpty());
}

TEST(WorkOrderUpload, BatchesStayBelowTheLimitAndKeepTheOrder)
{
    const QVector<WorkOrderElement> elements = Elements(9);
    for (int limit = 1; limit < 300; ++limit) {
        int next = 1;
        for (const auto &batch : WorkOrderUpload::Batches(elements, limit)) {
            EXPECT_TRUE(BodySize(batch) < limit || batch.size() == 1) << "limit " << limit;
            for (const WorkOrderElement &element : batch) {
                EXPECT_EQ(element.position, next++);
            }
        }
        EXPECT_EQ(next, 10) << "limit " << limit;
    }
}

TEST(WorkOrderUpload, EverythingThatFitsIsOneBatch)
{
    const QVector<WorkOrderElement> elements = Elements(9);
    EXPECT_EQ(WorkOrderUpload::Batches(elements, BodySize(elements) + 2).size(), 1);
}

} // namespace
