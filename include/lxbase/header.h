#ifndef LXBASE_HEADER_H
#define LXBASE_HEADER_H

#include <cstdint>

#include "lxbase/export.h"
#include "lxbase/streams.h"

namespace lxbase {

// Base of every versioned block header. A record on a stream is
//   identifier (u64) | version (u32) | data length N (u32) | N data bytes
// all little-endian. IOHeader does the framing; the concrete type supplies its
// identifier, its data sizes per version and the (de)serialisation of the data.
struct LXBASE_API IOHeader {
    // Reads one record. Returns 16 + N, or 0 when the stream is at its end or
    // another type's record stands there (the stream is then moved back).
    [[nodiscard]] std::uint32_t Read(IInFileStream* stream);
    // Writes one record in the current version; returns 16 + N.
    std::uint32_t Write(IOutFileStream* stream);
    // Writes one record in the given version (at most CurrentVersion()).
    std::uint32_t Write(IOutFileStream* stream, std::uint32_t version);
    // The same three operations on a stream passed by reference.
    [[nodiscard]] std::uint32_t Read(IInFileStream& stream) { return Read(&stream); }
    std::uint32_t Write(IOutFileStream& stream) { return Write(&stream); }
    std::uint32_t Write(IOutFileStream& stream, std::uint32_t version) { return Write(&stream, version); }
    std::uint64_t GetGUID() const;
    std::uint32_t GetReadVersion() const;
    bool IsValid() const;
    std::uint32_t BaseSize() const;
    std::uint32_t HeaderSize() const;

    virtual std::uint64_t HeaderGUID() const = 0;
    virtual std::uint32_t DataSizeForVersion(std::uint32_t version) const = 0;
    virtual std::uint32_t CurrentVersion() const = 0;
    virtual void ReadData(const char* data) = 0;
    virtual void WriteData(char* data, std::uint32_t version) const = 0;

    // Copies and moves alike take the three fields and the whole buffer.
    IOHeader(const IOHeader&) = default;
    IOHeader(IOHeader&&) = default;
    IOHeader& operator=(const IOHeader&) = default;
    IOHeader& operator=(IOHeader&&) = default;

    // Size of the scratch buffer inside the object: a record of at most this
    // many bytes (prefix included) is written without a heap block, a data
    // block of at most this many bytes is read without one.
    static constexpr std::uint32_t sBufferSize = 1024;

protected:
    IOHeader();
    std::uint32_t DataSize() const;
    ~IOHeader();  // not virtual: a header is destroyed through its own type

private:
    static constexpr int _BUFSIZE = static_cast<int>(sBufferSize);

    std::uint64_t identifier_;
    std::uint32_t dataSize_;
    std::uint32_t readVersion_;
    char buffer_[_BUFSIZE];
};

}  // namespace lxbase

#endif
