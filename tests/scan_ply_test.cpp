// PLY reading and writing: random layouts written by a plain step-by-step
// writer here and read back, the writer's output read back, files made by
// other point libraries, and headers and data that lie.
#include <lxscan/output.h>
#include <lxscan/ply.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include "scan_errors.h"
#include "temp_dir.h"

namespace {

using lxscan::PlyFormat;
using lxscan::PlyReader;
using lxscan::ScanError;

struct Prop {
    std::string name;
    std::string type;  // ply type name
};

// One vertex value per property, held as double (all test values are exact
// in every type they are stored in).
using Row = std::vector<double>;

std::string Encode(double v, const std::string& type, bool bigEndian) {
    unsigned char bytes[8];
    std::size_t size = 0;
    auto put = [&](auto value) {
        size = sizeof value;
        std::memcpy(bytes, &value, size);
    };
    if (type == "char") put(static_cast<std::int8_t>(v));
    else if (type == "uchar") put(static_cast<std::uint8_t>(v));
    else if (type == "short") put(static_cast<std::int16_t>(v));
    else if (type == "ushort") put(static_cast<std::uint16_t>(v));
    else if (type == "int") put(static_cast<std::int32_t>(v));
    else if (type == "uint") put(static_cast<std::uint32_t>(v));
    else if (type == "float") put(static_cast<float>(v));
    else put(v);
    if (bigEndian) std::reverse(bytes, bytes + size);
    return std::string(reinterpret_cast<char*>(bytes), size);
}

std::string FormatName(PlyFormat f) {
    return f == PlyFormat::Ascii ? "ascii" : f == PlyFormat::BinaryLittleEndian ? "binary_little_endian"
                                                                                  : "binary_big_endian";
}

// A PLY file with an element "face" (with a list) before the vertices and an
// element "edge" after them, written the plain way.
std::string MakePly(PlyFormat format, const std::vector<Prop>& props, const std::vector<Row>& rows,
                    std::uint64_t announced, const std::string& lineEnd = "\n") {
    std::ostringstream h;
    h << "ply" << lineEnd << "format " << FormatName(format) << " 1.0" << lineEnd << "comment test" << lineEnd;
    h << "element face 2" << lineEnd << "property list uchar int vertex_indices" << lineEnd;
    h << "property uchar flags" << lineEnd;
    h << "element vertex " << announced << lineEnd;
    for (const Prop& p : props) h << "property " << p.type << " " << p.name << lineEnd;
    h << "element edge 1" << lineEnd << "property int a" << lineEnd << "end_header" << lineEnd;
    std::string out = h.str();
    const bool big = format == PlyFormat::BinaryBigEndian;
    if (format == PlyFormat::Ascii) {
        out += "3 0 1 2 7" + lineEnd + "4 0 1 2 3 9" + lineEnd;
        for (const Row& row : rows) {
            std::ostringstream line;
            line.precision(17);
            for (std::size_t i = 0; i < row.size(); ++i) line << (i ? " " : "") << row[i];
            out += line.str() + lineEnd;
        }
        out += "5" + lineEnd;
    } else {
        for (int face = 0; face < 2; ++face) {
            out += Encode(3 + face, "uchar", big);
            for (int k = 0; k < 3 + face; ++k) out += Encode(k, "int", big);
            out += Encode(7, "uchar", big);
        }
        for (const Row& row : rows)
            for (std::size_t i = 0; i < row.size(); ++i) out += Encode(row[i], props[i].type, big);
        out += Encode(5, "int", big);
    }
    return out;
}

struct Decoded {
    std::vector<double> xyz;
    std::vector<std::uint8_t> rgb, intensity;
    std::vector<float> normals;
};

Decoded ReadAll(PlyReader& reader, std::size_t block = 7) {
    Decoded d;
    std::vector<double> xyz(3 * block);
    std::vector<std::uint8_t> rgb(3 * block), intensity(block);
    std::vector<float> normals(3 * block);
    for (;;) {
        const std::size_t n = reader.Read(block, xyz.data(), rgb.data(), intensity.data(), normals.data());
        if (n == 0) break;
        d.xyz.insert(d.xyz.end(), xyz.begin(), xyz.begin() + 3 * n);
        if (reader.HasColour()) d.rgb.insert(d.rgb.end(), rgb.begin(), rgb.begin() + 3 * n);
        if (reader.HasIntensity()) d.intensity.insert(d.intensity.end(), intensity.begin(), intensity.begin() + n);
        if (reader.HasNormals()) d.normals.insert(d.normals.end(), normals.begin(), normals.begin() + 3 * n);
    }
    return d;
}


std::string ReadError(const std::string& path) {
    return ErrorOf([&] {
        PlyReader reader(path);
        ReadAll(reader);
    });
}

// The byte the reader makes of a colour or intensity value, step by step.
std::uint8_t ExpectedByte(double v, const std::string& type, bool colour) {
    if (type == "uchar") return static_cast<std::uint8_t>(v);
    if (type == "ushort") return static_cast<std::uint8_t>(static_cast<unsigned>(v) / 256);
    if (type == "float" || type == "double") {
        const double scaled = colour ? v * 255.0 : v;
        if (scaled <= 0) return 0;
        if (scaled >= 255) return 255;
        return static_cast<std::uint8_t>(std::floor(scaled + 0.5));
    }
    return static_cast<std::uint8_t>(std::min(255.0, std::max(0.0, v)));
}

TEST(Ply, RandomLayoutsInEveryFormatReadAsWritten) {
    std::mt19937 random(15);
    TempDir dir;
    const std::vector<std::string> coordinateTypes = {"float", "double", "int", "short"};
    const std::vector<std::string> byteTypes = {"uchar", "ushort", "float", "int"};
    for (int round = 0; round < 60; ++round) {
        std::vector<Prop> props = {{"x", coordinateTypes[random() % 4]},
                                   {"y", coordinateTypes[random() % 4]},
                                   {"z", coordinateTypes[random() % 4]},
                                   {"extra", "double"},
                                   {"padding", "char"}};
        const bool colour = random() % 2, intensity = random() % 2, normals = random() % 2;
        const std::string colourType = byteTypes[random() % 4];
        if (colour) props.insert(props.end(), {{"red", colourType}, {"green", colourType}, {"blue", colourType}});
        if (intensity) props.push_back({random() % 2 ? "intensity" : "scalar_intensity", byteTypes[random() % 4]});
        if (normals) props.insert(props.end(), {{"nx", "float"}, {"ny", "double"}, {"nz", "float"}});
        std::shuffle(props.begin(), props.end(), random);

        const std::size_t count = random() % 40;
        std::vector<Row> rows(count);
        for (Row& row : rows) {
            for (const Prop& p : props) {
                double v;
                if (p.name == "x" || p.name == "y" || p.name == "z" || p.name == "extra") {
                    v = (p.type == "float" || p.type == "double") ? double(int(random() % 20001) - 10000) / 64
                                                                  : double(int(random() % 2001) - 1000);
                } else if (p.name[0] == 'n') {
                    v = double(int(random() % 201) - 100) / 128;
                } else if (p.name == "padding") {
                    v = double(int(random() % 200) - 100);
                } else if (p.type == "float") {
                    v = double(random() % 257) / 256;  // colour fractions; intensities 0..1 too
                } else if (p.type == "int") {
                    v = double(int(random() % 600) - 100);
                } else {
                    v = double(random() % (p.type == "uchar" ? 256 : 65536));
                }
                row.push_back(v);
            }
        }
        const PlyFormat format = static_cast<PlyFormat>(round % 3);
        const std::string path = dir.Write("random.ply", MakePly(format, props, rows, count, round % 2 ? "\r\n" : "\n"));
        PlyReader reader(path);
        ASSERT_EQ(reader.Format(), format);
        ASSERT_EQ(reader.Count(), count);
        ASSERT_EQ(reader.HasColour(), colour);
        ASSERT_EQ(reader.HasIntensity(), intensity);
        ASSERT_EQ(reader.HasNormals(), normals);
        const Decoded d = ReadAll(reader, 1 + random() % 9);
        // The expected arrays, property by property.
        Decoded e;
        e.xyz.resize(3 * count);
        e.rgb.resize(colour ? 3 * count : 0);
        e.intensity.resize(intensity ? count : 0);
        e.normals.resize(normals ? 3 * count : 0);
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t k = 0; k < props.size(); ++k) {
                const std::string& name = props[k].name;
                const double v = rows[i][k];
                const char axis = name == "intensity" || name == "scalar_intensity" ? 'i' : name.back();
                const std::size_t at = 3 * i + (axis == 'x' || axis == 'd' ? 0 : axis == 'y' || axis == 'n' ? 1 : 2);
                if (name.size() == 1) e.xyz[at] = v;
                if (name == "red" || name == "green" || name == "blue") e.rgb[at] = ExpectedByte(v, props[k].type, true);
                if (axis == 'i') e.intensity[i] = ExpectedByte(v, props[k].type, false);
                if (name.size() == 2) e.normals[at] = static_cast<float>(v);
            }
        }
        EXPECT_EQ(d.xyz, e.xyz) << path;
        EXPECT_EQ(d.rgb, e.rgb) << path;
        EXPECT_EQ(d.intensity, e.intensity) << path;
        EXPECT_EQ(d.normals, e.normals) << path;
    }
}

