#ifndef LXBASE_HEADER_H
#define LXBASE_HEADER_H

#include <cstdint>

#include "lxbase/export.h"
#include "lxbase/streams.h"

namespace lxbase {

/// Base of every versioned block header. A record on a stream is
///   identifier (u64) | version (u32) | data length N (u32) | N data bytes
/// all little-endian. IOHeader does the framing; the concrete type supplies its
/// identifier, its data sizes per version and the (de)serialisation of the data.
struct LXBASE_API IOHeader {
    /// Reads one record. Returns 16 + N, or 0 when the stream is at its end
    /// (identifier then 0) or another type's record stands there (the stream
    /// is moved back, IsValid() is false). The length on the stream governs:
    /// a record of any version is consumed whole and handed to ReadData; when
    /// the stream ends inside it, the missing bytes read as zero and the
    /// result is still 16 + N. A data block above sBufferSize bytes that
    /// cannot be allocated throws LXOutOfMemoryException("Cannot read stream:
    /// memory cannot be allocated").
    [[nodiscard]] std::uint32_t Read(IInFileStream* stream);
    /// Write(stream, CurrentVersion()).
    std::uint32_t Write(IOutFileStream* stream);
    /// Writes one record in the layout of `version` with a single stream
    /// Write and returns 16 + N. A version above CurrentVersion() throws
    /// LXHeaderOperationException("Unsupported Header version") and writes
    /// nothing; a record above sBufferSize bytes whose block cannot be
    /// allocated throws LXOutOfMemoryException("Cannot write to stream:
    /// memory cannot be allocated"). The stream's exceptions pass through.
    std::uint32_t Write(IOutFileStream* stream, std::uint32_t version);
    /// Read(&stream).
    [[nodiscard]] std::uint32_t Read(IInFileStream& stream) { return Read(&stream); }
    /// Write(&stream).
    std::uint32_t Write(IOutFileStream& stream) { return Write(&stream); }
    /// Write(&stream, version).
    std::uint32_t Write(IOutFileStream& stream, std::uint32_t version) { return Write(&stream, version); }
    /// HeaderGUID(): the type's identifier, not the one last read.
    std::uint64_t GetGUID() const;
    /// The version found by the last successful Read or given to the last Write.
    std::uint32_t GetReadVersion() const;
    /// True if the identifier last read or written is this type's.
    bool IsValid() const;
    /// 16, the length of the record prefix.
    std::uint32_t BaseSize() const;
    /// DataSizeForVersion(CurrentVersion()) + 16, in 32-bit arithmetic.
    std::uint32_t HeaderSize() const;

    /// The concrete type's identifier, the same on every call.
    virtual std::uint64_t HeaderGUID() const = 0;
    /// The length of the data block in the layout of `version`; at most
    /// 2^32 - 17 so that the record length fits 32 bits.
    virtual std::uint32_t DataSizeForVersion(std::uint32_t version) const = 0;
    /// The newest version the type writes.
    virtual std::uint32_t CurrentVersion() const = 0;
    /// Takes the fields out of a data block read from a stream, in the layout
    /// of GetReadVersion(); the block's length is the record's data length.
    virtual void ReadData(const char* data) = 0;
    /// Puts the fields into a block of exactly DataSizeForVersion(version)
    /// bytes, in the layout of `version`.
    virtual void WriteData(char* data, std::uint32_t version) const = 0;

    /// Copies the identifier, data size, read version and the whole buffer.
    IOHeader(const IOHeader&) = default;
    /// The same as the copy.
    IOHeader(IOHeader&&) = default;
    /// Copies the identifier, data size, read version and the whole buffer.
    IOHeader& operator=(const IOHeader&) = default;
    /// The same as the copy.
    IOHeader& operator=(IOHeader&&) = default;

    /// Size of the scratch buffer inside the object: a record of at most this
    /// many bytes (prefix included) is written without a heap block, a data
    /// block of at most this many bytes is read without one.
    static constexpr std::uint32_t sBufferSize = 1024;

protected:
    /// Zero identifier, data size and read version.
    IOHeader();
    /// DataSizeForVersion(CurrentVersion()).
    std::uint32_t DataSize() const;
    /// Not virtual: a header is destroyed through its own type.
    ~IOHeader();

private:
    static constexpr int _BUFSIZE = static_cast<int>(sBufferSize);

    std::uint64_t identifier_;
    std::uint32_t dataSize_;
    std::uint32_t readVersion_;
    char buffer_[_BUFSIZE];
};

}  // namespace lxbase

#endif
