// The versioned header: framing, identifier recognition, versions, buffers.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lxbase/exceptions.h"
#include "lxbase/header.h"

using namespace lxbase;

namespace {

constexpr std::uint64_t kG = 0x0123456789ABCDEFULL;

// Identifier G, current version 2, 8 bytes in version 1, 12 in version 2,
// unless a fixed size is given. WriteData fills a recognisable pattern.
struct TestHeader : IOHeader {
    std::uint64_t guid = kG;
    std::uint32_t fixedSize = 0;
    mutable std::uint32_t writtenVersion = 99;
    mutable const char* writtenAt = nullptr;
    std::vector<char> received;
    const char* receivedAt = nullptr;

    std::uint64_t HeaderGUID() const override { return guid; }
    std::uint32_t CurrentVersion() const override { return 2; }
    std::uint32_t DataSizeForVersion(std::uint32_t v) const override {
        if (fixedSize) return fixedSize;
        return v == 1 ? 8 : 12;
    }
    void WriteData(char* data, std::uint32_t version) const override {
        writtenVersion = version;
        writtenAt = data;
        for (std::uint32_t i = 0; i < DataSizeForVersion(version); ++i)
            data[i] = static_cast<char>(i * 7 + version);
    }
    void ReadData(const char* data) override {
        receivedAt = data;
        received.assign(data, data + DataSizeStored());
    }
    std::uint32_t DataSizeStored() const { return storedSize; }
    std::uint32_t storedSize = 0;
};

// Captures the size stored by the last Read through the record's own prefix.
std::uint32_t LE32(const char* p) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(p[i]);
    return v;
}
std::uint64_t LE64(const char* p) {
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(p[i]);
    return v;
}

// Counts the writes that reach it.
struct CountingStream : OutMemoryStream {
    int writes = 0;
    void Write(const char* s, std::uint64_t n) override {
        ++writes;
        OutMemoryStream::Write(s, n);
    }
};

}  // namespace

TEST(Header, WritesALittleEndianRecordInOneStreamWrite) {
    TestHeader h;
    CountingStream out;
    EXPECT_EQ(h.Write(&out), 28u);
    EXPECT_EQ(out.writes, 1);
    ASSERT_EQ(out.BufferSize(), 28u);
    const char* b = out.GetBuffer();
    const unsigned char expectedPrefix[16] = {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,
                                              2, 0, 0, 0, 12, 0, 0, 0};
    EXPECT_EQ(std::memcmp(b, expectedPrefix, 16), 0);
    EXPECT_EQ(h.GetReadVersion(), 2u);
    EXPECT_EQ(h.writtenVersion, 2u);
    EXPECT_TRUE(h.IsValid());
    EXPECT_EQ(h.BaseSize(), 16u);
    EXPECT_EQ(h.HeaderSize(), 28u);
    EXPECT_EQ(h.GetGUID(), kG);

    EXPECT_EQ(h.Write(&out, 1), 24u);
    EXPECT_EQ(h.writtenVersion, 1u);
    EXPECT_EQ(h.GetReadVersion(), 1u);
    EXPECT_EQ(LE32(b + 28 + 8), 1u);
    EXPECT_EQ(LE32(out.GetBuffer() + 28 + 12), 8u);
    EXPECT_EQ(out.BufferSize(), 52u);
}

TEST(Header, RefusesNewerVersionsBeforeChangingAnything) {
    TestHeader h;
    OutMemoryStream out;
    h.Write(&out, 1);
    out.SeekAbsolute(0);
    try {
        h.Write(&out, 3);
        FAIL() << "no exception";
    } catch (const LXHeaderOperationException& e) {
        EXPECT_STREQ(e.what(), "Unsupported Header version");
    }
    EXPECT_EQ(h.GetReadVersion(), 1u);
    EXPECT_EQ(out.Tell(), 0u);
    EXPECT_EQ(out.BufferSize(), 24u);
    OutMemoryStream empty;
    EXPECT_THROW(h.Write(&empty, 0xFFFFFFFFu), LXHeaderOperationException);
    EXPECT_EQ(empty.BufferSize(), 0u);
    EXPECT_EQ(h.Write(&empty, 0), 28u);  // version 0 is accepted (size 12 here)
}

