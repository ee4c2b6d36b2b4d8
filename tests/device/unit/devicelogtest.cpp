#include "devicelog.h"

#include <QDebug>
#include <QString>
#include <gtest/gtest.h>

namespace {

// What the Qt log prints on standard error with this setting.
QString Logged(Verbosity verbosity)
{
    testing::internal::CaptureStderr();
    DeviceLog::Install(verbosity);
    qDebug() << "a debug line";
    qWarning() << "a warning\nof two lines";
    qCritical() << "a critical line";
    qInstallMessageHandler(nullptr);
    return QString::fromStdString(testing::internal::GetCapturedStderr());
}

TEST(DeviceLogTest, NormallyDebugLinesAreLeftOut)
{
    const QString text = Logged(Verbosity::Normal);
    EXPECT_EQ(text.count('\n'), 2);
    EXPECT_FALSE(text.contains("a debug line"));
    EXPECT_TRUE(text.contains("Z warning: a warning of two lines\n"));
    EXPECT_TRUE(text.contains("Z critical: a critical line\n"));
}

TEST(DeviceLogTest, VerboselyDebugLinesArePrintedToo)
{
    const QString text = Logged(Verbosity::Debug);
    EXPECT_EQ(text.count('\n'), 3);
    EXPECT_TRUE(text.contains("Z debug: a debug line\n"));
}

} // namespace
