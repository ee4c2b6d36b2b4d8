#include "restserverfilecallbackhandler.h"

#include <QTemporaryDir>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "casename.h"
#include "debuglogcapture.h"
#include "fakehost.h"
#include "openfiles.h"

namespace {

using Calls = std::vector<std::string>;

// One state is entered by no event. The tests reach it through the one place in the language where
// a private member may be named: an explicit instantiation.
int RestServerFileCallbackHandler::*StateMember();

template <int RestServerFileCallbackHandler::*Member>
struct ExposeState
{
    friend int RestServerFileCallbackHandler::*StateMember() { return Member; }
};
template struct ExposeState<&RestServerFileCallbackHandler::state>;

enum State
{
    Idle = 0,
    ReadingMetadata = 1,
    WritingFile = 2,
    UnusedState = 3,
    Failed = 4
};

class PartWriterTest : public testing::Test
{
protected:
    PartWriterTest()
    {
        host.storage.directories[9] = directory.path();
        handler.Construct(&host);
    }

    ~PartWriterTest() override { handler.Reset(); }

    int StateOf() { return handler.*StateMember(); }
    void SetState(State state) { handler.*StateMember() = state; }

    QString Target() const { return directory.filePath(QStringLiteral("a.bin")); }

    QByteArray Metadata() const { return "{\"fileUri\": \"" + Target().toUtf8() + "\"}"; }

    void Data(const QByteArray &bytes) { handler.ProcessPartData(bytes.constData(), bytes.size()); }

    void Part(const QByteArray &bytes)
    {
        handler.NotifyPartStart();
        Data(bytes);
        handler.NotifyPartEnd();
    }

    QByteArray Content() const
    {
        QFile file(Target());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    std::vector<std::pair<std::string, int>> Reports() const
    {
        std::vector<std::pair<std::string, int>> result;
        for (const FakeErrorReporter::Report &report : host.errors.reports) {
            EXPECT_EQ(report.sourceFile, QStringLiteral("restserverfilecallbackhandler"));
            result.emplace_back(report.message.toStdString(), report.line);
        }
        return result;
    }

    QTemporaryDir directory;
    FakeHost host;
    RestServerFileCallbackHandler handler;
};

using Reported = std::vector<std::pair<std::string, int>>;

TEST_F(PartWriterTest, BeginsIdleWithoutAResult)
{
    EXPECT_EQ(StateOf(), Idle);
    EXPECT_FALSE(handler.GetFinalResult());
    handler.Shutdown();
    EXPECT_EQ(StateOf(), Idle);
}

// Idle

TEST_F(PartWriterTest, IdleGoesToTheMetadataAtAPartStart)
{
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), ReadingMetadata);
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, IdleIgnoresData)
{
    Data("x");
    EXPECT_EQ(StateOf(), Idle);
    EXPECT_EQ(Reports(), Reported());
    Part(Metadata());
    EXPECT_EQ(StateOf(), WritingFile) << "the data was kept";
}

TEST_F(PartWriterTest, IdleReportsAPartEnd)
{
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), Idle);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 115}}));
}

// ReadingMetadata

TEST_F(PartWriterTest, MetadataReportsAPartStartAndGoesOnToTheFile)
{
    handler.NotifyPartStart();
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_EQ(Reports(), Reported({{"Potential bad state", 90}}));
    Data("x");
    EXPECT_EQ(Reports().back(), std::make_pair(std::string("Illegal state"), 187))
        << "a file was opened";
}

TEST_F(PartWriterTest, MetadataIsCollectedOverSlices)
{
    handler.NotifyPartStart();
    for (const char byte : Metadata()) {
        Data(QByteArray(1, byte));
    }
    Data(QByteArray());
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), WritingFile);
}

TEST_F(PartWriterTest, MetadataThatIsAcceptedLeadsToTheFileButOpensNone)
{
    Part(Metadata());
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_FALSE(handler.GetFinalResult());
    EXPECT_EQ(Content(), QByteArray("no file"));
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, MetadataThatIsRejectedLeadsToFailure)
{
    Part("json");
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_FALSE(handler.GetFinalResult());
    EXPECT_EQ(Reports(), Reported());
}

// WritingFile

