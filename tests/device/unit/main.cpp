#include <QCoreApplication>
#include <QTextCodec>
#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
