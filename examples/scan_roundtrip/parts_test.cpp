// Unit tests of the scan round-trip example's parts; the command line is
// tested by tests/scan_roundtrip_test.cmake.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <png.h>

#include "temp_dir.h"

#include "scan_roundtrip/ascii_input.h"
#include "scan_roundtrip/exports.h"
#include "scan_roundtrip/pipeline.h"
#include "scan_roundtrip/scan_file.h"
#include "scan_roundtrip/synthetic_scan.h"
#include "scan_roundtrip/zorder_sort.h"

namespace scan {
namespace {

std::uint64_t Bits(double v) {
    std::uint64_t b;
    std::memcpy(&b, &v, 8);
    return b;
}

std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ScanError& error) {
        return error.what();
    }
    return "";
}

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
        ASSERT_EQ(Bits(value), Bits(reference)) << text;
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
        {"1 2 3,5", "value 3 ('3,5') is not a number"},
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

// Points with zero, negative, tiny, huge, repeated and nearly equal
// coordinates (below the key's resolution).
PointArray AwkwardPoints(std::size_t n, unsigned seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> uniform(-8.0, 8.0);
    PointArray points;
    for (std::size_t i = 0; i < n; ++i) {
        double c[3];
        for (double& v : c) {
            switch (random() % 8) {
                case 0: v = 0.0; break;
                case 1: v = std::ldexp(uniform(random), -40); break;
                case 2: v = 7.0 + std::ldexp(static_cast<double>(random() % 4), -30); break;
                default: v = uniform(random);
            }
        }
        ScanPoint p;
        p.position = lxbase::tBaseXYZPoint<double>(c[0], c[1], c[2]);
        p.attributes.colourWord = static_cast<std::uint32_t>(i);
        points.push_back(p);
        if (random() % 10 == 0) points.push_back(p);
    }
    return points;
}

TEST(Sorting, KeyOrderAgreesWithOperatorLessForPointsWithoutZeros) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> uniform(-100.0, 100.0);
    Box box;  // b strays up to 200 from the origin
    for (int axis = 0; axis < 3; ++axis) box.min[axis] = -200, box.max[axis] = 200;
    const ZOrderKey key(box);
    for (int i = 0; i < 200000; ++i) {
        lxbase::tBaseXYZPoint<double> a(uniform(random), uniform(random), uniform(random));
        lxbase::tBaseXYZPoint<double> b = a;
        const std::size_t axis = random() % 3;
        b[axis] += std::ldexp(uniform(random), -static_cast<int>(random() % 12));
        if (random() % 4 == 0) b[random() % 3] *= -1.0;  // sign differences decide first
        if (key(a) == key(b)) continue;
        ASSERT_EQ(key(a) < key(b), a < b) << i;
    }
}

TEST(Sorting, OrderMatchesAStableSortByOperatorLess) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const PointArray points = AwkwardPoints(3000, seed);
        SortStats stats;
        const Order order = SortZOrder(points, stats, nullptr);
        ASSERT_EQ(order.size(), points.size());
        EXPECT_GT(stats.zeroPoints, 0u);
        EXPECT_GT(stats.equalKeyGroups, 0u);
        EXPECT_FALSE(stats.fullMerge) << "the key and the zero-point merge leave nothing to repair";
        EXPECT_EQ(FirstZOrderBreak(points, order.data(), order.size()), order.size());
        std::vector<bool> seen(points.size());
        for (std::uint32_t i : order) seen.at(i) = true;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<long>(points.size()));

        // Without zero coordinates operator< is a strict weak order, and the
        // positions must come out as the plain sort puts them.
        PointArray nonZero;
        for (const ScanPoint& p : points)
            if (p.position.x != 0 && p.position.y != 0 && p.position.z != 0) nonZero.push_back(p);
        const Order fast = SortZOrder(nonZero, stats, nullptr);
        EXPECT_FALSE(stats.fullMerge);
        PointArray reference = nonZero;
        std::stable_sort(reference.begin(), reference.end(),
                         [](const ScanPoint& a, const ScanPoint& b) { return a.position < b.position; });
        for (std::size_t i = 0; i < reference.size(); ++i)
            ASSERT_TRUE(nonZero[fast[i]].position == reference[i].position) << i;
    }
}