TEST_F(PartWriterTest, AFilePartIsWrittenAndClosed)
{
    Part(Metadata());
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), WritingFile);
    Data("abc");
    Data(QByteArray("\0d", 2));
    EXPECT_FALSE(handler.GetFinalResult());
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_TRUE(handler.GetFinalResult());
    EXPECT_EQ(Content(), QByteArray("abc\0d", 5));
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, AnEmptyFilePartMakesAnEmptyFile)
{
    Part(Metadata());
    handler.NotifyPartStart();
    handler.NotifyPartEnd();
    EXPECT_TRUE(handler.GetFinalResult());
    EXPECT_EQ(Content(), QByteArray());
}

TEST_F(PartWriterTest, AnExistingFileIsTruncatedAtThePartStart)
{
    QFile file(Target());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("long content");
    file.close();
    Part(Metadata());
    EXPECT_EQ(Content(), QByteArray("long content"));
    handler.NotifyPartStart();
    EXPECT_EQ(Content(), QByteArray());
    Data("x");
    handler.NotifyPartEnd();
    EXPECT_EQ(Content(), QByteArray("x"));
}

TEST_F(PartWriterTest, AFileThatCannotBeOpenedFailsSilently)
{
    Part("{\"fileUri\": \"" + directory.filePath("none/a").toUtf8() + "\"}");
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), Failed);
    Data("x");
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_FALSE(handler.GetFinalResult());
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, DataBeforeAFilePartIsReported)
{
    Part(Metadata());
    Data("x");
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 187}}));
}

TEST_F(PartWriterTest, DataAfterAFilePartIsReported)
{
    Part(Metadata());
    Part("abc");
    Data("x");
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 183}}));
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(PartWriterTest, APartEndBeforeAFilePartIsReported)
{
    Part(Metadata());
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 144}}));
    EXPECT_FALSE(handler.GetFinalResult());
}

TEST_F(PartWriterTest, APartEndAfterAFilePartIsReported)
{
    Part(Metadata());
    Part("abc");
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), WritingFile);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 140}}));
    EXPECT_TRUE(handler.GetFinalResult());
}

TEST_F(PartWriterTest, AThirdPartReplacesTheSecond)
{
    Part(Metadata());
    Part("second part");
    Part("third");
    EXPECT_EQ(Content(), QByteArray("third"));
    EXPECT_TRUE(handler.GetFinalResult());
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, AThirdPartThatCannotBeOpenedLeavesTheResultOfTheSecond)
{
    Part(Metadata());
    Part("abc");
    ASSERT_TRUE(QFile::remove(Target()) && QDir().mkdir(Target()));
    Part("third");
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_TRUE(handler.GetFinalResult());
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, AFileIsOpenedForReadingAndWriting)
{
    Part(Metadata());
    handler.NotifyPartStart();
    const std::vector<int> descriptors = DescriptorsOf(Target());
    ASSERT_EQ(descriptors.size(), 1U);
    EXPECT_EQ(fcntl(descriptors[0], F_GETFL) & O_ACCMODE, O_RDWR);
}

TEST_F(PartWriterTest, SlicesOfAnySizeArriveInOrder)
{
    Part(Metadata());
    handler.NotifyPartStart();
    QByteArray expected;
    for (const int size : {1, 262143, 1, 262144, 0, 3, 262145, 2, 1000000, 262142, 2, 1}) {
        const QByteArray slice(size, static_cast<char>('a' + expected.size() % 23));
        Data(slice);
        expected += slice;
    }
    handler.NotifyPartEnd();
    EXPECT_TRUE(Content() == expected);
}

TEST_F(PartWriterTest, PartsThatWereClosedKeepLittleMemory)
{
    const auto usedBytes = [] {
        const auto information = mallinfo2();
        return information.uordblks + information.hblkhd;
    };
    Part(Metadata());
    Part("x");
    const size_t before = usedBytes();
    for (int i = 0; i < 200; ++i) {
        Part("x");
    }
    EXPECT_LT(usedBytes(), before + 10000000);
}

// UnusedState

TEST_F(PartWriterTest, TheUnusedStateReportsAPartStart)
{
    SetState(UnusedState);
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), UnusedState);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 102}}));
}

TEST_F(PartWriterTest, TheUnusedStateReportsData)
{
    SetState(UnusedState);
    Data("x");
    EXPECT_EQ(StateOf(), UnusedState);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 191}}));
}

TEST_F(PartWriterTest, TheUnusedStateIgnoresAPartEnd)
{
    SetState(UnusedState);
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), UnusedState);
    EXPECT_EQ(Reports(), Reported());
}

// Failed

TEST_F(PartWriterTest, AfterAFailureAPartStartIsReported)
{
    Part("json");
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 102}}));
}

