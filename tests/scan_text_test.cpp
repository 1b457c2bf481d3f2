// Point text parsing of the scan module.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>

#include "bit_patterns.h"
#include "scan_errors.h"
#include "temp_dir.h"

#include "ascii_input.h"
#include "text_reader.h"

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

// A text file read through the parallel reader into a writer.
struct ReadText {
    ScanWriter writer;
    InputSummary summary;

    explicit ReadText(const std::string& path, unsigned threads = 1, std::size_t window = 1 << 16,
                      TextFormat format = TextFormat::Auto, bool skipInvalid = false) {
        TextReadOptions options;
        options.threads = threads;
        options.windowBytes = window;
        options.format = format;
        options.skipInvalid = skipInvalid;
        ReadPointText(path, options, Internals(writer), summary);
    }
    const PointArray& Points() { return Internals(writer).points; }
};

std::string ErrorOfText(const std::string& path, unsigned threads = 1, std::size_t window = 1 << 16,
                        TextFormat format = TextFormat::Auto) {
    return ErrorOf([&] { ReadText(path, threads, window, format); });
}

TEST(Parsing, LinesAcrossBlockBoundariesArriveWholeAndInOrder) {
    // Over 2 MiB of lines of irregular length, so lines straddle windows and
    // blocks; the last line has no line feed; one line is as long as
    // allowed (4095 bytes). Every thread count and window size gives the
    // same points in the same order.
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
    const std::string path = dir.Write("blocks.txt", text);
    for (unsigned threads : {1u, 2u, 3u, 8u}) {
        for (std::size_t window : {std::size_t{5000}, std::size_t{1} << 20}) {
            ReadText read(path, threads, window, TextFormat::Xyz);
            const PointArray& points = read.Points();
            ASSERT_EQ(points.size(), values.size());
            for (std::size_t i = 0; i < values.size(); ++i)
                ASSERT_EQ(points[i].position.z, i == 777 || i + 1 == values.size() ? values[i] : -values[i]) << i;
            EXPECT_EQ(read.summary.lines, values.size());
        }
    }
    const std::string tooLong = dir.Write("long.txt", "1 2 3\n" + std::string(4096, ' ') + "\n");
    EXPECT_NE(ErrorOfText(tooLong).find(":2: line longer than 4095 bytes"), std::string::npos);
    // A fault is named by its line whatever the threads and windows.
    text.replace(text.find("\n1000 "), 6, "\n1000x ");
    dir.Write("fault.txt", text);
    const std::string expected = ErrorOfText(dir.Path("fault.txt"), 1, 5000, TextFormat::Xyz);
    EXPECT_EQ(expected.rfind(dir.Path("fault.txt") + ":1001: value 1 ('1000x')", 0), 0u) << expected;
    for (unsigned threads : {2u, 5u})
        EXPECT_EQ(ErrorOfText(dir.Path("fault.txt"), threads, 1 << 14, TextFormat::Xyz), expected);
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
        {"1 nan 3", "value 2 ('nan') is not a finite number (--skip-invalid skips such points)"},
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
    EXPECT_EQ(ErrorOfText(path), path + ":5: value 3 ('x') is not a number");
    const std::string zero = dir.Write("zero.txt", std::string("1 2 3\n4 5\0 6\n", 13));
    EXPECT_EQ(ErrorOfText(zero), zero + ":2: value 2 ('5?') is not a number");
    EXPECT_EQ(ErrorOfText(dir.Path("none.txt")), dir.Path("none.txt") + ": cannot open: No such file or directory");
    EXPECT_EQ(ErrorOfText(dir.Path("")), dir.Path("") + ": cannot open: is a directory");
    const std::string longLine = dir.Write("long.txt", std::string(5000, '1') + "\n");
    EXPECT_NE(ErrorOfText(longLine).find(":1: line longer than 4095 bytes"), std::string::npos);
    EXPECT_EQ(ErrorOfText(dir.Write("empty.txt", "")), dir.Path("empty.txt") + ": no points");
    EXPECT_EQ(ErrorOfText(dir.Write("blank.txt", "\n# nothing\n  \n")), dir.Path("blank.txt") + ": no points");
}

