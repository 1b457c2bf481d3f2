#ifndef LXBASE_STREAMS_H
#define LXBASE_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "lxbase/export.h"

namespace lxbase {

/// Abstract input byte stream. Positions and counts are byte numbers from the
/// start of the stream. Read's bool result is not a count: how many bytes
/// arrived is asked with GetLastCount().
class LXBASE_API IInFileStream {
public:
    /// An interface holds no state.
    IInFileStream() = default;
    /// Copies nothing: an interface holds no state.
    IInFileStream(const IInFileStream&) = default;
    /// Copies nothing: an interface holds no state.
    IInFileStream& operator=(const IInFileStream&) = default;

    /// Reads up to `count` bytes into `destination`; GetLastCount() tells how
    /// many arrived. False reports the end of the data or a read error.
    virtual bool Read(char* destination, std::uint64_t count) = 0;
    /// Moves the position `count` bytes forward; false if the move failed.
    virtual bool SeekForward(std::uint64_t count) = 0;
    /// Moves the position `count` bytes backward; false if the move failed.
    virtual bool SeekBackward(std::uint64_t count) = 0;
    /// Moves to byte `position` from the start; false if the move failed.
    virtual bool SeekAbsolute(std::uint64_t position) = 0;
    /// The number of bytes the latest Read delivered.
    virtual std::uint64_t GetLastCount() const = 0;
    /// The current position in bytes from the start of the stream.
    virtual std::uint64_t Tell() const = 0;
    /// Streams are destroyed through the interface.
    virtual ~IInFileStream();
};

/// Abstract output byte stream. Write either writes every byte or throws.
/// Note the seek order differs from IInFileStream's (absolute first here).
class LXBASE_API IOutFileStream {
public:
    /// An interface holds no state.
    IOutFileStream() = default;
    /// Copies nothing: an interface holds no state.
    IOutFileStream(const IOutFileStream&) = default;
    /// Copies nothing: an interface holds no state.
    IOutFileStream& operator=(const IOutFileStream&) = default;

    /// Writes `count` bytes from `source` at the position and moves past
    /// them; a failure throws (a count of 0 does nothing).
    virtual void Write(const char* source, std::uint64_t count) = 0;
    /// Moves to byte `position` from the start; false if the move failed.
    virtual bool SeekAbsolute(std::uint64_t position) = 0;
    /// Moves the position `count` bytes forward; false if the move failed.
    virtual bool SeekForward(std::uint64_t count) = 0;
    /// Moves the position `count` bytes backward; false if the move failed.
    virtual bool SeekBackward(std::uint64_t count) = 0;
    /// The current position in bytes from the start of the stream.
    virtual std::uint64_t Tell() const = 0;
    /// Streams are destroyed through the interface.
    virtual ~IOutFileStream();
};

/// Reads a caller-owned block in place. The block must outlive the stream.
/// Read always returns true; a seek reports whether its target lies inside the
/// block but moves the position in any case.
class LXBASE_API InMemoryStream : public IInFileStream {
public:
    /// A stream over the `size` bytes at `data`, positioned at byte 0.
    InMemoryStream(const char* data, std::uint64_t size);
    /// A stream over the `size` bytes at `data`, positioned at byte 0.
    InMemoryStream(const unsigned char* data, std::uint64_t size);
    /// An empty block given as a null pointer, without an ambiguous overload.
    InMemoryStream(std::nullptr_t, std::uint64_t size)
        : InMemoryStream(static_cast<const unsigned char*>(nullptr), size) {}
    InMemoryStream(const InMemoryStream&) = delete;
    InMemoryStream& operator=(const InMemoryStream&) = delete;

