// Exceptions, stream interfaces and the two memory streams.
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lxbase/exceptions.h"
#include "lxbase/streams.h"

using namespace lxbase;

namespace {

template <typename E>
void ExpectFamilyMember(const std::string& message) {
    try {
        throw E(message);
    } catch (const LXException& e) {
        EXPECT_EQ(std::string(e.what()), message);
        E copy(static_cast<const E&>(e));
        EXPECT_EQ(std::string(copy.what()), message);
    }
    try {
        throw E(message);
    } catch (const std::exception& e) {
        EXPECT_EQ(std::string(e.what()), message);
    }
}

std::string Bytes(OutMemoryStream& s) { return std::string(s.GetBuffer(), s.BufferSize()); }

}  // namespace

TEST(Exceptions, EveryMemberCarriesItsMessageThroughBasesAndCopies) {
    ExpectFamilyMember<LXHeaderOperationException>("Unsupported Header version");
    ExpectFamilyMember<LXOutOfMemoryException>("Cannot read stream: memory cannot be allocated");
    ExpectFamilyMember<LXWritingException>("written 4/10 error 0");
    ExpectFamilyMember<LXFileNotOpenException>("Cannot open file: /no/such");
    ExpectFamilyMember<LXFileNotOpenException>("");
}

TEST(InMemoryStream, ReadsUpToTheEndAndReportsCounts) {
    const char block[10] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
    InMemoryStream in(block, sizeof block);
    EXPECT_EQ(in.GetLastCount(), 0u);
    char out[16] = {};
    EXPECT_TRUE(in.Read(out, 4));
    EXPECT_EQ(in.GetLastCount(), 4u);
    EXPECT_EQ(in.Tell(), 4u);
    EXPECT_EQ(std::string(out, 4), "0123");
    EXPECT_TRUE(in.Read(out, 10));
    EXPECT_EQ(in.GetLastCount(), 6u);
    EXPECT_EQ(in.Tell(), 10u);
    EXPECT_EQ(std::string(out, 6), "456789");
    EXPECT_TRUE(in.Read(out, 1));
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_EQ(in.Tell(), 10u);
}

TEST(InMemoryStream, SeeksMoveAlwaysAndReportWhetherInside) {
    const unsigned char block[10] = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    InMemoryStream in(block, sizeof block);
    EXPECT_TRUE(in.SeekAbsolute(9));
    EXPECT_FALSE(in.SeekAbsolute(10));
    EXPECT_EQ(in.Tell(), 10u);
    EXPECT_FALSE(in.SeekAbsolute(25));
    EXPECT_EQ(in.Tell(), 25u);
    char c = 0;
    EXPECT_TRUE(in.Read(&c, 1));
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_EQ(in.Tell(), 25u);

    // Backward past the start wraps around and lands far beyond the end.
    ASSERT_TRUE(in.SeekAbsolute(2));
    EXPECT_FALSE(in.SeekBackward(5));
    EXPECT_EQ(in.Tell(), static_cast<std::uint64_t>(-3));
    in.Read(&c, 1);
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_TRUE(in.SeekAbsolute(0));
    EXPECT_TRUE(in.SeekForward(3));
    in.Read(&c, 1);
    EXPECT_EQ(in.GetLastCount(), 1u);
    EXPECT_EQ(static_cast<unsigned char>(c), 13);
    EXPECT_TRUE(in.SeekBackward(4));
    EXPECT_EQ(in.Tell(), 0u);
    EXPECT_FALSE(in.SeekForward(10));
}

TEST(InMemoryStream, EmptyBlockRefusesEverything) {
    InMemoryStream in(nullptr, 0);
    char c = 'x';
    EXPECT_FALSE(in.SeekAbsolute(0));
    EXPECT_FALSE(in.SeekForward(0));
    EXPECT_FALSE(in.SeekBackward(0));
    EXPECT_TRUE(in.Read(&c, 1));
    EXPECT_EQ(in.GetLastCount(), 0u);
    EXPECT_EQ(c, 'x');
}