TEST(Parsing, ByteOrderMarksCarriageReturnsAndCommasAreRead) {
    TempDir dir;
    ReadText read(dir.Write("bom.txt", "\xEF\xBB\xBF" "1,2,3,4,5,6\r\n-1.5, 2 ,3e1,0,0,255\r\n"));
    EXPECT_EQ(read.summary.format, TextFormat::XyzRgb);
    EXPECT_TRUE(read.summary.detected);
    ASSERT_EQ(read.Points().size(), 2u);
    EXPECT_EQ(read.Points()[1].position.x, -1.5);
    EXPECT_EQ(read.Points()[1].position.z, 30.0);
    EXPECT_EQ(read.Points()[1].attributes.Blue(), 255);
    // A mark anywhere else is no number.
    const std::string late = dir.Write("late.txt", "1 2 3\n\xEF\xBB\xBF" "1 2 3\n");
    EXPECT_EQ(ErrorOfText(late), late + ":2: value 1 ('\xEF\xBB\xBF" "1') is not a number");
}

TEST(Parsing, NonFiniteValuesAreRefusedWithTheirLineOrSkippedAndCounted) {
    TempDir dir;
    const std::string path = dir.Write("nan.txt", "1 2 3 0 0 1\nnan nan nan 0 0 1\n4 5 6 0 1 0\n7 -inf 8 1 0 0\n1 1 1 nan 0 0\n");
    EXPECT_EQ(ErrorOfText(path), path + ":2: value 1 ('nan') is not a finite number (--skip-invalid skips such points)");
    ReadText read(path, 2, 1 << 16, TextFormat::Auto, true);
    EXPECT_EQ(read.Points().size(), 2u);
    EXPECT_EQ(read.summary.skipped, 3u);
    EXPECT_EQ(read.summary.lines, 5u);
    EXPECT_EQ(ErrorOf([&] { ReadText(dir.Write("all.txt", "nan 1 1\n"), 1, 1 << 16, TextFormat::Auto, true); }),
              dir.Path("all.txt") + ": no points (all invalid)");
}

TEST(Parsing, EveryLineOfADetectedLayoutIsChecked) {
    TempDir dir;
    // The first line looks like a normal; the second shows a colour.
    const std::string path = dir.Write("colours.txt", "1 2 3 1 0 0\n4 5 6 255 128 0\n");
    EXPECT_EQ(ErrorOfText(path), path + ":2: nx ny nz (255 128 0) is not a unit normal (length 285.323); the layout "
                                        "x y z nx ny nz was detected from line 1 (use --format to name the layout)");
    ReadText named(path, 1, 1 << 16, TextFormat::XyzRgb);
    EXPECT_EQ(named.Points()[1].attributes.Green(), 128);
    // Zero normals stand for none; the detected colours must stay bytes.
    EXPECT_EQ(ReadText(dir.Write("zero.txt", "# c\n1 2 3 0 0 1\n1 2 3 0 0 0\n")).Points().size(), 2u);
    const std::string grey = dir.Write("grey.txt", "1 2 3 9 9 9\n1 2 3 0.5 0.5 0.5\n");
    EXPECT_EQ(ErrorOfText(grey), grey + ":2: value 4 ('0.5') is not a colour value (an integer 0..255)");
}

TEST(Parsing, CapacityFollowsTheInputAndPipesGrowAsTheyGo) {
    TempDir dir;
    // 4097 points and then megabytes of blank lines: room is reserved for
    // no more points than the bytes can hold.
    std::string text;
    for (int i = 0; i < 4097; ++i) text += std::to_string(i) + " 1 2\n";
    text += std::string(std::size_t{6} << 20, '\n');
    const std::string padded = dir.Write("padded.txt", text);
    ReadText read(padded, 2, 1 << 16);
    EXPECT_EQ(read.Points().size(), 4097u);
    EXPECT_LE(read.Points().capacity() * 6, text.size());
    // A pipe has no size (GetFileSize is all bits set): 20000 points through a FIFO.
    const std::string fifo = dir.Path("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::thread feeder([&] {
        std::FILE* out = std::fopen(fifo.c_str(), "w");
        if (out == nullptr) return;
        for (int i = 0; i < 20000; ++i) std::fprintf(out, "%d 0.5 -%d\n", i, i);
        std::fclose(out);
    });
    ReadText piped(fifo, 2, 1 << 14);
    feeder.join();
    ASSERT_EQ(piped.Points().size(), 20000u);
    EXPECT_EQ(piped.Points()[19999].position.z, -19999.0);
}

}  // namespace
}  // namespace lxscan
