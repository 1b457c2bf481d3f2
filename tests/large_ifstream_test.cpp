#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ios>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "lxbase/exceptions.h"
#include "lxbase/files.h"
#include "temp_dir.h"

namespace {

using lxbase::LargeIfstream;
constexpr auto kGood = std::ios_base::goodbit;
constexpr auto kEof = std::ios_base::eofbit;
constexpr auto kFail = std::ios_base::failbit;

// Copies would share the FILE and close it twice.
static_assert(!std::is_copy_constructible<LargeIfstream>::value && !std::is_copy_assignable<LargeIfstream>::value,
              "LargeIfstream is move-only");
static_assert(std::is_nothrow_move_constructible<LargeIfstream>::value, "LargeIfstream moves");

std::string Line(LargeIfstream& in) {
    std::string line = "<unchanged>";
    in.Getline(line);
    return line;
}

TEST(LargeIfstream, LinesBytesAndSeeksShareOnePosition) {
    TempDir dir;
    LargeIfstream in(dir.Write("abc", "a\nbb\nccc\n"));
    EXPECT_EQ(Line(in), "a");
    EXPECT_EQ(in.Tell(), 2u);
    char bytes[2];
    EXPECT_TRUE(in.Read(bytes, 2));
    EXPECT_EQ(std::string(bytes, 2), "bb");
    EXPECT_EQ(Line(in), "");
    EXPECT_EQ(in.Tell(), 5u);
    EXPECT_TRUE(in.SeekAbsolute(0));
    EXPECT_EQ(Line(in), "a");
    EXPECT_EQ(Line(in), "bb");
    EXPECT_EQ(in.Tell(), 5u);
    EXPECT_EQ(in.GetFileSize(), 9u);
    EXPECT_EQ(Line(in), "ccc");
    EXPECT_EQ(in.GetState(), kGood);
}

TEST(LargeIfstream, EndOfFileIsStickyUntilCloseAndOpen) {
    TempDir dir;
    const std::string path = dir.Write("last", "one\ntwo");
    LargeIfstream in(path);
    EXPECT_EQ(Line(in), "one");
    EXPECT_EQ(Line(in), "two");
    EXPECT_EQ(in.GetState(), kEof);
    EXPECT_TRUE(in.SeekAbsolute(0));  // moves the file, not the state
    EXPECT_EQ(Line(in), "<unchanged>");
    EXPECT_EQ(in.GetState(), kEof | kFail);
    in.Close();
    ASSERT_TRUE(in.Open(path));
    EXPECT_EQ(in.GetState(), kGood);
    EXPECT_EQ(Line(in), "one");
}

TEST(LargeIfstream, DelimitersIgnoreAndArrayForm) {
    TempDir dir;
    LargeIfstream in(dir.Write("mixed", "a;b\nxx;yy\x80z\xFFw\nabcdef\n"));
    std::string first, second;
    in.Getline(first, ';');
    in.Getline(second);
    EXPECT_EQ(first + "|" + second, "a|b");
    in.Ignore(1000, ';');
    EXPECT_EQ(in.Tell(), 7u);
    in.Ignore(1000, '\x80');  // stops right after the first 0x80 byte
    EXPECT_EQ(in.Tell(), 10u);
    in.Ignore(1000, '\xFF');  // 0xFF must not be taken for end of file
    EXPECT_EQ(in.Tell(), 12u);
    in.Getline(first, '\n');
    EXPECT_EQ(first, "w");
    char small[4] = {'?', '?', '?', '?'};
    in.Getline(small, 4);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(in.GetState(), kFail);
    EXPECT_EQ(in.Tell(), 17u);  // abc consumed, d the next character
}

TEST(LargeIfstream, ExceptionMaskThrowsAndKeepsThePosition) {
    TempDir dir;
    LargeIfstream in(dir.Write("two", "x\ny"));
    in.Exceptions(kEof);
    EXPECT_EQ(Line(in), "x");
    std::string last;
    EXPECT_THROW(in.Getline(last), std::ios_base::failure);
    EXPECT_EQ(last, "y");
    EXPECT_EQ(in.Tell(), 3u);
    EXPECT_EQ(in.GetState(), kEof);
    // A bit that is already set throws as soon as it is enabled.
    EXPECT_THROW(in.Exceptions(kEof), std::ios_base::failure);
}

TEST(LargeIfstream, ConstructorsMovesAndClosedObjects) {
    TempDir dir;
    try {
        LargeIfstream in(u"/nonexistent/\u00e9");
        ADD_FAILURE() << "opened a missing file";
    } catch (const lxbase::LXFileNotOpenException& e) {
        EXPECT_STREQ(e.what(), "Cannot open file: /nonexistent/\xC3\xA9");
    }
    const std::string path = dir.Write("lines", "1\n2\n3\n");
    LargeIfstream first(path);
    EXPECT_EQ(Line(first), "1");
    LargeIfstream second(std::move(first));
    EXPECT_EQ(Line(first), "<unchanged>");
    EXPECT_EQ(first.GetState(), std::ios_base::badbit);
    LargeIfstream third(path);
    third = std::move(second);
    EXPECT_EQ(Line(third), "2");
    EXPECT_FALSE(third.Open(dir.Path("missing")) || third.IsOpen());
    EXPECT_EQ(Line(third), "<unchanged>");

    // Moved away through the base class, the file keeps its buffer.
    auto source = std::make_unique<LargeIfstream>(path);
    EXPECT_EQ(Line(*source), "1");
    lxbase::lxInFile plain(std::move(*source));
    source.reset();
    char bytes[2];
    EXPECT_TRUE(plain.Read(bytes, 2));
    EXPECT_EQ(std::string(bytes, 2), "2\n");
}

// Reference model: the same operations on an istringstream over the same
// bytes. Byte reads and seeks go to its buffer directly, which like the FILE
// leaves the text stream's state bits alone.
struct Model {
    explicit Model(const std::string& bytes) : stream(bytes), size(bytes.size()) {}
    std::uint64_t Tell() {
        return static_cast<std::uint64_t>(stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::in));
    }
    void Seek(std::uint64_t position) {
        stream.rdbuf()->pubseekpos(static_cast<std::streamoff>(position), std::ios_base::in);
    }
    std::istringstream stream;
    std::uint64_t size;
};