TEST(Ply, WriterOutputReadsBackInEveryLayout) {
    TempDir dir;
    const std::size_t n = 3000;  // more than one output buffer for the widest layout
    std::vector<double> xyz(3 * n);
    std::vector<std::uint8_t> rgb(3 * n), intensity(n);
    std::vector<float> normals(3 * n);
    std::mt19937_64 random(7);
    for (double& v : xyz) v = std::ldexp(double(random() % (1u << 30)) - (1u << 29), -int(random() % 40));
    for (auto& v : rgb) v = static_cast<std::uint8_t>(random());
    for (auto& v : intensity) v = static_cast<std::uint8_t>(random());
    for (float& v : normals) v = float(int(random() % 2001) - 1000) / 1000.0f;
    xyz[5] = 1e300;  // beyond float: an infinity in a float file
    for (int mask = 0; mask < 16; ++mask) {
        lxscan::PlyWriteLayout layout{(mask & 1) != 0, (mask & 2) != 0, (mask & 4) != 0, (mask & 8) != 0};
        const std::string path = dir.Path("out.ply");
        {
            lxscan::OutputFile out(path);
            lxscan::PlyWriter writer(out, n, layout);
            writer.Add(1000, xyz.data(), rgb.data(), intensity.data(), normals.data());
            writer.Add(n - 1000, &xyz[3000], &rgb[3000], &intensity[1000], &normals[3000]);
            writer.Finish();
            out.Commit();
        }
        PlyReader reader(path, lxscan::PlyReadOptions{true});
        EXPECT_EQ(reader.FloatCoordinates(), !layout.doubleCoordinates);
        const Decoded d = ReadAll(reader, 1000);
        const std::size_t skipped = layout.doubleCoordinates ? 0 : 1;
        ASSERT_EQ(reader.Skipped(), skipped);
        ASSERT_EQ(d.xyz.size(), 3 * (n - skipped));
        for (std::size_t i = 0, j = 0; i < n; ++i) {
            if (i == 1 && skipped) continue;
            for (int a = 0; a < 3; ++a) {
                const double expected = layout.doubleCoordinates ? xyz[3 * i + a] : double(float(xyz[3 * i + a]));
                ASSERT_EQ(d.xyz[3 * j + a], expected) << i;
                if (layout.colour) {
                    ASSERT_EQ(d.rgb[3 * j + a], rgb[3 * i + a]);
                }
                if (layout.normals) {
                    ASSERT_EQ(d.normals[3 * j + a], normals[3 * i + a]);
                }
            }
            if (layout.intensity) {
                ASSERT_EQ(d.intensity[j], intensity[i]);
            }
            ++j;
        }
    }
    lxscan::OutputFile out(dir.Path("short.ply"));
    lxscan::PlyWriter writer(out, 2, lxscan::PlyWriteLayout{true, false, false, false});
    writer.Add(1, xyz.data(), nullptr, nullptr, nullptr);
    EXPECT_NE(ErrorOf([&] { writer.Finish(); }).find("1 vertices written, the header announces 2"), std::string::npos);
    EXPECT_NE(ErrorOf([&] { writer.Add(2, xyz.data(), nullptr, nullptr, nullptr); }).find("more vertices"),
              std::string::npos);
}

