#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdint>
#include <limits>
#include <string>
#include <utf8.h>
#include <utility>
#include <vector>

#include "lxbase/exceptions.h"
#include "lxbase/files.h"
#include "lxbase/text.h"
#include "temp_dir.h"

namespace {

using lxbase::lxInFile;
using lxbase::lxOutFile;

constexpr std::uint64_t kAllBits = std::numeric_limits<std::uint64_t>::max();

template <typename F>
std::string FileNotOpenMessage(F construct) {
    try {
        construct();
    } catch (const lxbase::LXFileNotOpenException& e) {
        return e.what();
    }
    return "<no exception>";
}

TEST(FileOpen, ConstructorMessagesAndRefusedNames) {
    TempDir dir;
    const std::string missing = dir.Path("missing.bin");
    const std::string inDir = dir.Path("no/such/dir.bin");
    const std::u16string wide = u"/nonexistent/\u00e9t\u00e9-\U0001F600.bin";
    EXPECT_EQ(FileNotOpenMessage([&] { lxInFile f(missing); }), "Cannot open file");
    EXPECT_EQ(FileNotOpenMessage([&] { lxInFile f(wide); }),
              "Cannot open file: /nonexistent/\xC3\xA9t\xC3\xA9-\xF0\x9F\x98\x80.bin");
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile f(inDir, false); }), "Cannot open file: " + inDir);
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile f(wide, false); }), "Cannot open file");
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile f(missing, true); }), "Cannot open file: " + missing);

    // An unpaired surrogate: the input constructor lets the conversion fault
    // through; the output constructor and every Open simply fail.
    const std::u16string broken = u"/tmp/x" + std::u16string(1, char16_t(0xD83D)) + u"y";
    EXPECT_THROW(lxInFile f(broken), utf8::invalid_utf16);
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile f(broken, false); }), "Cannot open file");
    lxInFile in;
    lxOutFile out;
    EXPECT_FALSE(in.Open(broken) || out.Open(broken, false) || in.Open(missing) || in.IsOpen());
    // A zero inside a name must not open the shorter name before it.
    dir.Write("a", "x");
    EXPECT_FALSE(in.Open(dir.Path("a") + std::string(1, '\0') + "b"));
    // A directory opens for reading on this system, but no read could work.
    EXPECT_FALSE(in.Open(dir.Path("")) || out.Open(dir.Path(""), true) || out.Open(dir.Path(""), false));
}

TEST(FileOpen, UnreadableFileIsRefused) {
    if (geteuid() == 0) GTEST_SKIP() << "permissions do not stop root";
    TempDir dir;
    const std::string path = dir.Write("secret", "x");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    lxInFile in;
    EXPECT_FALSE(in.Open(path));
}

TEST(FileOpen, WideNamesReachTheFileNamedByTheirUtf8Form) {
    TempDir dir;
    const std::string narrow = dir.Path("\xC3\xA9\xF0\x9F\x98\x80.bin");
    lxOutFile(lxbase::ConvertString(narrow), false).Write("abc", 3);
    EXPECT_EQ(TempDir::Read(narrow), "abc");
    lxInFile in(lxbase::ConvertString(narrow));
    EXPECT_EQ(in.GetFileSize(), 3u);
}