TEST(Sorting, DenseScansFarFromTheOriginAreKeyedWithinTheirGroups) {
    // Map coordinates, points centimetres apart, x straddling 2^19: one key
    // for the whole scan resolves only 1 m, leaving two groups of 10000.
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> metres(0.0, 0.5);
    PointArray points;
    for (int i = 0; i < 20000; ++i) {
        ScanPoint p;
        p.position = lxbase::tBaseXYZPoint<double>(524287.75 + metres(random), 5401000.0 + metres(random),
                                                   300.0 + metres(random));
        points.push_back(p);
    }
    SortStats stats;
    const Order order = SortZOrder(points, stats, nullptr);
    EXPECT_LE(stats.largestGroup, 16u);
    EXPECT_FALSE(stats.fullMerge);
    PointArray reference = points;
    std::stable_sort(reference.begin(), reference.end(),
                     [](const ScanPoint& a, const ScanPoint& b) { return a.position < b.position; });
    for (std::size_t i = 0; i < reference.size(); ++i) ASSERT_TRUE(points[order[i]].position == reference[i].position);
}

TEST(Sorting, KeyKeepsTheTopBitsOfHugeAndTinyCoordinates) {
    for (double scale : {0x1p1019, 0x1p-1060}) {
        PointArray points;
        std::mt19937_64 random(5);
        std::uniform_real_distribution<double> unit(1.0, 15.0);
        for (int i = 0; i < 3000; ++i) {
            ScanPoint p;
            p.position = lxbase::tBaseXYZPoint<double>(unit(random) * scale, unit(random) * scale, unit(random) * scale);
            points.push_back(p);
        }
        SortStats stats;
        const Order order = SortZOrder(points, stats, nullptr);
        EXPECT_FALSE(stats.fullMerge) << scale;
        EXPECT_EQ(FirstZOrderBreak(points, order.data(), order.size()), order.size()) << scale;
    }
}

TEST(ScanFile, ChecksumDoesNotDependOnHowBytesArrive) {
    const std::string bytes = "The quick brown fox jumps over the lazy dog, twice or so.";
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    Checksum whole, pieces, flipped;
    whole.Add(data, bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 5) pieces.Add(data + i, std::min<std::size_t>(5, bytes.size() - i));
    std::string changed = bytes;
    changed[20] ^= 1;
    flipped.Add(reinterpret_cast<const unsigned char*>(changed.data()), changed.size());
    EXPECT_EQ(whole.Value(), pieces.Value());
    EXPECT_NE(whole.Value(), flipped.Value());
}

struct WrittenScan {
    TempDir dir;
    PointArray points;
    Order order;
    ScanHeader header;
    std::string path = dir.Path("scan.lxs");

    explicit WrittenScan(std::uint32_t coordinateBytes) {
        SyntheticScan source(2000, SyntheticScan::DefaultStandpoint(), false);
        const IngestStats stats = Ingest(source, SyntheticScan::DefaultStandpoint(), coordinateBytes == 4, points, false);
        ColourByHeight(points, stats.box);
        SortStats sorted;
        order = SortZOrder(points, sorted, nullptr);
        header.id = lxbase::UUID::Generate();
        header.date = "20240115T102030";
        header.coordinateBytes = coordinateBytes;
        header.box = stats.box;
        WriteScanFile(path, points, order, header, false);
    }

    std::string Damaged(const std::string& name, const std::function<void(std::string&)>& change) {
        std::string bytes = TempDir::Read(path);
        change(bytes);
        return dir.Write(name, bytes);
    }
};

TEST(ScanFile, ReadsBackBitForBitInBothCoordinateSizes) {
    for (std::uint32_t bytes : {8u, 4u}) {
        WrittenScan scan(bytes);
        EXPECT_NO_THROW(CompareScanFile(scan.path, scan.header, scan.points, scan.order, false));
        const FileCheck check = CheckScanFile(scan.path, false);
        EXPECT_EQ(check.fileSize, 240u + 2000u * (3 * bytes + 8));
        EXPECT_EQ(check.header.id, scan.header.id);
        EXPECT_EQ(check.header.date, "20240115T102030");
        EXPECT_EQ(check.header.checksum, scan.header.checksum);
        EXPECT_EQ(TempDir::Read(scan.path).substr(0, 8), "LXSCANPT");
        // A point that differs from the one in memory is found and named.
        std::swap(scan.order[5], scan.order[6]);
        EXPECT_EQ(ErrorOf([&] { CompareScanFile(scan.path, scan.header, scan.points, scan.order, false); }),
                  scan.path + ": byte " + std::to_string(240 + 5 * (3 * bytes + 8)) +
                      ": point 5 differs from the point written");
    }
}