TEST(OutMemoryStream, StartsEmptyWithReservedStorage) {
    OutMemoryStream out;
    EXPECT_EQ(out.Tell(), 0u);
    EXPECT_EQ(out.BufferSize(), 0u);
    EXPECT_NE(out.GetBuffer(), nullptr);
    EXPECT_EQ(out.Capacity(), 1024u);
}

TEST(OutMemoryStream, SeeksExtendWithZerosAndBackwardSeeksAreChecked) {
    OutMemoryStream out;
    out.Write("abc", 3);
    EXPECT_TRUE(out.SeekAbsolute(10));
    EXPECT_EQ(out.BufferSize(), 10u);
    EXPECT_EQ(out.Tell(), 10u);
    EXPECT_EQ(Bytes(out), std::string("abc\0\0\0\0\0\0\0", 10));

    EXPECT_FALSE(out.SeekBackward(11));
    EXPECT_EQ(out.Tell(), 10u);
    EXPECT_TRUE(out.SeekBackward(10));
    EXPECT_EQ(out.Tell(), 0u);
    EXPECT_TRUE(out.SeekForward(12));
    EXPECT_EQ(out.BufferSize(), 12u);
    // A seek inside the buffer leaves its size alone.
    EXPECT_TRUE(out.SeekAbsolute(1));
    EXPECT_EQ(out.BufferSize(), 12u);
}

TEST(OutMemoryStream, WritesOverwriteInPlaceAndNeverShrink) {
    OutMemoryStream out;
    std::vector<char> hundred(100, 'x');
    out.Write(hundred.data(), hundred.size());
    out.SeekAbsolute(10);
    out.Write("12345", 5);
    EXPECT_EQ(out.BufferSize(), 100u);
    EXPECT_EQ(out.Tell(), 15u);
    EXPECT_EQ(Bytes(out).substr(8, 9), "xx12345xx");
    out.SeekAbsolute(98);
    out.Write("abcd", 4);
    EXPECT_EQ(out.BufferSize(), 102u);
    EXPECT_EQ(Bytes(out).substr(96), "xxabcd");
    out.Write(nullptr, 0);
    EXPECT_EQ(out.BufferSize(), 102u);
}

TEST(OutMemoryStream, CapacityGrowsByHalfOrToWhatIsNeeded) {
    OutMemoryStream out;
    const char chunk[16] = {};
    std::vector<std::uint64_t> capacities{out.Capacity()};
    for (int i = 0; i < 300; ++i) {
        out.Write(chunk, sizeof chunk);
        if (out.Capacity() != capacities.back()) capacities.push_back(out.Capacity());
    }
    EXPECT_EQ(capacities, (std::vector<std::uint64_t>{1024, 1536, 2304, 3456, 5184}));

    OutMemoryStream big;
    std::vector<char> large(5000, 'q');
    big.Write(large.data(), large.size());  // 1536 would not do: take what is needed
    EXPECT_EQ(big.Capacity(), 5000u);
    big.Write("z", 1);
    EXPECT_EQ(big.Capacity(), 7500u);
    EXPECT_EQ(big.BufferSize(), 5001u);
}

TEST(OutMemoryStream, WriteFromItsOwnBufferSurvivesGrowth) {
    OutMemoryStream out;
    std::string text(1000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 26);
    out.Write(text.data(), text.size());
    out.Write(out.GetBuffer(), 1000);  // needs 2000 > 1024: reallocates
    EXPECT_EQ(Bytes(out), text + text);

    // Source and destination overlapping, in place and across growth: the
    // bytes written are the source's bytes as they were before the write.
    OutMemoryStream shift;
    shift.Write("0123456789", 10);
    shift.SeekAbsolute(2);
    shift.Write(shift.GetBuffer(), 6);
    EXPECT_EQ(Bytes(shift), "0101234589");
    shift.SeekAbsolute(1);
    shift.Write(shift.GetBuffer() + 3, 7);
    EXPECT_EQ(Bytes(shift), "0123458989");
    OutMemoryStream grow;
    grow.Write(text.data(), text.size());
    grow.SeekAbsolute(500);
    grow.Write(grow.GetBuffer() + 100, 800);  // 1300 > 1024: reallocates
    EXPECT_EQ(Bytes(grow), text.substr(0, 500) + text.substr(100, 800));
}