TEST(Header, ReadsBackEitherVersionAndConsumesTheWholeRecord) {
    TestHeader w;
    OutMemoryStream out;
    w.Write(&out, 1);
    w.Write(&out);
    out.Write("tail", 4);

    InMemoryStream in(out.GetBuffer(), out.BufferSize());
    TestHeader r;
    r.storedSize = 8;
    EXPECT_EQ(r.Read(&in), 24u);
    EXPECT_TRUE(r.IsValid());
    EXPECT_EQ(r.GetReadVersion(), 1u);
    EXPECT_EQ(std::string(r.received.begin(), r.received.end()),
              std::string(out.GetBuffer() + 16, 8));
    EXPECT_EQ(in.Tell(), 24u);
    r.storedSize = 12;
    EXPECT_EQ(r.Read(&in), 28u);
    EXPECT_EQ(r.GetReadVersion(), 2u);
    EXPECT_EQ(std::string(r.received.begin(), r.received.end()),
              std::string(out.GetBuffer() + 24 + 16, 12));
    EXPECT_EQ(in.Tell(), 52u);
}

TEST(Header, ForeignOrMissingRecordsLeaveTheStreamWhereItWas) {
    TestHeader other;
    other.guid = 0x1111;
    OutMemoryStream out;
    out.Write("xyz", 3);
    other.Write(&out);

    InMemoryStream in(out.GetBuffer(), out.BufferSize());
    in.SeekAbsolute(3);
    TestHeader h;
    EXPECT_EQ(h.Read(&in), 0u);
    EXPECT_EQ(in.Tell(), 3u);
    EXPECT_FALSE(h.IsValid());
    EXPECT_EQ(other.Read(&in), 28u);  // the right type still finds it

    InMemoryStream empty(out.GetBuffer(), 0);
    EXPECT_EQ(h.Read(&empty), 0u);
    EXPECT_EQ(empty.Tell(), 0u);
    EXPECT_FALSE(h.IsValid());

    // Fewer than 8 bytes left: what was read is given back.
    InMemoryStream shortTail(out.GetBuffer(), 5);
    shortTail.SeekAbsolute(1);
    EXPECT_EQ(h.Read(&shortTail), 0u);
    EXPECT_EQ(shortTail.Tell(), 1u);
}

TEST(Header, TruncatedRecordStillReachesReadDataWithZeroedTail) {
    TestHeader w;
    OutMemoryStream out;
    w.Write(&out);
    InMemoryStream in(out.GetBuffer(), 20);  // prefix + 4 of 12 data bytes
    TestHeader r;
    r.storedSize = 12;
    EXPECT_EQ(r.Read(&in), 28u);
    ASSERT_EQ(r.received.size(), 12u);
    EXPECT_EQ(std::string(r.received.begin(), r.received.begin() + 4), std::string(out.GetBuffer() + 16, 4));
    EXPECT_EQ(std::string(r.received.begin() + 4, r.received.end()), std::string(8, '\0'));

    // Large truncated block: zeroed too.
    TestHeader big;
    big.fixedSize = 5000;
    OutMemoryStream bigOut;
    big.Write(&bigOut);
    InMemoryStream bigIn(bigOut.GetBuffer(), 100);
    TestHeader bigR;
    bigR.fixedSize = 5000;
    bigR.storedSize = 5000;
    EXPECT_EQ(bigR.Read(&bigIn), 5016u);
    EXPECT_EQ(std::string(bigR.received.begin() + 84, bigR.received.end()), std::string(5000 - 84, '\0'));
}

TEST(Header, BufferThresholdsDifferBetweenReadingAndWriting) {
    auto inObject = [](const TestHeader& h, const char* p) {
        const char* self = reinterpret_cast<const char*>(&h);
        return p >= self && p < self + sizeof(TestHeader);
    };
    // A 1024-byte record (1008 data bytes) still fits the object's buffer when
    // written, a 1024-byte data block when read.
    constexpr std::uint32_t kBuffer = IOHeader::sBufferSize;
    static_assert(kBuffer == 1024, "the header's buffer holds 1024 bytes");
    for (std::uint32_t size : {kBuffer - 16, kBuffer - 15, kBuffer, kBuffer + 1}) {
        TestHeader w;
        w.fixedSize = size;
        OutMemoryStream out;
        ASSERT_EQ(w.Write(&out), size + 16);
        EXPECT_EQ(inObject(w, w.writtenAt), size + 16 <= kBuffer) << size;
        EXPECT_EQ(LE64(out.GetBuffer()), kG);
        EXPECT_EQ(LE32(out.GetBuffer() + 12), size);

        TestHeader r;
        r.fixedSize = size;
        r.storedSize = size;
        InMemoryStream in(out.GetBuffer(), out.BufferSize());
        ASSERT_EQ(r.Read(&in), size + 16);
        EXPECT_EQ(inObject(r, r.receivedAt), size <= kBuffer) << size;
        EXPECT_EQ(std::string(r.received.begin(), r.received.end()),
                  std::string(out.GetBuffer() + 16, size));
    }
}