TEST(ScanFile, DamagedAndForeignFilesNameTheBytePosition) {
    WrittenScan scan(8);
    const std::pair<std::function<void(std::string&)>, std::string> cases[] = {
        {[](std::string& b) { b.resize(100); }, "truncated at byte 100, inside the header (which ends at byte 240)"},
        {[](std::string& b) { b.resize(12); }, "truncated at byte 12, inside the 16-byte block prefix"},
        {[](std::string& b) { b.resize(240 + 32 * 7 + 5); },
         "truncated at byte 469: the header announces 2000 points, the file holds 7 complete ones"},
        {[](std::string& b) { b += "xyz"; }, "byte 64240: 3 bytes after the last of 2000 points"},
        {[](std::string& b) { b[8] = 2; }, "byte 8: format version 2; this program reads version 1"},
        {[](std::string& b) { b[12] = 1; }, "byte 12: header data length 1; version 1 has 224"},
        {[](std::string& b) { b = "ply\nformat binary"; },
         "byte 0: not a scan file (it begins with \"ply.form\", a scan file with \"LXSCANPT\")"},
        {[](std::string& b) { b.clear(); }, "byte 0: not a scan file (it begins with \"\", a scan file with \"LXSCANPT\")"},
        {[](std::string& b) { b[240 + 32 * 9 + 29] ^= 4; }, "checksum of the points is"},
        {[](std::string& b) { b[240 + 32 * 9 + 24] = char(0xFF), b[240 + 32 * 9 + 25] = char(0x3F); },
         "byte 528: point 9 has normal code 16383, which stands for no direction"},
    };
    int i = 0;
    for (const auto& c : cases) {
        const std::string path = scan.Damaged("damaged" + std::to_string(i++), c.first);
        const std::string message = ErrorOf([&] { CheckScanFile(path, false); });
        EXPECT_EQ(message.rfind(path + ": " + c.second, 0), 0u) << message;
    }
}

TEST(Pipeline, RepeatedNormalsAndHeightsGiveTheRecordsOfEachPointAlone) {
    // Runs of equal normals, colours and heights, broken by changes of any
    // one of them (and by -0.0 against 0.0): every record must be what
    // coding the point on its own gives. Normals with a largest component
    // of 1 go to SetNormal unscaled.
    const char* const normals[] = {"0 0 -1", "0 0 -1", "-0 0 -1", "1 0.5 0", "1 0.5 0", "0 0 -1"};
    const char* const colours[] = {"10 20 30", "10 20 30", "10 20 31", "10 20 31"};
    std::string text;
    for (int i = 0; i < 60; ++i)
        text += std::to_string(i) + " 1 " + std::to_string(i % 7 < 4 ? 0 : i) + " " + colours[i / 3 % 4] + " " +
                normals[i / 2 % 6] + "\n";
    TempDir dir;
    AsciiSource source(dir.Write("runs.txt", text), TextFormat::XyzRgbNormal);
    PointArray points;
    const IngestStats stats = Ingest(source, lxbase::RegistrationInformation(), false, points, false);
    ASSERT_EQ(points.size(), 60u);
    const float direction[][3] = {{0, 0, -1}, {0, 0, -1}, {-0.0f, 0, -1}, {1, 0.5f, 0}, {1, 0.5f, 0}, {0, 0, -1}};
    for (int i = 0; i < 60; ++i) {
        const float* n = direction[i / 2 % 6];
        lxbase::HNormalRGB expected(10, 20, static_cast<unsigned char>(30 + (i / 3 % 4 >= 2)));
        expected.SetNormal(lxbase::tBaseXYZPoint<float>(n[0], n[1], n[2]));
        EXPECT_EQ(points[i].attributes.codeWord, expected.codeWord) << i;
        EXPECT_EQ(points[i].attributes.colourWord, expected.colourWord) << i;
    }
    PointArray reference = points;
    ColourByHeight(points, stats.box);
    for (int i = 0; i < 60; ++i) {
        const float height = static_cast<float>((points[i].position.z - stats.box.min[2]) /
                                                (stats.box.max[2] - stats.box.min[2]));
        const auto colour = lxbase::t_RGBType<unsigned char>::GetColor(height);
        reference[i].attributes.SetRGB(colour.r, colour.g, colour.b);
        EXPECT_EQ(points[i].attributes.colourWord, reference[i].attributes.colourWord) << i;
    }
}