TEST(OutMemoryStream, CopiesAreDeepAndSized) {
    OutMemoryStream a;
    a.Write("hello", 5);
    a.SeekBackward(2);
    OutMemoryStream b(a);
    EXPECT_EQ(b.Tell(), 3u);
    EXPECT_EQ(Bytes(b), "hello");
    EXPECT_EQ(b.Capacity(), 5u);
    b.GetBuffer()[0] = 'J';
    EXPECT_EQ(Bytes(a), "hello");

    OutMemoryStream empty;
    OutMemoryStream emptyCopy(empty);
    EXPECT_EQ(emptyCopy.GetBuffer(), nullptr);
    EXPECT_EQ(emptyCopy.BufferSize(), 0u);

    OutMemoryStream c;
    c.Write("a much longer text", 18);
    c = a;
    EXPECT_EQ(Bytes(c), "hello");
    EXPECT_EQ(c.Tell(), 3u);
    const OutMemoryStream& self = c;
    c = self;
    EXPECT_EQ(Bytes(c), "hello");
    emptyCopy = a;
    EXPECT_EQ(Bytes(emptyCopy), "hello");
}

TEST(OutMemoryStream, MovedFromStreamKeepsPositionAndZeroFillsOnWrite) {
    OutMemoryStream a;
    a.Write("abcdef", 6);
    OutMemoryStream b(std::move(a));
    EXPECT_EQ(Bytes(b), "abcdef");
    EXPECT_EQ(b.Tell(), 6u);
    EXPECT_EQ(a.BufferSize(), 0u);
    EXPECT_EQ(a.GetBuffer(), nullptr);
    EXPECT_EQ(a.Tell(), 6u);
    a.Write("Z", 1);
    EXPECT_EQ(Bytes(a), std::string("\0\0\0\0\0\0Z", 7));

    OutMemoryStream c;
    c.Write("xy", 2);
    c = std::move(b);
    EXPECT_EQ(Bytes(c), "abcdef");
    EXPECT_EQ(b.GetBuffer(), nullptr);
    EXPECT_EQ(b.Tell(), 6u);
    OutMemoryStream& alias = c;
    c = std::move(alias);
    EXPECT_EQ(Bytes(c), "abcdef");

    OutMemoryStream d;
    d.Write("1234", 4);
    OutMemoryStream e(std::move(d));
    d.Write(nullptr, 0);  // zero-length write still fills up to the position
    EXPECT_EQ(d.BufferSize(), 4u);
    EXPECT_EQ(Bytes(d), std::string(4, '\0'));
}

TEST(OutMemoryStream, ImpossibleSizesThrowStandardErrors) {
    OutMemoryStream out;
    out.Write("ab", 2);
    EXPECT_THROW(out.SeekAbsolute(std::uint64_t{1} << 63), std::length_error);
    EXPECT_EQ(out.Tell(), std::uint64_t{1} << 63);  // position set before growth failed
    out.SeekAbsolute(1);
    volatile std::uint64_t huge = ~std::uint64_t{0};
    EXPECT_THROW(out.Write("x", huge), std::length_error);
    EXPECT_EQ(Bytes(out), "ab");
    // SeekForward goes through the overridable SeekAbsolute.
    struct Counting : OutMemoryStream {
        int calls = 0;
        bool SeekAbsolute(std::uint64_t p) override {
            ++calls;
            return OutMemoryStream::SeekAbsolute(p);
        }
    } counting;
    counting.SeekForward(3);
    EXPECT_EQ(counting.calls, 1);
    EXPECT_EQ(counting.BufferSize(), 3u);
}
