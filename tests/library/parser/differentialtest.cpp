// The parser against the byte-wise reference, on random bodies made of what matters to it.

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "differential.h"

namespace {

class BodyMaker
{
public:
    explicit BodyMaker(unsigned seed)
        : random(seed)
    {}

    // The input of a comparison, as differential.h describes it.
    std::vector<uint8_t> Make()
    {
        const std::string boundary = MakeBoundary();
        std::string input(1, static_cast<char>(boundary.size()));
        input += MakeSteps();
        input += boundary;
        input += Below(20) == 0 ? std::string() : boundary + "\r\n";
        input += Below(2) == 0 ? std::string() : "\r\n"; // straight into the data
        const size_t pieces = Below(30);
        for (size_t i = 0; i < pieces; ++i) {
            input += MakePiece(boundary);
        }
        return std::vector<uint8_t>(input.begin(), input.end());
    }

private:
    size_t Below(size_t limit) { return random() % limit; }

    std::string MakeBoundary()
    {
        const std::string boundaries[] = {
            "",       "-",     "--",
            "--b",    "--aab", "\r\n",
            "\r\n\r", "\n--b", "--0123456789abcdefghijklmnopqrstuvwxyz"};
        return Below(4) == 0 ? RandomOf("-ab\r\n", Below(70))
                             : boundaries[Below(std::size(boundaries))];
    }

    // Mostly pieces of a few bytes; mostly nothing asks to stop.
    std::string MakeSteps()
    {
        const size_t count = Below(40);
        const size_t largest = Below(2) == 0 ? 8 : 256;
        std::string steps(1, static_cast<char>(count));
        for (size_t i = 0; i < count; ++i) {
            steps += static_cast<char>(Below(largest));
            steps += static_cast<char>(Below(5) == 0 ? Below(2) * 128 + 1 + Below(4) : 0);
        }
        return steps;
    }

    std::string RandomOf(const std::string &bytes, size_t count)
    {
        std::string text;
        while (text.size() < count) {
            text += bytes[Below(bytes.size())];
        }
        return text;
    }

    std::string MakePiece(const std::string &boundary)
    {
        switch (Below(12)) {
        case 0:
            return "\r\n" + boundary + "\r\n";
        case 1:
            return "\r\n" + boundary + RandomOf("-\r\nx", 2);
        case 2:
            return "\r\n" + boundary.substr(0, Below(boundary.size() + 1));
        case 3:
            return "\r\n\r\n";
        case 4:
            return "Name-x: value\r\n";
        case 5:
            return RandomOf("Az-:_1\r\n ", Below(6));
        case 6:
            return RandomOf("\r\n-", Below(100));
        case 7:
            return std::string(Below(300), 'x');
        case 8:
            return std::string(Below(150), '\r');
        case 9:
            return boundary;
        case 10:
            return std::string(Below(3), '\0');
        default:
            return RandomOf("abcdefgh\r\n", Below(200));
        }
    }

    std::mt19937 random;
};

class ParserDifferentialTest : public testing::TestWithParam<unsigned>
{};

TEST_P(ParserDifferentialTest, RandomBodiesGiveWhatSingleBytesGive)
{
    BodyMaker maker(GetParam());
    for (int round = 0; round < 10000; ++round) {
        const std::vector<uint8_t> input = maker.Make();
        ASSERT_EQ(FindDifference(input.data(), input.size()), "") << "round " << round;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ParserDifferentialTest, testing::Range(1U, 5U),
                         testing::PrintToStringParamName());

} // namespace