TEST(lxInFile, ReadEndOfFileRuleSeeksAndSize) {
    TempDir dir;
    lxInFile in(dir.Write("ten", "0123456789"));
    char buffer[20] = {};
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_TRUE(in.Read(buffer, 10));
    EXPECT_EQ(in.GetLastCount(), 10u);
    EXPECT_FALSE(in.Read(buffer, 1));
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_TRUE(in.SeekAbsolute(0));
    EXPECT_FALSE(in.Read(buffer, 20));
    EXPECT_EQ(in.GetLastCount(), 10u);
    EXPECT_EQ(std::string(buffer, 10), "0123456789");

    EXPECT_TRUE(in.SeekAbsolute(3));
    EXPECT_EQ(in.GetFileSize(), 10u);
    EXPECT_EQ(in.Tell(), 3u);
    EXPECT_FALSE(in.SeekBackward(4));
    EXPECT_TRUE(in.SeekForward(4) && in.SeekBackward(2));
    EXPECT_EQ(in.Tell(), 5u);
    EXPECT_TRUE(in.SeekEnd(0));
    EXPECT_EQ(in.Tell(), 10u);
    EXPECT_TRUE(in.SeekEnd(std::uint64_t(-4)));  // four bytes before the end
    EXPECT_TRUE(in.Read(buffer, 1));
    EXPECT_EQ(buffer[0], '6');
    // Targets outside the signed 64-bit range fail without moving.
    EXPECT_FALSE(in.SeekAbsolute(std::uint64_t{1} << 63));
    EXPECT_FALSE(in.SeekForward(std::numeric_limits<std::int64_t>::max()));
    EXPECT_FALSE(in.SeekBackward(kAllBits));
    EXPECT_FALSE(in.SeekEnd(std::uint64_t{1} << 63));
    EXPECT_FALSE(in.SeekEnd(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(in.Tell(), 7u);
}

TEST(lxOutFile, CreateTruncatesUpdateKeepsAndReads) {
    TempDir dir;
    const std::string path = dir.Write("hundred", std::string(100, 'h'));
    char buffer[10];
    {
        lxOutFile update(path, true);
        EXPECT_TRUE(update.Read(buffer, 10));
        EXPECT_EQ(update.GetLastCount(), 10u);
        EXPECT_TRUE(update.SeekAbsolute(0));
        update.Write("UP", 2);
        update.Write("ignored", 0);
    }
    EXPECT_EQ(TempDir::Read(path), "UP" + std::string(98, 'h'));
    {
        lxOutFile create(path, false);
        EXPECT_FALSE(create.Read(buffer, 10));
        EXPECT_EQ(create.GetLastCount(), 0u);
    }
    EXPECT_EQ(TempDir::Read(path), "");
}

// Every way to name the mode (flag or enum, Open or constructor, narrow or
// wide name) opens the file alike: Create empties an existing file and makes
// a missing one, Update keeps the contents, can read, and refuses a missing
// file (Open returns false, a constructor throws).
TEST(lxOutFile, OpenModesActLikeTheFlags) {
    using Mode = lxOutFile::OpenMode;
    struct Way {
        const char* name;
        bool constructs;
        bool (*open)(const std::string& path, bool update);
    };
    auto mode = [](bool update) { return update ? Mode::Update : Mode::Create; };
    static auto canRead = [](lxOutFile& file) {
        char c;
        return file.IsOpen() && file.Read(&c, 1);
    };
    const Way ways[] = {
        {"flag", false, [](const std::string& p, bool u) { return lxOutFile().Open(p, u); }},
        {"enum", false, [](const std::string& p, bool u) { return lxOutFile().Open(p, u ? Mode::Update : Mode::Create); }},
        {"wide enum", false,
         [](const std::string& p, bool u) {
             return lxOutFile().Open(lxbase::Decode_UTF8(p), u ? Mode::Update : Mode::Create);
         }},
        {"constructor", true,
         [](const std::string& p, bool u) {
             lxOutFile f(p, u ? Mode::Update : Mode::Create);
             return canRead(f) == u;
         }},
        {"wide constructor", true,
         [](const std::string& p, bool u) {
             lxOutFile f(lxbase::Decode_UTF8(p), u ? Mode::Update : Mode::Create);
             return canRead(f) == u;
         }},
    };
    TempDir dir;
    const std::string path = dir.Path("modes");
    for (const Way& way : ways) {
        for (bool update : {false, true}) {
            SCOPED_TRACE(std::string(way.name) + (update ? " update" : " create"));
            dir.Write("modes", std::string(100, 'm'));
            EXPECT_TRUE(way.open(path, update));
            EXPECT_EQ(TempDir::Read(path).size(), update ? 100u : 0u);
            std::remove(path.c_str());
            if (way.constructs && update) {
                EXPECT_THROW(way.open(path, update), lxbase::LXFileNotOpenException);
            } else {
                EXPECT_EQ(way.open(path, update), !update);
            }
            EXPECT_EQ(access(path.c_str(), F_OK) == 0, !update);
        }
    }
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile(path, mode(true)); }), "Cannot open file: " + path);
    EXPECT_EQ(FileNotOpenMessage([&] { lxOutFile(lxbase::Decode_UTF8(path), mode(true)); }), "Cannot open file");
}

TEST(lxOutFile, SmallAndLargeWritesKeepTheirOrder) {
    TempDir dir;
    lxOutFile out(dir.Path("mix"), false);
    std::string expected;
    for (std::size_t size : {10u, 100000u, 5u, 70000u, 3u}) {
        const std::string block(size, static_cast<char>('a' + expected.size() % 26));
        out.Write(block.data(), size);
        expected += block;
        EXPECT_EQ(out.Tell(), expected.size());
    }
    out.Close();
    EXPECT_EQ(TempDir::Read(dir.Path("mix")), expected);
}