TEST_F(PartWriterTest, AfterAFailureDataIsIgnored)
{
    Part("json");
    Data("x");
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, AfterAFailureAPartEndIsIgnored)
{
    Part("json");
    handler.NotifyPartEnd();
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_EQ(Reports(), Reported());
}

TEST_F(PartWriterTest, AFilePartAfterRejectedMetadataMakesNoFile)
{
    host.storage.freeSpace = false;
    Part(Metadata());
    Part("abc");
    EXPECT_FALSE(handler.GetFinalResult());
    EXPECT_EQ(Content(), QByteArray("no file"));
}

// Reset

TEST_F(PartWriterTest, ResetForgetsTheUploadBefore)
{
    Part(Metadata());
    Part("abc");
    handler.Reset();
    EXPECT_EQ(StateOf(), Idle);
    EXPECT_FALSE(handler.GetFinalResult());
    Part("{}");
    EXPECT_EQ(StateOf(), Failed) << "the metadata was kept";
}

TEST_F(PartWriterTest, ResetClosesTheFileOfAnUploadThatEndedEarly)
{
    Part(Metadata());
    handler.NotifyPartStart();
    Data("abc");
    handler.Reset();
    EXPECT_EQ(Content(), QByteArray("abc"));
    SetState(WritingFile);
    Data("x");
    EXPECT_EQ(Reports(), Reported({{"Illegal state", 187}})) << "the file was kept";
}

TEST_F(PartWriterTest, ResetKeepsTheTargetPath)
{
    Part(Metadata());
    handler.Reset();
    handler.NotifyPartStart();
    handler.NotifyPartStart();
    Part("abc");
    EXPECT_EQ(Content(), QByteArray("abc"));
}

TEST_F(PartWriterTest, RejectedMetadataLeavesNoTargetPathEither)
{
    Part(Metadata());
    handler.Reset();
    Part("json");
    handler.Reset();
    handler.NotifyPartStart();
    handler.NotifyPartStart();
    EXPECT_EQ(StateOf(), WritingFile);
    Part("abc");
    EXPECT_EQ(StateOf(), Failed);
    EXPECT_EQ(Content(), QByteArray("no file"));
}

// GetFilename

TEST_F(PartWriterTest, AFilenameIsNotLookedForWithoutPlaceForTheVerdict)
{
    handler.NotifyPartStart();
    Data(Metadata());
    EXPECT_EQ(handler.GetFilename(nullptr), QString());
    EXPECT_EQ(host.log.Calls(), Calls());
}

TEST_F(PartWriterTest, TheFilenameIsTakenFromTheMetadata)
{
    handler.NotifyPartStart();
    Data(Metadata());
    bool ok = false;
    const DebugLogCapture debugLog;
    EXPECT_EQ(handler.GetFilename(&ok), Target());
    EXPECT_TRUE(ok);
    EXPECT_EQ(host.log.Calls(),
              Calls({"StorageModel.HasFreeSpace(0)", "StorageModel.Directory(9)"}));
    EXPECT_EQ(debugLog.Lines(), Calls({"Got output file  \"" + Target().toStdString() + "\""}));
}

struct RejectedCase
{
    const char *name;
    QByteArray metadata;
    bool freeSpace;
    Calls calls;
    Calls lines;
};

class RejectedMetadataTest : public PartWriterTest, public testing::WithParamInterface<RejectedCase>
{};

TEST_P(RejectedMetadataTest, GivesNoFilename)
{
    host.storage.freeSpace = GetParam().freeSpace;
    host.storage.directories[9] = QStringLiteral("/x/files");
    handler.NotifyPartStart();
    Data(GetParam().metadata);
    bool ok = true;
    const DebugLogCapture debugLog;
    EXPECT_EQ(handler.GetFilename(&ok), QString());
    EXPECT_FALSE(ok);
    EXPECT_EQ(host.log.Calls(), GetParam().calls);
    EXPECT_EQ(debugLog.Lines(), GetParam().lines);
}

const Calls spaceAsked{"StorageModel.HasFreeSpace(0)"};
const Calls bothAsked{"StorageModel.HasFreeSpace(0)", "StorageModel.Directory(9)"};

Calls Incorrect(const std::string &path)
{
    return {"Got output file  \"" + path + "\"", "Incorrect path provided"};
}

