// Point text parsing of the scan module.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bit_patterns.h"
#include "scan_errors.h"
#include "temp_dir.h"

#include "ascii_input.h"
#include "pipeline.h"

namespace lxscan {
namespace {

TEST(Parsing, PlainDecimalsAreBitForBitWhatFromCharsGives) {
    std::mt19937_64 random(7);
    int fast = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string text = (random() & 1) ? "-" : "";
        const int whole = static_cast<int>(random() % 12), decimals = static_cast<int>(random() % 25);
        for (int d = 0; d < whole; ++d) text += char('0' + random() % 10);
        if (decimals > 0 || random() % 4 == 0) text += '.';
        for (int d = 0; d < decimals; ++d) text += char('0' + random() % 10);
        // Numbers in a line are followed by more bytes: the parser must stop
        // at the blank (or refuse a stray byte) wherever it falls in a word.
        const std::size_t length = text.size();
        static const char* const kTails[] = {"", " 1.25 -3.5", "\t7", "x12345678", "e5 0 0", "\372\3779999999"};
        text += kTails[random() % 6];
        double reference = 0, value = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + length, reference);
        const char* end = ParsePlainDecimal(text.data(), text.data() + text.size(), value);
        if (text.size() > length && text[length] != ' ' && text[length] != '\t') {
            ASSERT_EQ(end, nullptr) << text;
        }
        if (end == nullptr) continue;
        ASSERT_EQ(end, text.data() + length) << text;
        ++fast;
        ASSERT_EQ(error, std::errc()) << text;
        ASSERT_EQ(stop, end) << text;
        ASSERT_EQ(testbits::Bits(value), testbits::Bits(reference)) << text;
    }
    EXPECT_GT(fast, 25000);
    double v = 0;
    for (const char* accepted : {"-0.224754", "12", "5.", ".5", "-0", "9007199254740992"})
        EXPECT_NE(ParsePlainDecimal(accepted, accepted + std::strlen(accepted), v), nullptr) << accepted;
    for (const char* refused : {"1e5", "-", ".", "1.5x", "9007199254740993", "12345678901234567890", "nan"})
        EXPECT_EQ(ParsePlainDecimal(refused, refused + std::strlen(refused), v), nullptr) << refused;
}

TEST(Parsing, LinesAcrossBlockBoundariesArriveWhole) {
    // Over 2 MiB of lines of irregular length, so lines straddle the reader's
    // block ends; the last line has no line feed; one line is as long as
    // allowed (4095 bytes).
    std::mt19937_64 random(11);
    std::string text;
    std::vector<int> values;
    for (int i = 0; text.size() < (std::size_t{5} << 19); ++i) {
        if (i == 777) {
            const std::string line = "1 2 " + std::to_string(i);
            text += line + std::string(4095 - line.size(), ' ') + "\n";
        } else {
            text += std::to_string(i) + std::string(random() % 90, ' ') + " 0.5\t-" + std::to_string(i) + "\r\n";
        }
        values.push_back(i);
    }
    text += "1 2 3";
    values.push_back(3);
    TempDir dir;
    AsciiSource source(dir.Write("blocks.txt", text), TextFormat::Xyz);
    LocalRecord r;
    for (std::size_t i = 0; i < values.size(); ++i) {
        ASSERT_TRUE(source.Next(r)) << i;
        ASSERT_EQ(r.position.z, i == 777 || i + 1 == values.size() ? values[i] : -values[i]) << i;
    }
    EXPECT_FALSE(source.Next(r));
    EXPECT_EQ(source.LineNumber(), values.size());
    EXPECT_EQ(source.Fraction(), 1.0);
    AsciiSource tooLong(dir.Write("long.txt", "1 2 3\n" + std::string(4096, ' ') + "\n"), TextFormat::Xyz);
    EXPECT_TRUE(tooLong.Next(r));
    EXPECT_NE(ErrorOf([&] { tooLong.Next(r); }).find(":2: line longer than 4095 bytes"), std::string::npos);
}

