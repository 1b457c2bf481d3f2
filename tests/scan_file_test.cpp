// Scan files: writing, reading, verifying, and the exports.
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

#include "scan_errors.h"
#include "temp_dir.h"

#include <lxscan/lxscan.h>

#include "pipeline.h"
#include "scan_file.h"
#include "synthetic_scan.h"
#include "text_reader.h"
#include "writer_internal.h"

namespace lxscan {
namespace {

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
    ScanWriter writer;
    ScanHeader header;
    std::string path = dir.Path("scan.lxs");

    explicit WrittenScan(std::uint32_t coordinateBytes) : writer(Options(coordinateBytes)) {
        DemoOptions demo;
        demo.points = 2000;
        AddSyntheticScan(writer, demo);
        header = writer.Write(path);
    }

    static ScanWriterOptions Options(std::uint32_t coordinateBytes) {
        ScanWriterOptions options;
        options.coordinateBytes = coordinateBytes;
        options.registration = DefaultStandpoint();
        options.date = "20240115T102030";
        return options;
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
        EXPECT_NO_THROW(scan.writer.CompareWithFile(scan.path));
        ScanReader reader(scan.path);
        const VerifyResult check = reader.Verify();
        EXPECT_EQ(check.fileSize, 240u + 2000u * (3 * bytes + 8));
        EXPECT_EQ(reader.RecordOffset(), 240u);
        EXPECT_EQ(reader.Header().id, scan.header.id);
        EXPECT_EQ(reader.Header().date, "20240115T102030");
        EXPECT_EQ(reader.Header().checksum, scan.header.checksum);
        EXPECT_EQ(reader.Header().flags, ScanHeader::kHasNormals);
        EXPECT_EQ(TempDir::Read(scan.path).substr(0, 8), "LXSCANPT");
        // Decoded arrays agree with the raw records, in any range.
        std::vector<unsigned char> raw(2000 * reader.RecordSize());
        reader.ReadRecords(0, 2000, raw.data());
        std::vector<double> xyz(3 * 2000);
        std::vector<std::uint8_t> rgb(3 * 2000), intensity(2000);
        std::vector<float> normals(3 * 2000);
        std::vector<std::uint16_t> codes(2000);
        reader.Read(1500, 500, &xyz[3 * 1500], &rgb[3 * 1500], &intensity[1500], &normals[3 * 1500], &codes[1500]);
        reader.Read(0, 1500, xyz.data(), rgb.data(), intensity.data(), normals.data(), codes.data());
        for (std::size_t i = 0; i < 2000; ++i) {
            ScanPoint p;
            DecodeRecord(&raw[i * reader.RecordSize()], bytes, p);
            ASSERT_EQ(std::memcmp(&xyz[3 * i], p.position.ToArray(), 24), 0) << i;
            ASSERT_EQ(rgb[3 * i + 1], p.attributes.Green()) << i;
            ASSERT_EQ(intensity[i], p.attributes.Intensity()) << i;
            ASSERT_EQ(codes[i], p.attributes.GetNormalCode()) << i;
            ASSERT_EQ(normals[3 * i + 2], p.attributes.GetNormal().z) << i;
            ASSERT_NE(codes[i], 0) << i;
        }
        EXPECT_EQ(ErrorOf([&] { reader.Read(1999, 2, xyz.data()); }),
                  scan.path + ": points 1999 to 2001 asked for; the file holds 2000");
        // A file that differs from the points in memory is found and named.
        std::string changed = TempDir::Read(scan.path);
        changed[240 + 5 * (3 * bytes + 8)] ^= 1;
        scan.dir.Write("scan.lxs", changed);
        EXPECT_EQ(ErrorOf([&] { scan.writer.CompareWithFile(scan.path); }),
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
        const std::string message = ErrorOf([&] { ScanReader(path).Verify(); });
        EXPECT_EQ(message.rfind(path + ": " + c.second, 0), 0u) << message;
    }
}

struct Packed {
    PointArray points;
    PackStats stats;
};

Packed PackAll(PointSource& source, const lxbase::RegistrationInformation& registration) {
    Packed result;
    Packer packer(registration, true, false);
    LocalRecord record;
    while (source.Next(record)) {
        result.points.emplace_back();
        packer.Pack(record, result.points.back(), result.stats);
    }
    return result;
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
    ScanWriter writer;
    InputSummary summary;
    TextReadOptions options;
    options.format = TextFormat::XyzRgbNormal;
    ReadPointText(dir.Write("runs.txt", text), options, Internals(writer), summary);
    PointArray& points = Internals(writer).points;
    ASSERT_EQ(points.size(), 60u);
    EXPECT_EQ(Internals(writer).stats.count, 60u);
    const float direction[][3] = {{0, 0, -1}, {0, 0, -1}, {-0.0f, 0, -1}, {1, 0.5f, 0}, {1, 0.5f, 0}, {0, 0, -1}};
    for (int i = 0; i < 60; ++i) {
        const float* n = direction[i / 2 % 6];
        lxbase::HNormalRGB expected(10, 20, static_cast<unsigned char>(30 + (i / 3 % 4 >= 2)));
        expected.SetNormal(lxbase::tBaseXYZPoint<float>(n[0], n[1], n[2]));
        EXPECT_EQ(points[i].attributes.codeWord, expected.codeWord) << i;
        EXPECT_EQ(points[i].attributes.colourWord, expected.colourWord) << i;
    }
    PointArray reference = points;
    const Box& box = Internals(writer).stats.box;
    ColourByHeight(points.data(), points.data() + points.size(), box);
    for (int i = 0; i < 60; ++i) {
        const float height = static_cast<float>((points[i].position.z - box.min[2]) / (box.max[2] - box.min[2]));
        const auto colour = lxbase::t_RGBType<unsigned char>::GetColor(height);
        reference[i].attributes.SetRGB(colour.r, colour.g, colour.b);
        EXPECT_EQ(points[i].attributes.colourWord, reference[i].attributes.colourWord) << i;
    }
}

TEST(Pipeline, SyntheticScanLiesInTheRoomWithFaithfulNormals) {
    SyntheticScan source(20000, SyntheticScan::DefaultStandpoint(), false);
    const Packed packed = PackAll(source, SyntheticScan::DefaultStandpoint());
    const PackStats& stats = packed.stats;
    ASSERT_EQ(packed.points.size(), 20000u);
    EXPECT_EQ(stats.normals, 20000u);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_GE(stats.box.min[axis], SyntheticScan::kRoomCorner[axis] - 1e-9);
        EXPECT_LE(stats.box.max[axis], SyntheticScan::kRoomCorner[axis] + SyntheticScan::kRoomSize[axis] + 1e-9);
    }
    // A code's cell is at most 90/52 degrees wide and high.
    EXPECT_LT(NormalDegrees(stats.worstNormalCos), 1.5);
    EXPECT_GT(NormalDegrees(stats.worstNormalCos), 0.3);
    // Every surface seen faces the scanner, up to the width of a code's cell.
    const lxbase::XYZ eye = SyntheticScan::DefaultStandpoint().translation;
    for (const ScanPoint& p : packed.points) {
        const lxbase::tBaseXYZPoint<float> n = p.attributes.GetNormal();
        const lxbase::tBaseXYZPoint<double> view(eye.x - p.position.x, eye.y - p.position.y, eye.z - p.position.z);
        ASSERT_GT(((n.x * view.x + n.y * view.y) + n.z * view.z) / view.Range(), -0.03);
    }
}

TEST(Exports, TopViewAndTextAreReadableAndBlankImagesAreRefused) {
    TempDir dir;
    DemoOptions demo;
    demo.points = 20000;
    demo.colours = true;
    const ConvertResult made = WriteDemoScan(dir.Path("room.lxs"), demo);
    EXPECT_EQ(made.points, 20000u);
    EXPECT_EQ(made.header.flags, ScanHeader::kColourFromInput | ScanHeader::kHasNormals);
    ScanReader reader(dir.Path("room.lxs"));
    const ImageSize size = ExportTopView(reader, dir.Path("top.png"), 200);
    EXPECT_EQ(size.width, 200u);
    EXPECT_NEAR(size.height, 150u, 1);  // the room is 8 x 6
    const PngCheck check = CheckPng(dir.Path("top.png"));
    EXPECT_EQ(check.size.width, size.width);
    EXPECT_EQ(check.size.height, size.height);
    EXPECT_GT(check.drawnPixels, 5000u);
    EXPECT_GT(check.colours, 20u);

    // Text export (parent coordinates, no intensity) converts back to the
    // same coordinates, colours and normal codes.
    ExportText(reader, dir.Path("room.txt"));
    const ConvertResult again = Convert({dir.Path("room.txt")}, dir.Path("again.lxs"));
    EXPECT_EQ(again.inputs[0].format, TextFormat::XyzRgbNormal);
    ScanReader copy(dir.Path("again.lxs"));
    ASSERT_EQ(copy.Count(), reader.Count());
    struct Arrays {
        std::vector<double> xyz = std::vector<double>(3 * 20000);
        std::vector<std::uint8_t> rgb = std::vector<std::uint8_t>(3 * 20000);
        std::vector<std::uint16_t> codes = std::vector<std::uint16_t>(20000);
    } a, b;
    reader.Read(0, 20000, a.xyz.data(), a.rgb.data(), nullptr, nullptr, a.codes.data());
    copy.Read(0, 20000, b.xyz.data(), b.rgb.data(), nullptr, nullptr, b.codes.data());
    EXPECT_EQ(a.xyz, b.xyz);
    EXPECT_EQ(a.rgb, b.rgb);
    EXPECT_EQ(a.codes, b.codes);

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
}  // namespace lxscan