    /// Copies the bytes that remain, at most `count`; always true (0 bytes at
    /// or beyond the end).
    bool Read(char* destination, std::uint64_t count) override;
    /// The bytes delivered by the latest Read.
    std::uint64_t GetLastCount() const override;
    /// The position, which may lie beyond the block after a seek.
    std::uint64_t Tell() const override;
    /// Moves forward (wrapping modulo 2^64); true if the new position lies
    /// before the end of the block.
    bool SeekForward(std::uint64_t count) override;
    /// Moves backward (wrapping modulo 2^64); true if the new position lies
    /// before the end of the block.
    bool SeekBackward(std::uint64_t count) override;
    /// Moves to `position`; true if it lies before the end of the block.
    bool SeekAbsolute(std::uint64_t position) override;
    /// Leaves the caller's block alone.
    ~InMemoryStream() override;

private:
    std::uint64_t position_ = 0;
    std::uint64_t size_;
    std::uint64_t lastCount_ = 0;
    const unsigned char* data_;
};

/// Writes into a growable buffer of its own. 1024 bytes are reserved at
/// construction; when the buffer runs out its capacity grows to the larger of
/// one and a half times the old capacity and the size needed.
class LXBASE_API OutMemoryStream : public IOutFileStream {
public:
    /// An empty stream with 1024 bytes reserved.
    OutMemoryStream();
    /// A copy of the bytes written so far and of the position.
    OutMemoryStream(const OutMemoryStream& other);
    /// Takes over the buffer; `other` is left without storage.
    OutMemoryStream(OutMemoryStream&& other) noexcept;
    /// A copy of the bytes written so far and of the position.
    OutMemoryStream& operator=(const OutMemoryStream& other);
    /// Takes over the buffer; `other` is left without storage.
    OutMemoryStream& operator=(OutMemoryStream&& other) noexcept;

    /// Writes `count` bytes at the position (over earlier bytes after a
    /// backward seek) and moves past them; `source` may lie in this buffer.
    /// Throws std::bad_alloc or std::length_error when the buffer cannot grow.
    void Write(const char* source, std::uint64_t count) override {
        const std::uint64_t position = position_;
        const std::uint64_t size = size_;
        if (position <= size && count <= capacity_ - position) {
            // Fields are updated before the copy: bytes written through a
            // char pointer could alias them and force reloads otherwise.
            unsigned char* destination = data_.get() + position;
            position_ = position + count;
            size_ = position + count > size ? position + count : size;
            // memmove: the source may be a part of this very buffer.
            if (count != 0) std::memmove(destination, source, static_cast<std::size_t>(count));
            return;
        }
        WriteGrowing(source, count);
    }
    /// Moves to `position`; a target beyond the data extends it with zero
    /// bytes. Always true.
    bool SeekAbsolute(std::uint64_t position) override;
    /// Moves forward like SeekAbsolute(Tell() + count). Always true.
    bool SeekForward(std::uint64_t count) override;
    /// Moves backward; false, without moving, past the start.
    bool SeekBackward(std::uint64_t count) override;
    /// The current write position.
    std::uint64_t Tell() const override;
    /// Frees the buffer.
    ~OutMemoryStream() override;

    /// First byte of the buffer; null when the buffer has no storage (a
    /// moved-from stream, or a copy of an empty one).
    char* GetBuffer();
    /// High-water mark of writes and forward seeks (not the capacity, and not
    /// the position after a backward seek).
    std::uint64_t BufferSize() const;
    /// Bytes allocated for the buffer.
    std::uint64_t Capacity() const;

private:
    void WriteGrowing(const char* source, std::uint64_t count);
    void Reserve(std::uint64_t size);
    void Resize(std::uint64_t size);
    void Reallocate(std::uint64_t capacity);

    struct FreeBuffer {
        void operator()(unsigned char* p) const noexcept;
    };

    std::uint64_t position_ = 0;
    /// malloc'd, so that growth can use realloc, which often extends the block
    /// in place (or remaps its pages) instead of copying every byte again.
    std::unique_ptr<unsigned char, FreeBuffer> data_;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
};

}  // namespace lxbase

#endif