TEST(lxOutFile, TruncatesAtTheSoughtPositionInBothModes) {
    TempDir dir;
    const std::string path = dir.Path("cut");
    lxOutFile out(path, false);
    out.Write(std::string(100, 'a').data(), 100);
    EXPECT_TRUE(out.SeekAbsolute(40));
    EXPECT_TRUE(out.TruncateToCurrentPosition());
    EXPECT_EQ(out.GetFileSize(), 40u);
    // After reading, a seek inside the read buffer leaves the descriptor at
    // the end of the buffered block; the cut must still be at the position.
    ASSERT_TRUE(out.Open(path, true));
    char buffer[10];
    EXPECT_TRUE(out.Read(buffer, 10) && out.SeekAbsolute(5));
    EXPECT_TRUE(out.TruncateToCurrentPosition());
    EXPECT_EQ(out.GetFileSize(), 5u);
    EXPECT_EQ(out.Tell(), 5u);
}

TEST(lxOutFile, DeviceFullFaultIsComposedAndSticky) {
    lxOutFile out("/dev/full", false);
    const std::vector<char> block(1 << 20, 'x');  // beyond the FILE buffer
    std::string message = "<no exception>";
    try {
        out.Write(block.data(), block.size());
    } catch (const lxbase::LXWritingException& e) {
        message = e.what();
    }
    const int error = std::ferror(out.GetFILE());
    ASSERT_NE(error, 0);
    unsigned long long written = 0;
    ASSERT_EQ(std::sscanf(message.c_str(), "written %llu/", &written), 1) << message;
    EXPECT_LT(written, block.size());
    EXPECT_EQ(message, "written " + std::to_string(written) + "/1048576 error " + std::to_string(error));
    // This byte fits the buffer, but the error indicator stays set.
    message = "<no exception>";
    try {
        out.Write("y", 1);
    } catch (const lxbase::LXWritingException& e) {
        message = e.what();
    }
    EXPECT_EQ(message, "written 1/1 error " + std::to_string(error));
}

TEST(FileBeyond4GiB, SparseFileIsWrittenMeasuredAndReadBack) {
    TempDir dir;
    const std::string path = dir.Path("big");
    const std::uint64_t far = (std::uint64_t{1} << 32) + 10;
    {
        lxOutFile out(path, false);
        ASSERT_TRUE(out.SeekAbsolute(far));
        out.Write("tail", 4);
        EXPECT_EQ(out.Tell(), far + 4);
        EXPECT_EQ(out.GetFileSize(), far + 4);
    }
    lxInFile in(path);
    EXPECT_EQ(in.GetFileSize(), far + 4);
    ASSERT_TRUE(in.SeekAbsolute(far - 2));
    char buffer[8] = {};
    EXPECT_FALSE(in.Read(buffer, 8));
    EXPECT_EQ(in.GetLastCount(), 6u);
    EXPECT_EQ(std::string(buffer, 6), std::string("\0\0tail", 6));
    EXPECT_TRUE(in.SeekEnd(std::uint64_t(-4)));
    EXPECT_EQ(in.Tell(), far);
    EXPECT_TRUE(in.SeekBackward(far));
    EXPECT_EQ(in.Tell(), 0u);
}

// Default-constructed, closed and moved-from objects report failure and
// touch no handle.
template <class File>
void ExpectClosed(File& file) {
    char c;
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.GetFILE(), nullptr);
    EXPECT_FALSE(file.Read(&c, 1));
    EXPECT_EQ(file.GetLastCount(), 0u);
    EXPECT_FALSE(file.SeekAbsolute(0) || file.SeekForward(0) || file.SeekBackward(0) || file.SeekEnd(0));
    EXPECT_EQ(file.Tell(), kAllBits);
    EXPECT_EQ(file.GetFileSize(), 0u);
}

TEST(FileLifecycle, ClosedAndMovedFromObjectsFailSafely) {
    TempDir dir;
    const std::string path = dir.Write("ten", "0123456789");
    lxInFile first(path);
    char c;
    EXPECT_TRUE(first.Read(&c, 1));
    lxInFile second(std::move(first));
    ExpectClosed(first);
    EXPECT_TRUE(second.Read(&c, 1));  // the position moved along
    EXPECT_EQ(c, '1');
    lxInFile third(path);
    third = std::move(second);
    ExpectClosed(second);
    EXPECT_EQ(third.Tell(), 2u);
    third.Close();
    ExpectClosed(third);

    lxOutFile out(dir.Path("out"), false);
    out.Write("ab", 2);
    lxOutFile moved(std::move(out));
    ExpectClosed(out);
    moved.Write("cd", 2);
    EXPECT_TRUE(moved.Flush());
    EXPECT_EQ(TempDir::Read(dir.Path("out")), "abcd");
    moved = lxOutFile();
    ExpectClosed(moved);
    EXPECT_FALSE(moved.Flush() || moved.TruncateToCurrentPosition());
    EXPECT_THROW(moved.Write("x", 1), lxbase::LXWritingException);
}

}  // namespace