TEST(Pipeline, SyntheticScanLiesInTheRoomWithFaithfulNormals) {
    SyntheticScan source(20000, SyntheticScan::DefaultStandpoint(), false);
    PointArray points;
    const IngestStats stats = Ingest(source, SyntheticScan::DefaultStandpoint(), false, points, false);
    ASSERT_EQ(points.size(), 20000u);
    EXPECT_EQ(stats.normals, 20000u);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_GE(stats.box.min[axis], SyntheticScan::kRoomCorner[axis] - 1e-9);
        EXPECT_LE(stats.box.max[axis], SyntheticScan::kRoomCorner[axis] + SyntheticScan::kRoomSize[axis] + 1e-9);
    }
    // A code's cell is at most 90/52 degrees wide and high.
    EXPECT_LT(std::acos(stats.worstNormalCos) * 180 / 3.14159265358979, 1.5);
    EXPECT_GT(std::acos(stats.worstNormalCos) * 180 / 3.14159265358979, 0.3);
    // Every surface seen faces the scanner, up to the width of a code's cell.
    const lxbase::XYZ eye = SyntheticScan::DefaultStandpoint().translation;
    for (const ScanPoint& p : points) {
        const lxbase::tBaseXYZPoint<float> n = p.attributes.GetNormal();
        const lxbase::tBaseXYZPoint<double> view(eye.x - p.position.x, eye.y - p.position.y, eye.z - p.position.z);
        ASSERT_GT(((n.x * view.x + n.y * view.y) + n.z * view.z) / view.Range(), -0.03);
    }
    ColourByHeight(points, stats.box);
    for (const ScanPoint& p : points) {
        if (p.position.z == stats.box.min[2]) {
            EXPECT_EQ(p.attributes.colourWord & ~0xFFu, 0x0000FF00u) << "blue, intensity kept";
        }
        if (p.position.z == stats.box.max[2]) {
            EXPECT_EQ(p.attributes.colourWord & ~0xFFu, 0xFF000000u) << "red, intensity kept";
        }
    }
}

TEST(Exports, TopViewIsReadableAndBlankImagesAreRefused) {
    TempDir dir;
    SyntheticScan source(20000, SyntheticScan::DefaultStandpoint(), false);
    PointArray points;
    const IngestStats stats = Ingest(source, SyntheticScan::DefaultStandpoint(), false, points, false);
    const ImageSize size = WriteTopView(dir.Path("top.png"), points, stats.box, 200);
    EXPECT_EQ(size.width, 200u);
    EXPECT_NEAR(size.height, 150u, 1);  // the room is 8 x 6
    const PngCheck check = CheckPng(dir.Path("top.png"));
    EXPECT_EQ(check.size.width, size.width);
    EXPECT_EQ(check.size.height, size.height);
    EXPECT_GT(check.drawnPixels, 5000u);
    EXPECT_GT(check.colours, 20u);

    png_image blank;
    std::memset(&blank, 0, sizeof blank);
    blank.version = PNG_IMAGE_VERSION;
    blank.width = 4;
    blank.height = 3;
    blank.format = PNG_FORMAT_RGB;
    const std::vector<unsigned char> grey(4 * 3 * 3, 0x80);
    ASSERT_NE(png_image_write_to_file(&blank, dir.Path("blank.png").c_str(), 0, grey.data(), 0, nullptr), 0);
    EXPECT_EQ(ErrorOf([&] { CheckPng(dir.Path("blank.png")); }),
              dir.Path("blank.png") + ": blank image: all 4 x 3 pixels are #808080");
    EXPECT_NE(ErrorOf([&] { CheckPng(dir.Write("not.png", "hello")); }).find("not a readable PNG"), std::string::npos);
}

}  // namespace
}  // namespace scan
