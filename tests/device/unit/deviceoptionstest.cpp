#include "deviceoptions.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using Action = DeviceOptions::Action;

DeviceOptions Parse(const QStringList &arguments)
{
    return DeviceOptions::Parse(QStringList{"parlowen-device"} + arguments);
}

void ExpectRefusal(const QStringList &arguments, const QString &named)
{
    const DeviceOptions options = Parse(arguments);
    EXPECT_EQ(options.action, Action::Refuse) << arguments.join(' ').toStdString();
    EXPECT_TRUE(options.message.contains(named)) << options.message.toStdString();
    EXPECT_FALSE(options.message.contains('\n')) << options.message.toStdString();
}

TEST(DeviceOptionsTest, TheFolderAloneIsEnough)
{
    const DeviceOptions options = Parse({"--data", "/srv/device"});
    EXPECT_EQ(options.action, Action::Serve);
    EXPECT_EQ(options.dataFolder, "/srv/device");
    EXPECT_EQ(options.mode, 0);
    EXPECT_TRUE(options.storageAvailable);
    EXPECT_FALSE(options.verbose);
}

TEST(DeviceOptionsTest, EveryOptionIsRead)
{
    const DeviceOptions options =
        Parse({"--verbose", "--mode=2", "--storage-unavailable", "--data=/srv/device"});
    EXPECT_EQ(options.action, Action::Serve);
    EXPECT_EQ(options.mode, 2);
    EXPECT_FALSE(options.storageAvailable);
    EXPECT_TRUE(options.verbose);
}

TEST(DeviceOptionsTest, ItServesPromptlyOnThisMachineOnly)
{
    const DeviceOptions options = Parse({"--data", "d"});
    EXPECT_EQ(options.serving, RestServerOptions::Serving::Prompt);
    EXPECT_EQ(options.listenAddress, "127.0.0.1");
    EXPECT_EQ(options.port, 8081);
}

TEST(DeviceOptionsTest, PortAddressAndServingAreRead)
{
    const DeviceOptions options = Parse({"--data", "d", "--port", "0", "--listen", "0.0.0.0",
                                         "--serving", "classic", "--allow-origin", "*"});
    EXPECT_EQ(options.serving, RestServerOptions::Serving::Classic);
    EXPECT_EQ(options.listenAddress, "0.0.0.0");
    EXPECT_EQ(options.port, 0);
    EXPECT_EQ(options.allowedOrigins, QList<QByteArray>{"*"});
}

TEST(DeviceOptionsTest, RequestsAreLoggedAsTextOrAsJson)
{
    EXPECT_EQ(Parse({"--data", "d"}).requestLines, RequestReport::Lines::None);
    EXPECT_EQ(Parse({"--data", "d", "--log-requests"}).requestLines, RequestReport::Lines::Text);
    EXPECT_EQ(Parse({"--log-requests=json", "--data", "d"}).requestLines,
              RequestReport::Lines::Json);
    ExpectRefusal({"--data", "d", "--log-requests=xml"}, "xml");
}

TEST(DeviceOptionsTest, ATemporaryFolderTakesThePlaceOfTheOther)
{
    EXPECT_EQ(Parse({"--temporary"}).action, Action::Serve);
    ExpectRefusal({"--temporary", "--data", "d"}, "--data");
}

TEST(DeviceOptionsTest, AnEmptyDeviceIsNoCopy)
{
    EXPECT_EQ(Parse({"--data", "d", "--empty"}).content, SampleContent::Extent::Description);
    EXPECT_EQ(Parse({"--data", "d", "--from", "/golden/"}).goldenFolder, "/golden");
    ExpectRefusal({"--data", "d", "--empty", "--from", "/golden"}, "--from");
}

TEST(DeviceOptionsTest, AModeMayBeNegative)
{
    EXPECT_EQ(Parse({"--data", "d", "--mode", "-3"}).mode, -3);
}

TEST(DeviceOptionsTest, TheFolderBecomesAbsoluteAndClean)
{
    EXPECT_EQ(Parse({"--data", "device/"}).dataFolder, QDir::currentPath() + "/device");
    EXPECT_EQ(Parse({"--data", "/srv//a/./b/../device/"}).dataFolder, "/srv/a/device");
    EXPECT_EQ(Parse({"--data", "/srv/Gerät 1"}).dataFolder, "/srv/Gerät 1");
}

TEST(DeviceOptionsTest, AMissingFolderIsNamed)
{
    ExpectRefusal({}, "--data");
    ExpectRefusal({"--verbose"}, "--data");
    ExpectRefusal({"--data"}, "--data");
    ExpectRefusal({"--data", ""}, "--data");
    ExpectRefusal({"--data="}, "--data");
}

TEST(DeviceOptionsTest, AnUnknownArgumentIsNamed)
{
    ExpectRefusal({"--data", "d", "--colour"}, "colour");
    ExpectRefusal({"--data", "d", "-x"}, "x");
    ExpectRefusal({"--data", "d", "extra"}, "extra");
    ExpectRefusal({"d"}, "d");
    ExpectRefusal({"--help", "--colour"}, "colour");
}