TEST(Ply, HeadersAndDataThatLieAreNamed) {
    TempDir dir;
    const std::vector<Prop> props = {{"x", "float"}, {"y", "float"}, {"z", "float"}};
    const std::vector<Row> rows = {{1, 2, 3}, {4, 5, 6}};
    const auto expect = [&](const std::string& name, const std::string& bytes, const std::string& message) {
        const std::string path = dir.Write(name, bytes);
        const std::string error = ReadError(path);
        EXPECT_NE(error.find(path + message), std::string::npos) << error;
    };
    // Count larger than the data: binary names the byte at once, ascii the line.
    const std::string big = MakePly(PlyFormat::BinaryLittleEndian, props, rows, 5);
    const std::size_t headerEnd = big.find("end_header\n") + 11;
    expect("count.ply", big, ": byte " + std::to_string(big.size()) + ": the file ends inside vertex 2 of the 5");
    expect("count_ascii.ply", MakePly(PlyFormat::Ascii, props, rows, 5),
           ":18: vertex 2 has too few values: property 'y' is missing");  // the next element's line
    // Truncated inside a vertex of a pipe-like read: the reader finds it on the way.
    std::string cut = MakePly(PlyFormat::BinaryBigEndian, props, rows, 2);
    cut.resize(headerEnd + 32 /* faces */ + 12 + 5);
    expect("cut.ply", cut, ": byte " + std::to_string(headerEnd + 49) + ": the file ends inside vertex 1 of the 2");
    expect("format.ply", "ply\nformat binary_middle_endian 1.0\nelement vertex 1\nend_header\n",
           ":2: unknown PLY format 'binary_middle_endian'");
    expect("list.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty list uchar int y\n",
           ":5: a list property ('y') in the vertex element");
    expect("nox.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n1 2\n",
           ":3: the vertex element has no property z");
    expect("noend.ply", "ply\nformat ascii 1.0\nelement vertex 1\n", ":4: the header ends without end_header");
    expect("empty.ply", "", ":1: the file is empty");
    expect("type.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float128 x\n",
           ":4: unknown property type 'float128'");
    std::string word = MakePly(PlyFormat::Ascii, props, {{1, 2, 3}, {4, 5, 6}}, 2);
    word.replace(word.find("4 5 6"), 5, "4 five 6");
    expect("word.ply", word, ":17: vertex 1: property 'y' is 'five', not a number");
    std::string few = MakePly(PlyFormat::Ascii, props, {{1, 2, 3}, {4, 5, 6}}, 2);
    few.replace(few.find("4 5 6"), 5, "4 5");
    expect("few.ply", few, ":17: vertex 1 has too few values: property 'z' is missing");
    std::vector<Prop> ucharProps = props;
    ucharProps.push_back({"red", "uchar"});
    ucharProps.push_back({"green", "uchar"});
    ucharProps.push_back({"blue", "uchar"});
    expect("range.ply", MakePly(PlyFormat::Ascii, ucharProps, {{1, 2, 3, 300, 0, 0}}, 1),
           ":19: vertex 0: property 'red' is '300', not a uchar");
    // A byte order mark before "ply" is skipped.
    EXPECT_EQ(ReadError(dir.Write("bom.ply", "\xEF\xBB\xBFply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"
                                             "property float y\nproperty float z\nend_header\n1 2 3\n")),
              "");
}