// Short lines of digits and delimiter bytes, now and then a line longer than
// the file buffer; the whole longer than several buffer loads.
std::string RandomText(std::mt19937& random) {
    const char specials[] = {'\n', '\n', '\n', ';', '\x80', '\xFF', '\0'};
    std::string text;
    const std::size_t size = 150000 + random() % 100000;
    while (text.size() < size) {
        if (random() % 20000 == 0) text += std::string(70000 + random() % 1000, 'L');
        const unsigned pick = random() % 24;
        text += pick < sizeof specials ? specials[pick] : static_cast<char>('0' + pick);
    }
    return text;
}

TEST(LargeIfstream, RandomMixAgreesWithStringStreamModel) {
    TempDir dir;
    const char delimiters[] = {'\n', ';', '\x80', '\xFF', '\0', '7'};
    for (unsigned seed = 1; seed <= 12; ++seed) {
        std::mt19937 random(seed);
        const std::string text = RandomText(random);
        const std::string path = dir.Write("random", text);
        LargeIfstream file(path);
        auto model = std::make_unique<Model>(text);
        for (int step = 0; step < 400; ++step) {
            const unsigned op = random() % 10;
            const char delimiter = delimiters[random() % sizeof delimiters];
            const std::uint64_t position = model->Tell();
            std::string got = "<unchanged>", expected = got;
            if (op == 0) {
                file.Getline(got);
                std::getline(model->stream, expected);
            } else if (op == 1) {
                file.Getline(got, delimiter);
                std::getline(model->stream, expected, delimiter);
            } else if (op == 2) {
                const std::int64_t count = random() % 40;
                got.assign(40, '?');
                expected = got;
                file.Getline(&got[0], count);
                model->stream.getline(&expected[0], count);
            } else if (op == 3) {
                const std::uint64_t count = random() % 8 == 0 ? ~std::uint64_t{0} : random() % 300;
                file.Ignore(count, delimiter);
                model->stream.ignore(count > 1000000 ? std::numeric_limits<std::streamsize>::max()
                                                     : static_cast<std::streamsize>(count),
                                     std::char_traits<char>::to_int_type(delimiter));
            } else if (op == 4) {
                const std::uint64_t count = 1 + random() % 300;
                got.assign(count, '?');
                expected = got;
                const auto arrived = model->stream.rdbuf()->sgetn(&expected[0], count);
                EXPECT_EQ(file.Read(&got[0], count), static_cast<std::uint64_t>(arrived) == count);
                EXPECT_EQ(file.GetLastCount(), static_cast<std::uint64_t>(arrived));
            } else if (op < 9) {  // a seek of each kind to a target inside the file
                const std::uint64_t target = random() % (model->size + 1);
                const bool moved = op == 5   ? file.SeekAbsolute(target)
                                   : op == 8 ? file.SeekEnd(target - model->size)
                                   : target >= position ? file.SeekForward(target - position)
                                                        : file.SeekBackward(position - target);
                EXPECT_TRUE(moved);
                model->Seek(target);
            } else {
                file.Close();
                ASSERT_TRUE(file.Open(path));
                model = std::make_unique<Model>(text);
            }
            ASSERT_EQ(got, expected) << "seed " << seed << " step " << step << " op " << op;
            ASSERT_EQ(file.Tell(), model->Tell()) << "seed " << seed << " step " << step << " op " << op;
            ASSERT_EQ(file.GetState(), model->stream.rdstate()) << "seed " << seed << " step " << step;
        }
    }
}

}  // namespace