TEST(DeviceOptionsTest, ABadValueIsNamed)
{
    ExpectRefusal({"--data", "d", "--mode", "two"}, "two");
    ExpectRefusal({"--data", "d", "--mode", "1.5"}, "1.5");
    ExpectRefusal({"--data", "d", "--mode="}, "--mode");
    ExpectRefusal({"--data", "d", "--mode", "99999999999"}, "99999999999");
    ExpectRefusal({"--data", "d", "--verbose=yes"}, "verbose");
}

TEST(DeviceOptionsTest, TheFaultFileBecomesAbsoluteAndClean)
{
    EXPECT_EQ(Parse({"--data", "d", "--fault-file", "a//faults"}).faultFile,
              QDir::currentPath() + "/a/faults");
    EXPECT_EQ(Parse({"--data", "d"}).faultFile, QString());
}

TEST(DeviceOptionsTest, AFaultFileThatUploadsReachIsRefused)
{
    ExpectRefusal({"--data", "/srv/device", "--fault-file", "/srv/device/state/faults"},
                  "/srv/device/state/faults");
    ExpectRefusal({"--data", "/srv/device", "--fault-file", "/srv/other/../device/f"},
                  "/srv/device/f");
    EXPECT_EQ(Parse({"--data", "/srv/device", "--fault-file", "/srv/device2/f"}).action,
              Action::Serve);
}

TEST(DeviceOptionsTest, AFaultFileThatUploadsReachThroughALinkIsRefused)
{
    QTemporaryDir folder;
    ASSERT_TRUE(QDir(folder.path()).mkdir("device"));
    ASSERT_TRUE(QFile::link(folder.filePath("device"), folder.filePath("link")));
    ExpectRefusal(
        {"--data", folder.filePath("device"), "--fault-file", folder.filePath("link/faults")},
        "link/faults");
}

TEST(DeviceOptionsTest, TheLimitOfWorkOrdersIsTenThousandUnlessAnotherIsGiven)
{
    EXPECT_EQ(Parse({"--data", "d"}).workOrderLimit, 10000);
    EXPECT_EQ(Parse({"--data", "d", "--work-order-limit", "7"}).workOrderLimit, 7);
    ExpectRefusal({"--data", "d", "--work-order-limit", "-1"}, "-1");
    ExpectRefusal({"--data", "d", "--work-order-limit", "x"}, "x");
}

TEST(DeviceOptionsTest, TheLimitOfUserFilesIsFiftyThousandUnlessAnotherIsGiven)
{
    EXPECT_EQ(Parse({"--data", "d"}).userFileLimit, 50000);
    EXPECT_EQ(Parse({"--data", "d", "--user-file-limit", "7"}).userFileLimit, 7);
    ExpectRefusal({"--data", "d", "--user-file-limit", "-1"}, "--user-file-limit");
    ExpectRefusal({"--data", "d", "--user-file-limit", "x"}, "x");
}

TEST(DeviceOptionsTest, HelpNamesEveryOption)
{
    for (const char *argument : {"--help", "-h"}) {
        const DeviceOptions options = Parse({argument});
        EXPECT_EQ(options.action, Action::Explain);
        for (const char *name : {"--data", "--mode", "--storage-unavailable", "--fault-file",
                                 "--verbose", "--help", "--version"}) {
            EXPECT_TRUE(options.message.contains(name)) << name;
        }
    }
}

TEST(DeviceOptionsTest, HelpAndVersionComeBeforeTheValuesOfTheOthers)
{
    EXPECT_EQ(Parse({"--mode", "two", "--help"}).action, Action::Explain);
    EXPECT_EQ(Parse({"--fault", "none", "--version"}).action, Action::Explain);
}

TEST(DeviceOptionsTest, VersionNamesTheProgram)
{
    QCoreApplication::setApplicationName("parlowen-device");
    QCoreApplication::setApplicationVersion("9.8.7");
    EXPECT_EQ(Parse({"--version"}).message, "parlowen-device 9.8.7");
    EXPECT_EQ(Parse({"-v"}).action, Action::Explain);
}

TEST(DeviceOptionsTest, ActivityTakesSecondsOrNothing)
{
    EXPECT_FALSE(Parse({"--data", "d"}).activity);
    EXPECT_EQ(Parse({"--data", "d", "--activity"}).activity, std::chrono::seconds(5));
    EXPECT_EQ(Parse({"--data", "d", "--activity=0.1"}).activity, std::chrono::milliseconds(100));
    for (const char *text : {"--activity=0", "--activity=x", "--activity=3601", "--activity=nan",
                             "--seed=x", "--seed=-1"}) {
        EXPECT_EQ(Parse({"--data", "d", text}).action, DeviceOptions::Action::Refuse) << text;
    }
    EXPECT_EQ(Parse({"--data", "d"}).seed, 1U);
    EXPECT_EQ(Parse({"--data", "d", "--seed", "7"}).seed, 7U);
}

} // namespace