TEST(Header, ReferenceOverloadsWriteAndReadLikeThePointerForms) {
    TestHeader byPointer, byReference;
    OutMemoryStream pointerOut, referenceOut;
    ASSERT_EQ(byPointer.Write(&pointerOut), 28u);
    ASSERT_EQ(byPointer.Write(&pointerOut, 1), 24u);
    EXPECT_EQ(byReference.Write(referenceOut), 28u);
    EXPECT_EQ(byReference.Write(referenceOut, 1), 24u);
    EXPECT_EQ(byReference.GetReadVersion(), 1u);
    ASSERT_EQ(referenceOut.BufferSize(), pointerOut.BufferSize());
    EXPECT_EQ(std::memcmp(referenceOut.GetBuffer(), pointerOut.GetBuffer(), 52), 0);

    TestHeader r;
    r.storedSize = 12;
    InMemoryStream in(referenceOut.GetBuffer(), referenceOut.BufferSize());
    EXPECT_EQ(r.Read(in), 28u);
    EXPECT_EQ(r.GetReadVersion(), 2u);
    r.storedSize = 8;
    EXPECT_EQ(r.Read(in), 24u);
    EXPECT_EQ(r.GetReadVersion(), 1u);
    EXPECT_EQ(r.Read(in), 0u);  // at the end: nothing consumed
    EXPECT_EQ(in.Tell(), 52u);
}

TEST(Header, CopiesCarryFieldsAndBuffer) {
    TestHeader w;
    OutMemoryStream out;
    w.Write(&out, 1);
    TestHeader copy(w);
    EXPECT_EQ(copy.GetReadVersion(), 1u);
    EXPECT_TRUE(copy.IsValid());
    TestHeader moved(std::move(copy));
    EXPECT_EQ(moved.GetReadVersion(), 1u);
    TestHeader other;
    other.Write(&out, 2);
    IOHeader& base = moved;  // the base's assignments are public like any
    base = other;
    EXPECT_EQ(moved.GetReadVersion(), 2u);
}

TEST(Header, ShortPrefixReplacesOnlyTheDeliveredBytesOfEachField) {
    // A record with version 0xAABB0002 and 12 data bytes, then one whose
    // stream ends 2 bytes into the version: the version's other bytes and the
    // whole data size stay from the first read.
    const unsigned char full[28] = {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,
                                    2, 0, 0xBB, 0xAA, 12, 0, 0, 0, 'd', 'a', 't', 'a'};
    TestHeader r;
    r.storedSize = 12;
    InMemoryStream first(full, sizeof full);
    ASSERT_EQ(r.Read(&first), 28u);
    EXPECT_EQ(r.GetReadVersion(), 0xAABB0002u);
    unsigned char cut[10];
    std::memcpy(cut, full, 10);
    cut[8] = 5;
    InMemoryStream second(cut, sizeof cut);
    EXPECT_EQ(r.Read(&second), 28u);
    EXPECT_EQ(r.GetReadVersion(), 0xAABB0005u);
    EXPECT_EQ(std::string(r.received.begin(), r.received.end()), std::string(12, '\0'));
}

TEST(Header, LengthsNearTheFormatLimitAreReadLazilyAndWrapTheResult) {
    // A record claiming 2^32 - 16 data bytes: its length plus the prefix
    // wraps to 0 in 32 bits, the block is mostly absent and reads as zeros.
    TestHeader r;
    OutMemoryStream out;
    const unsigned char prefix[16] = {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,
                                      1, 0, 0, 0, 0xF0, 0xFF, 0xFF, 0xFF};
    out.Write(reinterpret_cast<const char*>(prefix), 16);
    out.Write("abc", 3);
    InMemoryStream in(out.GetBuffer(), out.BufferSize());
    r.storedSize = 8;  // inspect the first bytes only
    EXPECT_EQ(r.Read(&in), 0u);
    EXPECT_TRUE(r.IsValid());
    EXPECT_EQ(r.GetReadVersion(), 1u);
    EXPECT_EQ(in.Tell(), 19u);
    EXPECT_EQ(std::string(r.received.begin(), r.received.end()), std::string("abc\0\0\0\0\0", 8));
}