TEST(Ply, NonFiniteCoordinatesAreRefusedOrSkipped) {
    TempDir dir;
    const std::vector<Prop> props = {{"x", "double"}, {"y", "double"}, {"z", "double"}};
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const std::vector<Row> rows = {{1, 2, 3}, {nan, 0, 0}, {4, 5, 6}, {0, -inf, 0}, {7, 8, 9}};
    for (PlyFormat format : {PlyFormat::Ascii, PlyFormat::BinaryLittleEndian, PlyFormat::BinaryBigEndian}) {
        const std::string bytes = MakePly(format, props, rows, rows.size());
        const std::string path = dir.Write("nan.ply", bytes);
        const std::string where = format == PlyFormat::Ascii
                                      ? ":17:"
                                      : ": byte " + std::to_string(bytes.find("end_header\n") + 11 + 32 + 24) + ":";
        EXPECT_NE(ReadError(path).find(path + where + " vertex 1 has a NaN or infinite coordinate"), std::string::npos)
            << ReadError(path);
        PlyReader reader(path, lxscan::PlyReadOptions{true});
        const Decoded d = ReadAll(reader, 2);
        EXPECT_EQ(d.xyz, (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
        EXPECT_EQ(reader.Skipped(), 2u);
        EXPECT_EQ(reader.Consumed(), 5u);
    }
}

// Files made by other point libraries at test time, when they are installed.
bool Shell(const std::string& command) { return std::system(command.c_str()) == 0; }

TEST(Ply, FilesWrittenByOpen3DReadExactly) {
    if (!Shell("/usr/bin/python3 -c 'import open3d' >/dev/null 2>&1"))
        GTEST_SKIP() << "Open3D for /usr/bin/python3 is not installed (Debian: python3-open3d)";
    TempDir dir;
    const std::string script = dir.Write("make.py",
        "import numpy as np, open3d as o3d, sys\n"
        "rng = np.random.default_rng(3)\n"
        "p = o3d.geometry.PointCloud()\n"
        "p.points = o3d.utility.Vector3dVector(rng.uniform(-50, 50, (1000, 3)))\n"
        "p.normals = o3d.utility.Vector3dVector(rng.uniform(-1, 1, (1000, 3)))\n"
        "p.colors = o3d.utility.Vector3dVector(rng.uniform(0, 1, (1000, 3)))\n"
        "o3d.io.write_point_cloud(sys.argv[1] + '/b.ply', p)\n"
        "o3d.io.write_point_cloud(sys.argv[1] + '/a.ply', p, write_ascii=True)\n"
        "np.savetxt(sys.argv[1] + '/points.txt', np.asarray(p.points), fmt='%.17g')\n");
    ASSERT_TRUE(Shell("/usr/bin/python3 " + script + " " + dir.Path("") + " >/dev/null 2>&1"));
    std::vector<double> expected;
    std::ifstream text(dir.Path("points.txt"));
    for (double v; text >> v;) expected.push_back(v);
    ASSERT_EQ(expected.size(), 3000u);
    for (const char* name : {"b.ply", "a.ply"}) {
        PlyReader reader(dir.Path(name));
        EXPECT_TRUE(reader.HasColour() && reader.HasNormals());
        const Decoded d = ReadAll(reader, 333);
        if (std::string(name) == "b.ply") {
            EXPECT_EQ(d.xyz, expected);  // binary doubles: bit for bit
        } else {
            ASSERT_EQ(d.xyz.size(), expected.size());
            for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(d.xyz[i], expected[i], 1e-4);
        }
    }
}

TEST(Ply, FilesWrittenByPclRead) {
    if (!Shell("command -v pcl_pcd2ply >/dev/null 2>&1 && command -v pcl_ply2ply >/dev/null 2>&1"))
        GTEST_SKIP() << "the PCL tools are not installed (Debian: pcl-tools)";
    TempDir dir;
    std::ostringstream pcd;
    pcd << "# .PCD v0.7\nVERSION 0.7\nFIELDS x y z normal_x normal_y normal_z intensity\nSIZE 4 4 4 4 4 4 4\n"
           "TYPE F F F F F F F\nCOUNT 1 1 1 1 1 1 1\nWIDTH 100\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 100\n"
           "DATA ascii\n";
    for (int i = 0; i < 100; ++i) pcd << i * 0.25 << " " << -i << " " << i * 2 << " 0 0 1 " << i << "\n";
    dir.Write("in.pcd", pcd.str());
    ASSERT_TRUE(Shell("cd " + dir.Path("") + " && pcl_pcd2ply -format 1 in.pcd le.ply >/dev/null 2>&1 && "
                    "pcl_pcd2ply -format 0 in.pcd ascii.ply >/dev/null 2>&1 && "
                    "pcl_pcd2ply -format 1 in.pcd le.ply >/dev/null 2>&1"));
    // pcl_ply2ply exits with 1 after writing its output in full.
    Shell("cd " + dir.Path("") + " && pcl_ply2ply --format=binary_big_endian le.ply be.ply >/dev/null 2>&1");
    ASSERT_NE(TempDir::Read(dir.Path("be.ply")).find("format binary_big_endian"), std::string::npos);
    for (const char* name : {"le.ply", "ascii.ply", "be.ply"}) {
        PlyReader reader(dir.Path(name));
        ASSERT_EQ(reader.Count(), 100u) << name;
        EXPECT_TRUE(reader.HasNormals() && reader.HasIntensity()) << name;
        const Decoded d = ReadAll(reader, 64);
        ASSERT_EQ(d.xyz.size(), 300u) << name;
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(d.xyz[3 * i], i * 0.25) << name;
            EXPECT_EQ(d.xyz[3 * i + 1], -i) << name;
            EXPECT_EQ(d.xyz[3 * i + 2], i * 2) << name;
            EXPECT_EQ(d.normals[3 * i + 2], 1.0f) << name;
            EXPECT_EQ(d.intensity[i], i) << name;
        }
    }
}

}  // namespace