INSTANTIATE_TEST_SUITE_P(
    Metadata, RejectedMetadataTest,
    testing::Values(RejectedCase{"NoJson", "json", true, {}, {}},
                    RejectedCase{"Empty", "", true, {}, {}},
                    RejectedCase{"CutOff", "{\"fileUri\": \"/x/files/a\"", true, {}, {}},
                    RejectedCase{"NoSpace",
                                 "{\"fileUri\": \"/x/files/a\"}",
                                 false,
                                 spaceAsked,
                                 {"Got output file  \"/x/files/a\"", "No space!"}},
                    RejectedCase{"NoSpaceAndOutside",
                                 "{\"fileUri\": \"/etc/a\"}",
                                 false,
                                 spaceAsked,
                                 {"Got output file  \"/etc/a\"", "No space!"}},
                    RejectedCase{"Outside", "{\"fileUri\": \"/etc/a\"}", true, bothAsked,
                                 Incorrect("/etc/a")},
                    RejectedCase{"OtherCase", "{\"fileUri\": \"/x/Files/a\"}", true, bothAsked,
                                 Incorrect("/x/Files/a")},
                    RejectedCase{"NotAtTheStart", "{\"fileUri\": \"/y/x/files/a\"}", true,
                                 bothAsked, Incorrect("/y/x/files/a")},
                    RejectedCase{"NoPath", "{\"fileSize\": 0}", true, bothAsked, Incorrect("")},
                    RejectedCase{"PathNoText", "{\"fileUri\": 5}", true, bothAsked, Incorrect("")},
                    RejectedCase{"Array", "[\"/x/files/a\"]", true, bothAsked, Incorrect("")}),
    CaseName());

struct AcceptedPathCase
{
    const char *name;
    const char *path;
};

class AcceptedPathTest : public PartWriterTest, public testing::WithParamInterface<AcceptedPathCase>
{};

TEST_P(AcceptedPathTest, NeedOnlyBeginWithTheDirectorysText)
{
    host.storage.directories[9] = QStringLiteral("/x/files");
    handler.NotifyPartStart();
    Data("{\"fileUri\": \"" + QByteArray(GetParam().path) + "\"}");
    bool ok = false;
    EXPECT_EQ(handler.GetFilename(&ok), QString::fromUtf8(GetParam().path));
    EXPECT_TRUE(ok);
}

INSTANTIATE_TEST_SUITE_P(Paths, AcceptedPathTest,
                         testing::Values(AcceptedPathCase{"Inside", "/x/files/a"},
                                         AcceptedPathCase{"TheDirectoryItself", "/x/files"},
                                         AcceptedPathCase{"Sibling", "/x/files2/a"},
                                         AcceptedPathCase{"DotDot", "/x/files/../a"},
                                         AcceptedPathCase{"TwoSlashes", "/x/files//a"},
                                         AcceptedPathCase{"SlashAtTheEnd", "/x/files/"},
                                         AcceptedPathCase{"LettersOutsideAscii",
                                                          "/x/files/gr\xc3\xbc\xc3\x9f"}),
                         CaseName());

struct SizeCase
{
    const char *name;
    const char *size;
    const char *asked;
};

class FileSizeTest : public PartWriterTest, public testing::WithParamInterface<SizeCase>
{};

TEST_P(FileSizeTest, IsAskedForAsAWholeNumber)
{
    handler.NotifyPartStart();
    Data("{\"fileSize\": " + QByteArray(GetParam().size) + "}");
    bool ok = false;
    handler.GetFilename(&ok);
    EXPECT_EQ(host.log.Calls().at(0),
              std::string("StorageModel.HasFreeSpace(") + GetParam().asked + ")");
}

INSTANTIATE_TEST_SUITE_P(
    Values, FileSizeTest,
    testing::Values(SizeCase{"Zero", "0", "0"}, SizeCase{"Number", "123456", "123456"},
                    SizeCase{"Largest", "2147483647", "2147483647"},
                    SizeCase{"LargestAndAFraction", "2147483647.5", "2147483647"},
                    SizeCase{"TooLarge", "2147483648", "0"}, SizeCase{"Huge", "1e300", "0"},
                    SizeCase{"Smallest", "-2147483648", "-2147483648"},
                    SizeCase{"TooSmall", "-2147483649", "0"}, SizeCase{"Fraction", "1.9", "1"},
                    SizeCase{"NegativeFraction", "-1.9", "-1"}, SizeCase{"Text", "\"123\"", "0"},
                    SizeCase{"Null", "null", "0"}, SizeCase{"Truth", "true", "0"},
                    SizeCase{"Array", "[5]", "0"}),
    CaseName());

} // namespace