TEST(Parsing, FormatsAreDetectedFromTheFirstLine) {
    EXPECT_EQ(DetectFormat("1 2 3"), TextFormat::Xyz);
    EXPECT_EQ(DetectFormat("1 2 3 0 0 1"), TextFormat::XyzNormal);
    EXPECT_EQ(DetectFormat("1 2 3 0.6 +0.8 0\r"), TextFormat::XyzNormal);
    EXPECT_EQ(DetectFormat("1\t2 3 255 0 0"), TextFormat::XyzRgb);
    EXPECT_EQ(DetectFormat("1 2 3 0 0 0"), TextFormat::XyzRgb);
    EXPECT_EQ(DetectFormat("1 2 3 9 9 9 0 0 1"), TextFormat::XyzRgbNormal);
    EXPECT_NE(ErrorOf([] { DetectFormat("1 2 3 0.5 0.5 0.5"); }).find("use --format"), std::string::npos);
    EXPECT_NE(ErrorOf([] { DetectFormat("1 2 3 4"); }).find("4 values"), std::string::npos);
    EXPECT_TRUE(IsSkippedLine(" \t\r"));
    EXPECT_TRUE(IsSkippedLine("  # comment"));
    EXPECT_FALSE(IsSkippedLine(" 1 2 3"));
}

TEST(Parsing, LinesGiveRecordsOrNameTheirFault) {
    LocalRecord r;
    ParseLine("  +1.5\t-2e-3 3 10 20 30 0 0 2 \r", TextFormat::XyzRgbNormal, r);
    EXPECT_EQ(r.position.x, 1.5);
    EXPECT_EQ(r.position.y, -2e-3);
    EXPECT_EQ(r.position.z, 3.0);
    EXPECT_TRUE(r.hasColour && r.hasNormal);
    EXPECT_EQ(r.green, 20);
    EXPECT_EQ(r.normal.z, 2.0);
    ParseLine("1 2 3 0 0 0", TextFormat::XyzNormal, r);
    EXPECT_FALSE(r.hasNormal) << "a zero normal stands for none";
    const std::pair<const char*, const char*> faults[] = {
        {"1 2 abc", "value 3 ('abc') is not a number"},
        {"1 2 3,5", "more than 3 values (x y z)"},  // a comma separates values
        {"1 2", "expected 3 values (x y z), found 2"},
        {"1 2 3 4", "more than 3 values (x y z)"},
        {"1 nan 3", "value 2 ('nan') is not a finite number"},
        {"1 2 1e999", "value 3 ('1e999') is out of range"},
    };
    for (const auto& fault : faults)
        EXPECT_EQ(ErrorOf([&] { ParseLine(fault.first, TextFormat::Xyz, r); }), fault.second);
    EXPECT_EQ(ErrorOf([&] { ParseLine("1 2 3 1 256 0", TextFormat::XyzRgb, r); }),
              "value 5 ('256') is not a colour value (an integer 0..255)");
}

TEST(Parsing, FilesNameTheLineOfAFault) {
    TempDir dir;
    const std::string path = dir.Write("bad.txt", "# header\n1 2 3\n\n4 5 6\n7 8 x\n");
    AsciiSource source(path, TextFormat::Auto);
    LocalRecord r;
    EXPECT_TRUE(source.Next(r));
    EXPECT_TRUE(source.Next(r));
    EXPECT_EQ(r.position.z, 6.0);
    EXPECT_EQ(ErrorOf([&] { source.Next(r); }), path + ":5: value 3 ('x') is not a number");
    AsciiSource binary(dir.Write("zero.txt", std::string("1 2 3\n4 5\0 6\n", 13)), TextFormat::Auto);
    EXPECT_TRUE(binary.Next(r));
    EXPECT_EQ(ErrorOf([&] { binary.Next(r); }), dir.Path("zero.txt") + ":2: value 2 ('5?') is not a number");
    EXPECT_EQ(ErrorOf([&] { AsciiSource(dir.Path("none.txt"), TextFormat::Xyz); }),
              dir.Path("none.txt") + ": cannot open: No such file or directory");
    const std::string longLine = dir.Write("long.txt", std::string(5000, '1') + "\n");
    AsciiSource text(longLine, TextFormat::Xyz);
    EXPECT_NE(ErrorOf([&] { text.Next(r); }).find(":1: line longer than 4095 bytes"), std::string::npos);
}

}  // namespace
}  // namespace lxscan
